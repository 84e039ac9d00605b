// What the methods of this layer's classes have in common: how they begin, and how texts and objects pass their edge.
//
//   STDMETHODIMP CThing::GetName(BSTR* name) noexcept {
//       return ComMethod<ITKDSThing>(name, [&] { return GiveText(m_name, name); });
//   }
//
// Every method goes through it, also one that can't throw: a failure leaves the error info that belongs to it, and none
// of an older one (MethodResult). Streams have a shorter way for what fails in any case; ITKDSSourceControl has no
// codes of the framework, and does without.
//
// Threads: any.  Errors: all but ComMethod may throw what ComBoundary knows; then the result stays clear.
#pragma once

#include "base/CBstr.h"
#include "base/ComBoundary.h"
#include "dataservices/com/MethodResult.h"
#include "dataservices/com/Results.h"
#include "framework/com/CComObjectBase.h"

#include <oleauto.h>
#include <wrl/client.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace dataservices {

// Runs `body`, which returns a HRESULT or a MethodResult, as a method of `Interface`.
template <class Interface, class Body>
[[nodiscard]] HRESULT ComMethod(Body&& body) noexcept {
    try {
        const MethodResult result = std::forward<Body>(body)();
        return result.Report(__uuidof(Interface));
    } catch (...) {
        ::SetErrorInfo(0, nullptr);  // an exception brings its own, or there is none
        return base::ResultOfCaughtException();
    }
}

// The same after clearing `*result`.  E_POINTER: `result` is null.
template <class Interface, class Result, class Body>
[[nodiscard]] HRESULT ComMethod(Result* result, Body&& body) noexcept {
    return ComMethod<Interface>([&]() -> MethodResult {
        if (!result)
            return E_POINTER;
        *result = {};
        return std::forward<Body>(body)();
    });
}

// The text of a caller; null is empty. Throws CAtlException carrying E_INVALIDARG for a text that has a NUL inside,
// because its readers would not agree where it ends.
[[nodiscard]] inline std::wstring TextOf(BSTR text) {
    std::wstring copy(text ? text : L"", ::SysStringLen(text));
    if (copy.find(L'\0') != copy.npos)
        throw base::CAtlException(E_INVALIDARG);
    return copy;
}

[[nodiscard]] inline HRESULT GiveText(std::wstring_view text, BSTR* to) {
    *to = base::CBstr(text).Detach();
    return S_OK;
}

// kOutOfRange: there is no such item.
[[nodiscard]] inline HRESULT GiveItem(const std::vector<std::wstring>& items, long index, BSTR* to) {
    if (index < 0 || static_cast<size_t>(index) >= items.size())
        return kOutOfRange;
    return GiveText(items[static_cast<size_t>(index)], to);
}

// Makes a T for a caller who knows it by one of its interfaces.
template <class T, class Interface, class... Arguments>
[[nodiscard]] HRESULT GiveNew(Interface** to, Arguments&&... arguments) {
    Microsoft::WRL::ComPtr<T> made;
    const HRESULT hr = framework::MakeComObject<T>(made.GetAddressOf(), std::forward<Arguments>(arguments)...);
    if (SUCCEEDED(hr))
        *to = made.Detach();
    return hr;
}

// The same in the form in which accessors are handed out.
template <class T, class... Arguments>
[[nodiscard]] HRESULT GiveNew(VARIANT* to, Arguments&&... arguments) {
    Microsoft::WRL::ComPtr<T> made;
    if (const HRESULT hr = framework::MakeComObject<T>(made.GetAddressOf(), std::forward<Arguments>(arguments)...);
        FAILED(hr))
        return hr;
    void* unknown = nullptr;
    if (const HRESULT hr = made->QueryInterface(__uuidof(IUnknown), &unknown); FAILED(hr))
        return hr;
    to->vt = VT_UNKNOWN;
    to->punkVal = static_cast<IUnknown*>(unknown);
    return S_OK;
}

}  // namespace dataservices
