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

#include "base/CAtlException.h"
#include "base/CBstr.h"

#include <windows.h>

#include <atomic>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

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
                Install(m_wide, ToWide(narrow));
        }
        return m_wide.load();
    }

    [[nodiscard]] const char* GetNarrow() const {
        if (!m_narrow.load())
            if (const wchar_t* wide = GetWide())
                Install(m_narrow, ToNarrow(wide));
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
    static Buffer<Char> Allocate(size_t characters) {
        Buffer<Char> buffer(new (std::nothrow) Char[characters]);
        if (!buffer)
            throw base::CAtlException(E_OUTOFMEMORY);
        return buffer;
    }

    template <class Char>
    static Buffer<Char> Copy(const Char* text, size_t length) {
        if (!text)
            return nullptr;
        Buffer<Char> copy = Allocate<Char>(length + 1);
        std::memcpy(copy.get(), text, (length + 1) * sizeof(Char));
        return copy;
    }

    // Runs the conversion twice: first for the length (0 is a failure), then for the text.
    template <class Char, class Convert>
    static Buffer<Char> Converted(Convert&& convert) {
        const int characters = convert(nullptr, 0);
        if (characters <= 0)
            throw base::CAtlException(E_OUTOFMEMORY);
        Buffer<Char> text = Allocate<Char>(static_cast<size_t>(characters));
        if (convert(text.get(), characters) != characters)
            throw base::CAtlException(E_OUTOFMEMORY);
        return text;
    }

    static Buffer<wchar_t> ToWide(const char* narrow) {
        return Converted<wchar_t>(
            [=](wchar_t* to, int size) { return ::MultiByteToWideChar(CodePage, 0, narrow, -1, to, size); });
    }

    static Buffer<char> ToNarrow(const wchar_t* wide) {
        return Converted<char>([=](char* to, int size) {
            return ::WideCharToMultiByte(CodePage, 0, wide, -1, to, size, nullptr, nullptr);
        });
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
