// Wakes waiters at each change of what they wait for. A waiter names the last change that it knows of. So it misses no
// change that comes before it waits, however brief.
//
//   unsigned known = signal.Count();  // under the lock of what is waited for
//   ...                               // look at it, give the lock back
//   signal.WaitForMore(known, timeoutMs);
//
// Threads: any; Raise is never blocked by a waiter. Nothing has to be allocated, so there is always a signal.
#pragma once

#include "base/CSlimLock.h"

namespace filter {

class CSignal final {
public:
    CSignal() noexcept = default;
    CSignal(const CSignal&) = delete;
    CSignal& operator=(const CSignal&) = delete;

    // How often it has been raised.
    [[nodiscard]] unsigned Count() const noexcept;
    void Raise() noexcept;

    // Returns when it has been raised since Count gave `known`, or for no reason.  False: it wasn't within `timeoutMs`.
    [[nodiscard]] bool WaitForMore(unsigned known, DWORD timeoutMs) noexcept;

private:
    mutable base::CSlimLock m_lock;  // guards m_count; taken last
    CONDITION_VARIABLE m_raised = CONDITION_VARIABLE_INIT;
    unsigned m_count = 0;
};

}  // namespace filter
