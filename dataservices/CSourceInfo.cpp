#include "dataservices/CSourceInfo.h"

#include "dataservices/ComMethod.h"

HRESULT CSourceInfo::GetUri(BSTR* uri) noexcept {
    return ComMethod(uri, [&] { return GiveText(m_uri, uri); });
}
