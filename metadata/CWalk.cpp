#include "metadata/CWalk.h"

namespace {

constexpr size_t kWindowBytes = 32 * 1024;
constexpr int kReads = 32;  // of a window each: 1 MiB

}  // namespace

CWalk::CWalk(CContent& content, Kind kind) : m_content(content), m_kind(kind), m_readsLeft(kReads) {}

CBytes CWalk::At(std::uint64_t position, size_t count) {
    count = std::min(count, kMostBytes);
    const CBytes head = m_content.Head();
    if (head.Has(position, count) || !m_content.KnowsSize() || m_content.HeadIsAll())
        return head.From(position, count);
    if (position >= m_windowPosition && CBytes(m_window).Has(position - m_windowPosition, count))
        return CBytes(m_window).From(position - m_windowPosition, count);
    if (m_readsLeft == 0 || (m_kind == Kind::kHeaders && position >= kHeadersEnd))
        return head.From(position, count);
    --m_readsLeft;
    m_window.resize(kWindowBytes);
    m_windowPosition = position;
    m_window.resize(m_content.ReadAt(position, m_window));
    return CBytes(m_window).From(0, count);
}
