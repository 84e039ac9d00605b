// From what the data-service layer hands out to the interface that is wanted of it.
#pragma once

#include "base/ForeignCalls.h"
#include "framework/values/CVariant.h"

// QueryFor of the object that `variant` holds, the form in which accessors are delivered. On failure `*pointer` is
// null. E_FAIL: it holds none, or null.
template <class Interface>
[[nodiscard]] HRESULT CopyVariantToComPointer(const framework::CVariant& variant, Interface** pointer) {
    *pointer = nullptr;
    return variant.Interface() ? base::QueryFor(*variant.Interface(), pointer) : E_FAIL;
}
