#include "dataservices/http/CRecentBytes.h"

#include <algorithm>
#include <cstring>

namespace dataservices::http {

namespace {

// A limit, because each run takes memory of its own and time in every search, however few bytes it has.
constexpr size_t kMaxRuns = 64;

}  // namespace

CRecentBytes::CRecentBytes(ULONG capacity) : m_ring(capacity) {
    m_runs.reserve(kMaxRuns);
}

void CRecentBytes::Append(ULONGLONG position, std::span<const BYTE> bytes) noexcept {
    if (bytes.size() > m_ring.size()) {
        position += bytes.size() - m_ring.size();
        bytes = bytes.last(m_ring.size());
    }
    if (bytes.empty())
        return;
    MakeRoom(bytes.size());
    if (!m_runs.empty() && m_runs.back().position + m_runs.back().length == position)
        m_runs.back().length += bytes.size();
    else
        m_runs.push_back({position, m_end, bytes.size()});

    const size_t at = static_cast<size_t>(m_end % m_ring.size());
    const size_t first = std::min(bytes.size(), m_ring.size() - at);
    std::memcpy(m_ring.data() + at, bytes.data(), first);
    std::memcpy(m_ring.data(), bytes.data() + first, bytes.size() - first);
    m_end += bytes.size();
}

void CRecentBytes::MakeRoom(ULONGLONG bytes) noexcept {
    const ULONGLONG needed = m_end + bytes;
    const ULONGLONG oldest = needed > m_ring.size() ? needed - m_ring.size() : 0;
    while (!m_runs.empty() && m_runs.front().start < oldest) {
        Run& run = m_runs.front();
        const ULONGLONG dropped = std::min(run.length, oldest - run.start);
        run.position += dropped;
        run.start += dropped;
        run.length -= dropped;
        if (run.length > 0)
            break;
        m_runs.erase(m_runs.begin());
    }
    if (m_runs.size() >= kMaxRuns)
        m_runs.erase(m_runs.begin());
}

const CRecentBytes::Run* CRecentBytes::Find(ULONGLONG position) const noexcept {
    const auto run = std::find_if(m_runs.rbegin(), m_runs.rend(), [=](const Run& candidate) {
        return candidate.position <= position && position - candidate.position < candidate.length;
    });
    return run != m_runs.rend() ? &*run : nullptr;
}

ULONG CRecentBytes::CopyTo(ULONGLONG position, std::span<BYTE> target) const noexcept {
    const Run* const run = Find(position);
    if (!run || target.empty())
        return 0;
    const ULONGLONG offset = position - run->position;
    const size_t count = static_cast<size_t>(std::min<ULONGLONG>(run->length - offset, target.size()));
    const size_t at = static_cast<size_t>((run->start + offset) % m_ring.size());
    const size_t first = std::min(count, m_ring.size() - at);
    std::memcpy(target.data(), m_ring.data() + at, first);
    std::memcpy(target.data() + first, m_ring.data(), count - first);
    return static_cast<ULONG>(count);
}

}  // namespace dataservices::http
