// From the VARIANT that the data-service layer hands out to the interface that the caller wants.
#pragma once

#include "base/ForeignCalls.h"
#include "framework/values/CVariant.h"

// Queries the object that `variant` holds, which is the form in which accessors are delivered, as QueryFor does. On
// failure `*pointer` is null. E_FAIL: the VARIANT holds no object, or null.
template <class Interface>
[[nodiscard]] HRESULT CopyVariantToComPointer(const framework::CVariant& variant, Interface** pointer) {
    *pointer = nullptr;
    return variant.Interface() ? base::QueryFor(*variant.Interface(), pointer) : E_FAIL;
}
