// A re-entrant lock for std::lock_guard: for the places that call foreign code while they hold it. Such code may come
// back to us on the same thread, since a COM call out of a single-threaded apartment dispatches incoming calls.
#pragma once

#include <windows.h>

namespace TKRuntimeLogger {

class CCriticalSection final {
public:
    CCriticalSection() noexcept { ::InitializeCriticalSection(&m_section); }
    CCriticalSection(const CCriticalSection&) = delete;
    CCriticalSection& operator=(const CCriticalSection&) = delete;
    ~CCriticalSection() { ::DeleteCriticalSection(&m_section); }

    void lock() noexcept { ::EnterCriticalSection(&m_section); }
    void unlock() noexcept { ::LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

// A lock that needs neither construction nor destruction, so that it works during load and unload too; not re-entrant.
class CSlimLock final {
public:
    constexpr CSlimLock() noexcept = default;
    CSlimLock(const CSlimLock&) = delete;
    CSlimLock& operator=(const CSlimLock&) = delete;

    void lock() noexcept { ::AcquireSRWLockExclusive(&m_lock); }
    void unlock() noexcept { ::ReleaseSRWLockExclusive(&m_lock); }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};

}  // namespace TKRuntimeLogger
