// Takes the place of the platform's event.
#pragma once

#include "base/CSlimLock.h"

#include <mutex>
#include <utility>

namespace threading {

class CDoorbell final {
public:
    explicit CDoorbell(DWORD) noexcept {}
    void ServeMessages() noexcept {}
    [[nodiscard]] bool IsThere() const noexcept { return true; }
    void Ring() noexcept {
        const std::lock_guard guard(m_lock);
        m_isRung = true;
        ::WakeAllConditionVariable(&m_rung);
    }
    void Await() noexcept {
        const std::lock_guard guard(m_lock);
        while (!std::exchange(m_isRung, false))
            m_lock.Await(m_rung, INFINITE);
    }

private:
    base::CSlimLock m_lock;
    CONDITION_VARIABLE m_rung = CONDITION_VARIABLE_INIT;
    bool m_isRung = false;
};

}  // namespace threading
