// A keyed collection of typed values: reads a property set of the data-service layer.
//
//   std::wstring mimeType;
//   if (CTKCFPropertyValues(propertySet.Get()).GetString(mdMimeType, &mimeType) == S_OK) ...
//
// Threads: those of the property set.  Lifetime: keeps a reference to the property set; reads it anew each time.
#pragma once

#include "TKDataServices.h"
#include "framework/values/CTKCFPropertyValue.h"

#include <windows.h>

#include <wrl/client.h>

#include <optional>
#include <string>

class CTKCFPropertyValues final {
public:
    explicit CTKCFPropertyValues(ITKCFPropertySet* propertySet) noexcept : m_propertySet(propertySet) {}

    // The value of `key`; `*value` is empty unless the result is S_OK.
    // S_FALSE: there is no such key, or its value is empty.  DISP_E_TYPEMISMATCH: the value is of none of the kinds.
    // E_POINTER: there is no property set, or `key` or `value` is null.  E_OUTOFMEMORY; E_UNEXPECTED: the property set
    // threw.  Otherwise its own failure.
    [[nodiscard]] HRESULT Get(const wchar_t* key, std::optional<CTKCFPropertyValue>* value) const noexcept;

    // The string form of the value of `key`; empty unless the result is S_OK. Results as for Get.
    [[nodiscard]] HRESULT GetString(const wchar_t* key, std::wstring* text) const noexcept;

private:
    Microsoft::WRL::ComPtr<ITKCFPropertySet> m_propertySet;
};
