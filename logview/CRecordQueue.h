// What has come and waits to be shown and stored. Bounded: when it is full, the oldest make room for the newest, and
// the lost ones are counted.
//
// Threads: any.  Errors: none for those who put; an arrival for which there is no memory counts as lost.
#pragma once

#include "base/CSlimLock.h"
#include "logview/Records.h"

#include <deque>
#include <vector>

namespace logview {

class CRecordQueue final {
public:
    // The most that waits, in arrivals and in bytes of their texts. One arrival always has room.
    CRecordQueue(std::size_t mostArrivals, std::size_t mostBytes) noexcept;
    CRecordQueue(const CRecordQueue&) = delete;
    CRecordQueue& operator=(const CRecordQueue&) = delete;

    void Put(Arrival&& arrival) noexcept;

    // Counts arrivals that were lost before they came here.
    void AddLost(ULONGLONG count) noexcept;

    // Wakes a Take that waits, now or next.
    void Wake() noexcept;

    // All that waits, oldest first; waits up to `timeoutMs` for something to come.  Throws std::bad_alloc; nothing is
    // lost then.
    [[nodiscard]] std::deque<Arrival> Take(DWORD timeoutMs);

    // How many were lost, ever.
    [[nodiscard]] ULONGLONG Lost() const noexcept;

private:
    const std::size_t m_mostArrivals, m_mostBytes;

    mutable base::CSlimLock m_lock;  // guards all below; nothing foreign is called under it
    CONDITION_VARIABLE m_came = CONDITION_VARIABLE_INIT;
    std::deque<Arrival> m_waiting;
    std::size_t m_bytes = 0;
    ULONGLONG m_lost = 0;
    bool m_isWoken = false;
};

}  // namespace logview
