#include "framework/values/CTKCFPropertyValues.h"

#include "base/CBstr.h"
#include "base/ComBoundary.h"
#include "framework/values/CVariant.h"

HRESULT CTKCFPropertyValues::Get(const wchar_t* key, std::optional<CTKCFPropertyValue>* value) const noexcept {
    if (!value)
        return E_POINTER;
    value->reset();
    if (!key || !m_propertySet)
        return E_POINTER;
    return base::ComBoundary([&]() -> HRESULT {
        const base::CBstr keyText(key);
        framework::CVariant variant;
        const HRESULT hr = m_propertySet->GetValue(keyText.Get(), variant.Put());
        if (FAILED(hr))
            return hr;
        if (hr == S_FALSE || variant.Type() == VT_EMPTY || variant.Type() == VT_NULL)
            return S_FALSE;
        *value = CTKCFPropertyValue::FromVariant(variant.Get());
        return *value ? S_OK : DISP_E_TYPEMISMATCH;
    });
}

HRESULT CTKCFPropertyValues::GetString(const wchar_t* key, std::wstring* text) const noexcept {
    if (!text)
        return E_POINTER;
    text->clear();
    return base::ComBoundary([&]() -> HRESULT {
        std::optional<CTKCFPropertyValue> value;
        const HRESULT hr = Get(key, &value);
        if (hr == S_OK)
            *text = value->ToString();
        return hr;
    });
}
