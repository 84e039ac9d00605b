#include "metadata/CWalk.h"

namespace metadata {

namespace {

constexpr size_t kWindowBytes = 32 * 1024;
constexpr int kReads = 32;  // of a window each: 1 MiB

}  // namespace

CWalk::CWalk(CContent& content, Kind kind) : m_content(content), m_kind(kind), m_readsLeft(kReads) {}

CBytes CWalk::At(std::uint64_t position, size_t count) {
    count = std::min(count, kMostBytes);
    const CBytes head = m_content.Head();
    if (head.Has(position, count) || !m_content.CanWalk() || m_content.HeadIsAll())
        return head.From(position, count);
    const bool isInWindow = position >= m_windowPosition && position - m_windowPosition < m_window.size();
    if (isInWindow && (m_windowIsLast || CBytes(m_window).Has(position - m_windowPosition, count)))
        return CBytes(m_window).From(position - m_windowPosition, count);
    const bool isTooFar = m_kind == Kind::Headers && position >= kHeadersEnd;
    if (m_readsLeft == 0 || isTooFar)
        return head.From(position, count);
    --m_readsLeft;
    const std::uint64_t most = m_kind == Kind::Headers ? kHeadersEnd - position : kWindowBytes;
    m_window.resize(static_cast<size_t>(std::min<std::uint64_t>(kWindowBytes, most)));
    const size_t wanted = m_window.size();
    m_windowPosition = position;
    m_window.resize(m_content.ReadAt(position, m_window));
    m_windowIsLast = m_window.size() < wanted || wanted < kWindowBytes;
    return CBytes(m_window).From(0, count);
}

}  // namespace metadata
