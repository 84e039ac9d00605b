// A lock for std::lock_guard that needs neither construction nor destruction, so that it works during load and unload
// too; not re-entrant.
#pragma once

#include <windows.h>

namespace base {

class CSlimLock final {
public:
    constexpr CSlimLock() noexcept = default;
    CSlimLock(const CSlimLock&) = delete;
    CSlimLock& operator=(const CSlimLock&) = delete;

    void lock() noexcept { ::AcquireSRWLockExclusive(&m_lock); }
    [[nodiscard]] bool try_lock() noexcept { return ::TryAcquireSRWLockExclusive(&m_lock) != FALSE; }
    void unlock() noexcept { ::ReleaseSRWLockExclusive(&m_lock); }

    // Gives up the lock, which the caller holds, waits until `changed` is woken, and takes the lock again. It may also
    // return for no reason.  False: `changed` wasn't woken within `timeoutMs`.
    bool Await(CONDITION_VARIABLE& changed, DWORD timeoutMs) noexcept {
        return ::SleepConditionVariableSRW(&changed, &m_lock, timeoutMs, 0) != FALSE;
    }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};

}  // namespace base
