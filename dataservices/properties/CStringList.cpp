#include "dataservices/properties/CStringList.h"

#include "dataservices/com/ComMethod.h"

#include <algorithm>

namespace dataservices {

HRESULT CStringList::GetCount(long* count) noexcept {
    return ComMethod<ITKCFStringList>(count, [&] {
        *count = static_cast<long>(m_items->size());
        return S_OK;
    });
}

HRESULT CStringList::GetItem(long index, BSTR* item) noexcept {
    return ComMethod<ITKCFStringList>(item, [&] { return GiveItem(*m_items, index, item); });
}

HRESULT CStringList::IndexOf(BSTR item, long* index) noexcept {
    return ComMethod<ITKCFStringList>(index, [&] {
        const auto found = std::ranges::find(*m_items, TextOf(item));
        if (found == m_items->end())
            return kNotFound;
        *index = static_cast<long>(found - m_items->begin());
        return S_OK;
    });
}

HRESULT CStringList::Add(BSTR item) noexcept {
    return Insert(-1, item);
}

HRESULT CStringList::Insert(long position, BSTR item) noexcept {
    return ComMethod<ITKCFStringList>([&]() -> HRESULT {
        const auto count = static_cast<long>(m_items->size());
        if (position < -1 || position > count)
            return kOutOfRange;
        m_items->insert(m_items->begin() + (position == -1 ? count : position), TextOf(item));
        return S_OK;
    });
}

HRESULT CStringList::Remove(long index) noexcept {
    return ComMethod<ITKCFStringList>([&] {
        if (index < 0 || static_cast<size_t>(index) >= m_items->size())
            return kOutOfRange;
        m_items->erase(m_items->begin() + index);
        return S_OK;
    });
}

HRESULT CStringList::Clear() noexcept {
    m_items->clear();
    return S_OK;
}

HRESULT CStringList::Clone(ITKCFStringList** list) noexcept {
    return ComMethod<ITKCFStringList>(list, [&] { return GiveNew<CStringList>(list, *m_items); });
}

HRESULT CStringList::GetConstAccessor(ITKCFConstStringList** list) noexcept {
    return ComMethod<ITKCFStringList>(list, [&] { return GiveNew<CConstStringList>(list, m_items); });
}

}  // namespace dataservices
