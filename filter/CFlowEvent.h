// A manual-reset event that is read without a kernel call.
//
// The flow gate stands in front of every read, and asking a kernel event costs more than the read itself.
// Threads: any; no operation fails.
#pragma once

#include "base/CSlimLock.h"

#include <atomic>

namespace filter {

class CFlowEvent final {
public:
    CFlowEvent() noexcept = default;
    CFlowEvent(const CFlowEvent&) = delete;
    CFlowEvent& operator=(const CFlowEvent&) = delete;

    [[nodiscard]] bool IsSet() const noexcept { return m_set.load(std::memory_order_acquire); }

    // Releases every thread that waits, even when Reset follows at once.
    void Set() noexcept;
    void Reset() noexcept;

    // Returns when the event is set; waits without time limit.
    void Wait() noexcept;

private:
    std::atomic<bool> m_set{false};
    base::CSlimLock m_lock;  // guards changes of m_set, and m_setCount; taken last
    CONDITION_VARIABLE m_changed = CONDITION_VARIABLE_INIT;
    unsigned m_setCount = 0;  // tells a waiter of a Set that a Reset has already undone
};

}  // namespace filter
