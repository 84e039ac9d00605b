// A lock for std::lock_guard that works before its constructor and after its destructor, so during load and unload too;
// not re-entrant.
#pragma once

#include "base/LockOrder.h"

#include <windows.h>

namespace base {

class CSlimLock final : private LockOrder::CTeller<LockOrder::Reentry::LocksUp> {
public:
    constexpr CSlimLock() noexcept = default;
    CSlimLock(const CSlimLock&) = delete;
    CSlimLock& operator=(const CSlimLock&) = delete;

    void lock() noexcept {
        BeforeWait();
        ::AcquireSRWLockExclusive(&m_lock);
        Took();
    }
    // False, without waiting: it is held.
    [[nodiscard]] bool try_lock() noexcept {
        const bool isTaken = ::TryAcquireSRWLockExclusive(&m_lock) != FALSE;
        Took(isTaken);
        return isTaken;
    }
    void unlock() noexcept {
        GivesBack();
        ::ReleaseSRWLockExclusive(&m_lock);
    }

    // Gives up the lock, which the caller holds, waits until `changed` is woken, and takes the lock again. It may also
    // return for no reason.  False: `changed` wasn't woken within `timeoutMs`.
    bool Await(CONDITION_VARIABLE& changed, DWORD timeoutMs) noexcept {
        GivesBack();
        BeforeWait();  // to take it again, with all that the thread holds otherwise
        const bool isWoken = ::SleepConditionVariableSRW(&changed, &m_lock, timeoutMs, 0) != FALSE;
        Took();
        return isWoken;
    }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};

}  // namespace base
