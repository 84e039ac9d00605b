// Owns one resource that a policy knows how to close: a kernel handle, a registry key.
//
//   CAutoDestructor<HANDLE, CHandleCloser> event{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
//   if (!event) return HRESULT_FROM_WIN32(GetLastError());
//
// Threads: as for a plain value.  Errors: closing never fails the caller, and the thread's last-error value is the same
// after it as before, so that an early return may still report the error that caused it.
#pragma once

#include <windows.h>

#include <utility>

namespace base {

struct CHandleCloser {
    static HANDLE Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static bool IsValid(HANDLE handle) noexcept { return handle && handle != INVALID_HANDLE_VALUE; }
    static void Close(HANDLE handle) noexcept { ::CloseHandle(handle); }
};

struct CRegistryKeyCloser {
    static HKEY Invalid() noexcept { return nullptr; }
    static bool IsValid(HKEY key) noexcept { return key != nullptr; }
    static void Close(HKEY key) noexcept { ::RegCloseKey(key); }
};

struct CLibraryCloser {
    static HMODULE Invalid() noexcept { return nullptr; }
    static bool IsValid(HMODULE library) noexcept { return library != nullptr; }
    static void Close(HMODULE library) noexcept { ::FreeLibrary(library); }
};

template <class T, class Policy>
class CAutoDestructor final {
public:
    CAutoDestructor() noexcept = default;
    explicit CAutoDestructor(T value) noexcept : m_value(value) {}
    CAutoDestructor(CAutoDestructor&& other) noexcept : m_value(other.Detach()) {}
    CAutoDestructor& operator=(CAutoDestructor&& other) noexcept {
        Reset(other.Detach());
        return *this;
    }
    CAutoDestructor(const CAutoDestructor&) = delete;
    CAutoDestructor& operator=(const CAutoDestructor&) = delete;
    ~CAutoDestructor() { Reset(); }

    [[nodiscard]] T Get() const noexcept { return m_value; }
    explicit operator bool() const noexcept { return Policy::IsValid(m_value); }

    // Closes what is held and takes over `value`. If `value` is what is held already, nothing is closed.
    void Reset(T value = Policy::Invalid()) noexcept {
        const T old = std::exchange(m_value, value);
        if (old == value || !Policy::IsValid(old))
            return;
        const DWORD lastError = ::GetLastError();
        Policy::Close(old);
        ::SetLastError(lastError);
    }

    // Gives the resource up to the caller.
    [[nodiscard]] T Detach() noexcept { return std::exchange(m_value, Policy::Invalid()); }

    // Where a creation function puts a new resource; closes the old one first.
    [[nodiscard]] T* Put() noexcept {
        Reset();
        return &m_value;
    }

private:
    T m_value = Policy::Invalid();
};

struct CFindCloser {
    static HANDLE Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static bool IsValid(HANDLE search) noexcept { return search != INVALID_HANDLE_VALUE; }
    static void Close(HANDLE search) noexcept { ::FindClose(search); }
};

using CAutoHandle = CAutoDestructor<HANDLE, CHandleCloser>;
using CAutoRegistryKey = CAutoDestructor<HKEY, CRegistryKeyCloser>;
using CAutoLibrary = CAutoDestructor<HMODULE, CLibraryCloser>;
using CAutoFind = CAutoDestructor<HANDLE, CFindCloser>;

}  // namespace base
