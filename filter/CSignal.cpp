#include "filter/CSignal.h"

#include <mutex>

namespace filter {

unsigned CSignal::Count() const noexcept {
    const std::lock_guard lock(m_lock);
    return m_count;
}

void CSignal::Raise() noexcept {
    {
        const std::lock_guard lock(m_lock);
        ++m_count;
    }
    ::WakeAllConditionVariable(&m_raised);
}

bool CSignal::WaitForMore(unsigned known, DWORD timeoutMs) noexcept {
    const std::lock_guard lock(m_lock);
    return m_count != known || m_lock.Await(m_raised, timeoutMs);
}

}  // namespace filter
