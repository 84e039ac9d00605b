// Owns one BSTR.
//
// Errors: constructing from text throws CAtlException carrying E_OUTOFMEMORY when the string can't be allocated.
#pragma once

#include "base/CAtlException.h"

#include <oleauto.h>

#include <string_view>
#include <utility>

namespace base {

class CBstr final {
public:
    CBstr() noexcept = default;

    // Null stays null, and empty text becomes an empty string that is not null.
    explicit CBstr(const wchar_t* text) : m_text(text ? Check(::SysAllocString(text)) : nullptr) {}
    explicit CBstr(std::wstring_view text) : m_text(Allocate(text)) {}

    CBstr(CBstr&& other) noexcept : m_text(other.Detach()) {}
    CBstr& operator=(CBstr&& other) noexcept {
        ::SysFreeString(std::exchange(m_text, other.Detach()));
        return *this;
    }
    CBstr(const CBstr&) = delete;
    CBstr& operator=(const CBstr&) = delete;
    ~CBstr() { ::SysFreeString(m_text); }

    [[nodiscard]] BSTR Get() const noexcept { return m_text; }
    [[nodiscard]] UINT Length() const noexcept { return ::SysStringLen(m_text); }
    [[nodiscard]] std::wstring_view View() const noexcept { return {m_text ? m_text : L"", Length()}; }
    explicit operator bool() const noexcept { return m_text != nullptr; }

    [[nodiscard]] BSTR Detach() noexcept { return std::exchange(m_text, nullptr); }

    // Where a call puts a new string; frees the old one first.
    [[nodiscard]] BSTR* Put() noexcept {
        ::SysFreeString(std::exchange(m_text, nullptr));
        return &m_text;
    }

private:
    static BSTR Check(BSTR text) {
        if (!text)
            throw CAtlException(E_OUTOFMEMORY);
        return text;
    }
    static BSTR Allocate(std::wstring_view text) {
        if (text.size() > 0x7FFFFFF0)  // the length prefix is 32 bits wide
            throw CAtlException(E_OUTOFMEMORY);
        return Check(::SysAllocStringLen(text.data(), static_cast<UINT>(text.size())));
    }

    BSTR m_text = nullptr;
};

}  // namespace base
