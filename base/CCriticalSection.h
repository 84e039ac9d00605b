// A re-entrant lock for std::lock_guard: for the places that call foreign code while they hold it. Such code may come
// back to us on the same thread, since a COM call out of a single-threaded apartment dispatches incoming calls.
#pragma once

#include "base/LockOrder.h"

#include <windows.h>

namespace base {

class CCriticalSection final : private LockOrder::CTeller<LockOrder::Reentry::Allowed> {
public:
    CCriticalSection() noexcept { ::InitializeCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;
    ~CCriticalSection() { ::DeleteCriticalSection(&m_section); }

    void lock() noexcept {
        BeforeWait();
        ::EnterCriticalSection(&m_section);
        Took();
    }
    // False, without waiting: another thread holds it.
    [[nodiscard]] bool try_lock() noexcept {
        const bool isTaken = ::TryEnterCriticalSection(&m_section) != FALSE;
        Took(isTaken);
        return isTaken;
    }
    void unlock() noexcept {
        GivesBack();
        ::LeaveCriticalSection(&m_section);
    }

private:
    CRITICAL_SECTION m_section;
};

}  // namespace base
