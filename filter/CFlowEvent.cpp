#include "filter/CFlowEvent.h"

#include <mutex>

namespace filter {

void CFlowEvent::Set() noexcept {
    {
        const std::lock_guard lock(m_lock);
        m_set.store(true, std::memory_order_release);
        ++m_setCount;
    }
    ::WakeAllConditionVariable(&m_changed);
}

void CFlowEvent::Reset() noexcept {
    const std::lock_guard lock(m_lock);
    m_set.store(false, std::memory_order_release);
}

void CFlowEvent::Wait() noexcept {
    const std::lock_guard lock(m_lock);
    const unsigned setCount = m_setCount;
    while (!m_set.load(std::memory_order_relaxed) && m_setCount == setCount)
        m_lock.Await(m_changed, INFINITE);
}

}  // namespace filter
