#include "filter/CSignal.h"

unsigned CSignal::Count() const noexcept {
    ::AcquireSRWLockShared(&m_lock);
    const unsigned count = m_count;
    ::ReleaseSRWLockShared(&m_lock);
    return count;
}

void CSignal::Raise() noexcept {
    ::AcquireSRWLockExclusive(&m_lock);
    ++m_count;
    ::ReleaseSRWLockExclusive(&m_lock);
    ::WakeAllConditionVariable(&m_raised);
}

bool CSignal::WaitForMore(unsigned known, DWORD timeoutMs) noexcept {
    ::AcquireSRWLockExclusive(&m_lock);
    const bool woken = m_count != known || ::SleepConditionVariableSRW(&m_raised, &m_lock, timeoutMs, 0);
    ::ReleaseSRWLockExclusive(&m_lock);
    return woken;
}
