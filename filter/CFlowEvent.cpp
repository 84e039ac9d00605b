#include "filter/CFlowEvent.h"

void CFlowEvent::Set() noexcept {
    ::AcquireSRWLockExclusive(&m_lock);
    m_set.store(true, std::memory_order_release);
    ++m_setCount;
    ::ReleaseSRWLockExclusive(&m_lock);
    ::WakeAllConditionVariable(&m_changed);
}

void CFlowEvent::Reset() noexcept {
    ::AcquireSRWLockExclusive(&m_lock);
    m_set.store(false, std::memory_order_release);
    ::ReleaseSRWLockExclusive(&m_lock);
}

void CFlowEvent::Wait() noexcept {
    ::AcquireSRWLockExclusive(&m_lock);
    const unsigned setCount = m_setCount;
    while (!m_set.load(std::memory_order_relaxed) && m_setCount == setCount)
        ::SleepConditionVariableSRW(&m_changed, &m_lock, INFINITE, 0);
    ::ReleaseSRWLockExclusive(&m_lock);
}
