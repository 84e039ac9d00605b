#include "dataservices/properties/CSourceInfo.h"

#include "dataservices/com/ComMethod.h"

namespace dataservices {

HRESULT CSourceInfo::GetUri(BSTR* uri) noexcept {
    return ComMethod<ITKDSSourceInfo>(uri, [&] { return GiveText(m_uri, uri); });
}

}  // namespace dataservices
