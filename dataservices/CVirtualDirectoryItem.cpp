#include "dataservices/CVirtualDirectoryItem.h"

#include "dataservices/ComMethod.h"

HRESULT CVirtualDirectoryItem::GetUri(BSTR* uri) noexcept {
    return ComMethod(uri, [&] { return GiveText(m_uri, uri); });
}
