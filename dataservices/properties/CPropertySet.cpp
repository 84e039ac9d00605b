#include "dataservices/properties/CPropertySet.h"

#include "dataservices/com/ComMethod.h"

#include <algorithm>

namespace dataservices {

void CPropertySet::Put(std::wstring key, std::wstring value) {
    const auto found = std::ranges::find(m_properties, key, &Property::key);
    if (found != m_properties.end())
        found->value.swap(value);
    else
        m_properties.push_back({std::move(key), std::move(value)});
}

HRESULT CPropertySet::GetCount(long* count) noexcept {
    return ComMethod<ITKCFPropertySet>(count, [&] {
        *count = static_cast<long>(m_properties.size());
        return S_OK;
    });
}

HRESULT CPropertySet::GetKey(long index, BSTR* key) noexcept {
    return ComMethod<ITKCFPropertySet>(key, [&] {
        const bool exists = index >= 0 && static_cast<size_t>(index) < m_properties.size();
        return exists ? GiveText(m_properties[static_cast<size_t>(index)].key, key) : kOutOfRange;
    });
}

HRESULT CPropertySet::GetValue(BSTR key, VARIANT* value) noexcept {
    return ComMethod<ITKCFPropertySet>(value, [&] {
        const auto found = std::ranges::find(m_properties, TextOf(key), &Property::key);
        if (found == m_properties.end())
            return S_FALSE;
        base::CBstr text{std::wstring_view(found->value)};
        value->vt = VT_BSTR;
        value->bstrVal = text.Detach();
        return S_OK;
    });
}

}  // namespace dataservices
