// Calls into the data-service layer, which is made by strangers: what a failing call leaves behind is not taken for an
// interface or a string, and success without a result is a failure.
//
// Errors: HRESULT; what the layer throws, and CAtlException carrying E_OUTOFMEMORY, pass through.
#pragma once

#include "diagnostics/CBstr.h"
#include "framework/values/CVariant.h"

#include <windows.h>

#include <objbase.h>
#include <wrl/client.h>

#include <type_traits>

#include "TKDataServices.h"

namespace FileAccess {

template <class Interface>
[[nodiscard]] Interface** SlotOf(Microsoft::WRL::ComPtr<Interface>& pointer) noexcept {
    return pointer.ReleaseAndGetAddressOf();
}
[[nodiscard]] inline BSTR* SlotOf(CBstr& text) noexcept {
    return text.Put();
}

// Calls a method whose last parameter is where the result goes, which stays empty if the call fails. It may be null
// on success.
template <class Result, class Object, class Method, class... Arguments>
[[nodiscard]] HRESULT ReceiveAny(Result& result, Object* object, Method method, Arguments... arguments) {
    auto* const slot = SlotOf(result);
    std::remove_pointer_t<decltype(slot)> made = nullptr;
    const HRESULT hr = (object->*method)(arguments..., &made);
    if (SUCCEEDED(hr))
        *slot = made;
    return hr;
}

// The same where null makes no sense.  E_FAIL: success without a result.
template <class Result, class Object, class Method, class... Arguments>
[[nodiscard]] HRESULT Receive(Result& result, Object* object, Method method, Arguments... arguments) {
    const HRESULT hr = ReceiveAny(result, object, method, arguments...);
    return SUCCEEDED(hr) && !result ? E_FAIL : hr;
}

// An instance of a class of the layer.  E_FAIL: success without an instance.
template <class Interface>
[[nodiscard]] HRESULT Create(REFCLSID clsid, Microsoft::WRL::ComPtr<Interface>& object) {
    const HRESULT hr = ::CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_PPV_ARGS(object.ReleaseAndGetAddressOf()));
    return SUCCEEDED(hr) && !object ? E_FAIL : hr;
}

[[nodiscard]] inline HRESULT OpenUriAs(ITKDSUriAccessFactory& factory, const wchar_t* uri, const wchar_t* accessorId,
                                       VARIANT* accessor) {
    const CBstr uriText(uri);
    const CBstr accessorIdText(accessorId);
    return factory.OpenUriAs(uriText.Get(), accessorIdText.Get(), accessor);
}

// Hands `from` out as the last step of a function.  E_POINTER: there is no place to put it.
template <class Interface>
[[nodiscard]] HRESULT HandOut(Microsoft::WRL::ComPtr<Interface>& from, Interface** to) noexcept {
    if (!to)
        return E_POINTER;
    *to = from.Detach();
    return S_OK;
}

}  // namespace FileAccess
