#include "dataservices/properties/CConstStringList.h"

#include "dataservices/com/ComMethod.h"

namespace dataservices {

HRESULT CConstStringList::GetCount(long* count) noexcept {
    return ComMethod<ITKCFConstStringList>(count, [&] {
        *count = static_cast<long>(m_items->size());
        return S_OK;
    });
}

HRESULT CConstStringList::GetItem(long index, BSTR* item) noexcept {
    return ComMethod<ITKCFConstStringList>(item, [&] { return GiveItem(*m_items, index, item); });
}

}  // namespace dataservices
