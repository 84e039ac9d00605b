// A re-entrant lock: the thread that has it may take it again, and gives it back as often as it took it.
#pragma once

#include "base/CCriticalSection.h"

class CCritSec final {
public:
    CCritSec() noexcept = default;
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;

    void Lock() noexcept { m_lock.lock(); }
    // False, without waiting: another thread holds it.
    [[nodiscard]] bool TryLock() noexcept { return m_lock.try_lock(); }
    void Unlock() noexcept { m_lock.unlock(); }

private:
    base::CCriticalSection m_lock;
};
