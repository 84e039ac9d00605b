#include "dataservices/CUriAccessFactory.h"

#include "dataservices/Accessors.h"
#include "dataservices/com/ComMethod.h"

namespace dataservices {

HRESULT CUriAccessFactory::OpenUriAs(BSTR uri, BSTR accessorId, VARIANT* accessor) noexcept {
    return ComMethod(accessor, [&] { return OpenNameAs(TextOf(uri), TextOf(accessorId), accessor); });
}

}  // namespace dataservices
