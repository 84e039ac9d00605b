// A re-entrant lock for std::lock_guard: for the places that call foreign code while they hold it. Such code may come
// back to us on the same thread, since a COM call out of a single-threaded apartment dispatches incoming calls.
#pragma once

#include <windows.h>

namespace base {

class CCriticalSection final {
public:
    CCriticalSection() noexcept { ::InitializeCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;
    ~CCriticalSection() { ::DeleteCriticalSection(&m_section); }

    void lock() noexcept { ::EnterCriticalSection(&m_section); }
    // False, without waiting: another thread holds it.
    [[nodiscard]] bool try_lock() noexcept { return ::TryEnterCriticalSection(&m_section) != FALSE; }
    void unlock() noexcept { ::LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

}  // namespace base
