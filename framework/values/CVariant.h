// Owns one VARIANT and what is in it.
//
// Threads: as for a plain value.  Errors: clearing never fails the caller; a value of an unknown kind owns nothing.
#pragma once

#include <windows.h>

#include <oleauto.h>

namespace framework {

class CVariant final {
public:
    CVariant() noexcept { ::VariantInit(&m_value); }
    CVariant(const CVariant&) = delete;
    CVariant& operator=(const CVariant&) = delete;
    ~CVariant() { ::VariantClear(&m_value); }

    [[nodiscard]] const VARIANT& Get() const noexcept { return m_value; }
    [[nodiscard]] VARTYPE Type() const noexcept { return m_value.vt; }

    // Where a call puts a new value; clears the old one first.
    [[nodiscard]] VARIANT* Put() noexcept {
        ::VariantClear(&m_value);
        ::VariantInit(&m_value);
        return &m_value;
    }

    // The interface that is held, without a reference; null if the value is no interface.
    [[nodiscard]] IUnknown* Interface() const noexcept {
        return m_value.vt == VT_UNKNOWN || m_value.vt == VT_DISPATCH ? m_value.punkVal : nullptr;
    }

private:
    VARIANT m_value;
};

}  // namespace framework
