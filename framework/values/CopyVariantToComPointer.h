// From what the data-service layer hands out to the interface that is wanted of it.
#pragma once

#include "framework/values/CVariant.h"

// Hands out another interface of `object`. On failure `*pointer` is null.
//
// E_NOINTERFACE: the object does not answer it, or claims to and gives null.  Otherwise the object's own failure; what
// it throws passes through.
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

// The same of the object that `variant` holds, the form in which accessors are delivered.
// E_FAIL: it holds none, or null.
template <class Interface>
[[nodiscard]] HRESULT CopyVariantToComPointer(const CVariant& variant, Interface** pointer) {
    *pointer = nullptr;
    return variant.Interface() ? QueryFor(*variant.Interface(), pointer) : E_FAIL;
}
