// The newest of what came, for what is written at the end (the page and the trace) or shown again.
//
// Threads: one.  Errors: std::bad_alloc; nothing is lost then but what was to be taken.
#pragma once

#include "logview/Records.h"

#include <deque>
#include <utility>

namespace logview {

class CHistory final {
public:
    // The most that is kept, in arrivals and in bytes of their texts.
    explicit CHistory(std::size_t mostArrivals = 100'000, std::size_t mostBytes = 128 << 20) noexcept
        : m_mostArrivals(mostArrivals), m_mostBytes(mostBytes) {}

    void Take(Arrival arrival) {
        m_arrivals.push_back(std::move(arrival));
        m_bytes += SizeOf(m_arrivals.back());
        while (m_arrivals.size() > 1 && (m_arrivals.size() > m_mostArrivals || m_bytes > m_mostBytes)) {
            m_bytes -= SizeOf(m_arrivals.front());
            m_arrivals.pop_front();
            ++m_leftOut;
        }
    }

    void Clear() noexcept {
        m_arrivals.clear();
        m_bytes = 0;
    }

    // Oldest first.
    [[nodiscard]] const std::deque<Arrival>& All() const noexcept { return m_arrivals; }

    // How many older ones had to go.
    [[nodiscard]] ULONGLONG LeftOut() const noexcept { return m_leftOut; }

private:
    const std::size_t m_mostArrivals, m_mostBytes;
    std::deque<Arrival> m_arrivals;
    std::size_t m_bytes = 0;
    ULONGLONG m_leftOut = 0;
};

}  // namespace logview
