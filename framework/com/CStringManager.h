// Keeps one string in up to three forms - wide, narrow in `CodePage`, BSTR - each of which is made when it is first
// asked for. 0 (CP_ACP) is the system's ANSI code page, 65001 (CP_UTF8) is UTF-8.
//
//   CStringManager<CP_ACP> name;
//   name.SetWide(L"C:\\clip.avi");
//   const char* narrow = name.GetNarrow();  // valid until the next Set
//
// A form that was set is never made from another one, so a name that the code page can't spell keeps its wide form;
// only its narrow form has replacement characters.
//
// Threads: several threads may ask for forms at once. Setting is for one thread, with no other thread using the object
// or what it returned.
// Errors: CAtlException carrying E_OUTOFMEMORY when a form can't be made; what was kept before stays.
#pragma once

#include "base/CBstr.h"
#include "base/CodePageText.h"

#include <windows.h>

#include <atomic>
#include <cstring>
#include <cwchar>
#include <memory>

template <UINT CodePage>
class CStringManager final {
public:
    CStringManager() noexcept = default;
    CStringManager(const CStringManager&) = delete;
    CStringManager& operator=(const CStringManager&) = delete;
    ~CStringManager() { Clear(); }

    // Each replaces the string: the new form is kept and the other two are freed. Null leaves no string.
    void SetWide(const wchar_t* text) { Replace(m_wide, Copy(text, text ? std::wcslen(text) : 0)); }
    void SetNarrow(const char* text) { Replace(m_narrow, Copy(text, text ? std::strlen(text) : 0)); }
    void SetBstr(const wchar_t* text) { Replace(m_bstr, base::CBstr(text)); }

    // Exchanges the strings, with the forms they have. As for setting, only one thread.
    void Swap(CStringManager& other) noexcept {
        SwapForms(m_wide, other.m_wide);
        SwapForms(m_narrow, other.m_narrow);
        SwapForms(m_bstr, other.m_bstr);
    }

    // Null when there is no string.
    [[nodiscard]] const wchar_t* GetWide() const {
        if (!m_wide.load()) {
            if (const BSTR bstr = m_bstr.load())
                Install(m_wide, Copy(bstr, std::wcslen(bstr)));
            else if (const char* narrow = m_narrow.load())
                Install(m_wide, base::WideOfNarrow(CodePage, narrow));
        }
        return m_wide.load();
    }

    [[nodiscard]] const char* GetNarrow() const {
        if (!m_narrow.load())
            if (const wchar_t* wide = GetWide())
                Install(m_narrow, base::NarrowOfWide(CodePage, wide));
        return m_narrow.load();
    }

    [[nodiscard]] BSTR GetBstr() const {
        if (!m_bstr.load())
            if (const wchar_t* wide = GetWide())
                Install(m_bstr, base::CBstr(wide));
        return m_bstr.load();
    }

private:
    template <class Char>
    using Buffer = std::unique_ptr<Char[]>;

    template <class Char>
    static Buffer<Char> Copy(const Char* text, size_t length) {
        if (!text)
            return nullptr;
        Buffer<Char> copy = base::AllocateText<Char>(length + 1);
        std::memcpy(copy.get(), text, (length + 1) * sizeof(Char));
        return copy;
    }

    // Of two threads that made the same form, the second one to install it drops its own.
    template <class Char>
    static void Install(std::atomic<Char*>& form, Buffer<Char> made) noexcept {
        Char* expected = nullptr;
        if (form.compare_exchange_strong(expected, made.get()))
            static_cast<void>(made.release());
    }
    static void Install(std::atomic<wchar_t*>& form, base::CBstr made) noexcept {
        wchar_t* expected = nullptr;
        if (form.compare_exchange_strong(expected, made.Get()))
            static_cast<void>(made.Detach());
    }

    template <class Form>
    static void SwapForms(Form& a, Form& b) noexcept {
        a.store(b.exchange(a.load()));
    }

    template <class Form, class Made>
    void Replace(Form& form, Made made) noexcept {
        Clear();
        Install(form, std::move(made));
    }

    void Clear() noexcept {
        delete[] m_wide.exchange(nullptr);
        delete[] m_narrow.exchange(nullptr);
        ::SysFreeString(m_bstr.exchange(nullptr));
    }

    mutable std::atomic<wchar_t*> m_wide{nullptr};
    mutable std::atomic<char*> m_narrow{nullptr};
    mutable std::atomic<BSTR> m_bstr{nullptr};
};
