// Calls to objects that strangers made. What a failing call leaves behind is not taken for an interface or a string: it
// is neither released nor freed. Success without a result counts as a failure.
//
//   ComPtr<ITKDSDirectory> directory;
//   HRESULT hr = Receive(directory, parentInfo.Get(), &ITKDSGetParentInfoForUri::GetParentDirectory);
//
// On failure the place for the result is empty.
// Errors: HRESULT; what the object throws passes through.
#pragma once

#include "base/CBstr.h"

#include <windows.h>

#include <objbase.h>
#include <wrl/client.h>

#include <type_traits>

namespace base {

template <class Interface>
[[nodiscard]] Interface** SlotOf(Microsoft::WRL::ComPtr<Interface>& pointer) noexcept {
    return pointer.ReleaseAndGetAddressOf();
}
[[nodiscard]] inline BSTR* SlotOf(CBstr& text) noexcept {
    return text.Put();
}

// Calls a method whose last parameter is where the result goes. The result may be null on success.
template <class Result, class Object, class Method, class... Arguments>
[[nodiscard]] HRESULT ReceiveAny(Result& result, Object* object, Method method, Arguments... arguments) {
    auto* const slot = SlotOf(result);
    std::remove_pointer_t<decltype(slot)> made = nullptr;
    const HRESULT hr = (object->*method)(arguments..., &made);
    if (SUCCEEDED(hr))
        *slot = made;
    return hr;
}

// The same for methods whose result must not be null.  E_FAIL: success without a result.
template <class Result, class Object, class Method, class... Arguments>
[[nodiscard]] HRESULT Receive(Result& result, Object* object, Method method, Arguments... arguments) {
    const HRESULT hr = ReceiveAny(result, object, method, arguments...);
    return SUCCEEDED(hr) && !result ? E_FAIL : hr;
}

// An instance of a class, in any context.  E_FAIL: success without an instance.
template <class Interface>
[[nodiscard]] HRESULT CreateObject(REFCLSID clsid, Microsoft::WRL::ComPtr<Interface>& object) {
    Interface** const slot = SlotOf(object);
    void* made = nullptr;
    const HRESULT hr = ::CoCreateInstance(clsid, nullptr, CLSCTX_ALL, __uuidof(Interface), &made);
    if (FAILED(hr))
        return hr;
    *slot = static_cast<Interface*>(made);
    return made ? hr : E_FAIL;
}

// Hands out another interface of `object`.
// E_NOINTERFACE: the object does not answer it, or claims to and gives null.  Otherwise the object's own failure.
template <class Interface>
[[nodiscard]] HRESULT QueryFor(IUnknown& object, Interface** pointer) {
    *pointer = nullptr;
    void* answer = nullptr;
    const HRESULT hr = object.QueryInterface(__uuidof(Interface), &answer);
    if (FAILED(hr))
        return hr;
    *pointer = static_cast<Interface*>(answer);
    return answer ? hr : E_NOINTERFACE;
}

}  // namespace base
