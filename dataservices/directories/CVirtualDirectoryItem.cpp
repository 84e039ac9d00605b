#include "dataservices/directories/CVirtualDirectoryItem.h"

#include "dataservices/com/ComMethod.h"

namespace dataservices {

HRESULT CVirtualDirectoryItem::GetUri(BSTR* uri) noexcept {
    return ComMethod<ITKDSVirtualDirectoryItem>(uri, [&] { return GiveText(m_uri, uri); });
}

}  // namespace dataservices
