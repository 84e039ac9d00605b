#include "metadata/CContent.h"

#include <limits>

namespace metadata {

namespace {

constexpr std::uint64_t kMostPosition = std::numeric_limits<std::int64_t>::max();
// Tags are stepped over up to here if seeks are expensive: the source then reads all that lies between.
constexpr std::uint64_t kMostReadThrough = 1024 * 1024;

}  // namespace

CContent::CContent(IByteSource& source, Clock clock) : m_source(source), m_clock(clock) {
    Fail(m_source.Tell(m_found));
    m_isPutBack = HasFailed();  // nobody knows where it stood
    if (m_isPutBack)
        return;
    const IByteSource::Facts facts = m_source.Ask();
    m_size = facts.size;
    m_areSeeksExpensive = facts.areSeeksExpensive;
    if (m_size && !CanSeekTo(0))
        Fail(m_source.SeekTo(m_found));
    if (!m_size)
        m_start = m_found;
    ReadHead(facts.isAwaited && CanWalk() ? kFirstHeadBytes : kHeadBytes);
}

CContent::~CContent() {
    PutBack();
}

void CContent::PutBack() {
    if (m_isPutBack)
        return;
    m_isPutBack = true;
    Fail(m_source.SeekTo(m_found));
}

void CContent::MoveStart(std::uint64_t count) {
    m_start += std::min(count, kMostPosition - m_start);
    // Some sources refuse positions behind their end. There is nothing to be had there.
    m_headIsAll = m_headIsAll || (m_size && m_start >= *m_size);
    const bool isNear =
        m_size && !m_headIsAll && !m_isOutOfTime && !(m_areSeeksExpensive && m_start > kMostReadThrough);
    if (isNear && CanSeekTo(m_start)) {
        m_headOffset = 0;
        ReadHead();
    } else {
        m_headOffset += static_cast<size_t>(std::min<std::uint64_t>(count, m_head.size() - m_headOffset));
    }
}

size_t CContent::ReadAt(std::uint64_t position, std::span<std::uint8_t> buffer) {
    if (!CanWalk() || position > kMostPosition - m_start)
        return 0;
    if (m_start + position >= *m_size || !CanSeekTo(m_start + position))
        return 0;
    return ReadOn(buffer);
}

void CContent::ReadHead(size_t most) {
    m_head.resize(most);
    m_head.resize(ReadOn(m_head));
    m_headIsAll = m_head.size() < most && !m_isOutOfTime;
    m_isHeadPart = most < kHeadBytes && m_head.size() == most;
}

void CContent::CompleteHead() {
    m_isHeadPart = false;
    if (!CanSeekTo(m_start - m_headOffset + m_head.size()))
        return;
    const size_t before = m_head.size();
    m_head.resize(kHeadBytes);
    m_head.resize(before + ReadOn(std::span(m_head).subspan(before)));
    m_headIsAll = m_head.size() < kHeadBytes && !m_isOutOfTime;
    if (HasFailed())
        m_head.clear();
}

size_t CContent::ReadOn(std::span<std::uint8_t> buffer) {
    size_t count = 0;
    while (!HasFailed() && count < buffer.size()) {
        const size_t wanted = NextReadBytes(buffer.size() - count);
        if (wanted == 0)
            break;
        const std::uint64_t start = m_clock();
        size_t read = 0;
        Fail(m_source.Read(buffer.subspan(count, wanted), read));
        if (read == 0)
            break;
        count += read;
        m_lastReadBytes = read;
        m_lastReadMs = m_clock() - start;
        if (!m_deadline)
            m_deadline = start + m_lastReadMs + kMostMs;
    }
    return HasFailed() ? 0 : count;
}

// How many of the `wanted` bytes to ask for at once; 0 when the time is up. Otherwise a stream that gathers the slow
// pieces of a source of its own would be asked for more than comes in time.
size_t CContent::NextReadBytes(size_t wanted) {
    constexpr size_t kGrowth = 16;
    if (!m_deadline)
        return 1;
    const std::uint64_t now = m_clock();
    m_isOutOfTime = m_isOutOfTime || now >= *m_deadline;
    if (m_isOutOfTime)
        return 0;
    const std::uint64_t inTime = m_lastReadMs == 0 ? wanted : m_lastReadBytes * (*m_deadline - now) / m_lastReadMs;
    return std::min(
        {wanted, std::max<size_t>(1, m_lastReadBytes * kGrowth), std::max<size_t>(1, static_cast<size_t>(inTime))});
}

// Whether a seek of the walk succeeded. After one that failed the source counts as live.
bool CContent::CanSeekTo(std::uint64_t position) {
    const bool isThere = !HasFailed() && m_source.SeekTo(position) >= 0;
    if (!isThere)
        m_size.reset();
    return isThere;
}

void CContent::Fail(IByteSource::Result result) noexcept {
    if (!HasFailed() && result < 0)
        m_result = result;
}

}  // namespace metadata
