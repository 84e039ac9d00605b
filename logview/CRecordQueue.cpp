#include "logview/CRecordQueue.h"

#include "base/CDeadline.h"

#include <mutex>
#include <utility>

namespace logview {

CRecordQueue::CRecordQueue(std::size_t mostArrivals, std::size_t mostBytes) noexcept
    : m_mostArrivals(mostArrivals), m_mostBytes(mostBytes) {}

void CRecordQueue::Put(Arrival&& arrival) noexcept {
    {
        const std::lock_guard lock(m_lock);
        try {
            const std::size_t bytes = SizeOf(arrival);
            m_waiting.push_back(std::move(arrival));
            m_bytes += bytes;
        } catch (...) {
            ++m_lost;
            return;
        }
        while (m_waiting.size() > 1 && (m_waiting.size() > m_mostArrivals || m_bytes > m_mostBytes)) {
            m_bytes -= SizeOf(m_waiting.front());
            m_waiting.pop_front();
            ++m_lost;
        }
        if (m_waiting.size() > 1)
            return;  // whoever takes is awake, or has been woken for the first of them
    }
    ::WakeConditionVariable(&m_came);
}

void CRecordQueue::AddLost(ULONGLONG count) noexcept {
    const std::lock_guard lock(m_lock);
    m_lost += count;
}

void CRecordQueue::Wake() noexcept {
    {
        const std::lock_guard lock(m_lock);
        m_isWoken = true;
    }
    ::WakeConditionVariable(&m_came);
}

std::deque<Arrival> CRecordQueue::Take(DWORD timeoutMs) {
    std::deque<Arrival> taken;  // made before anything is taken: making it may fail
    const base::CDeadline limit(timeoutMs);
    const std::lock_guard lock(m_lock);
    while (m_waiting.empty() && !m_isWoken && !limit.IsOver())
        m_lock.Await(m_came, limit.Left());
    m_isWoken = false;
    m_waiting.swap(taken);
    m_bytes = 0;
    return taken;
}

ULONGLONG CRecordQueue::Lost() const noexcept {
    const std::lock_guard lock(m_lock);
    return m_lost;
}

}  // namespace logview
