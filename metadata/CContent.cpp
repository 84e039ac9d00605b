#include "metadata/CContent.h"

#include "TKDataServices.h"
#include "base/ComBoundary.h"

#include <utility>

namespace metadata {

namespace {

constexpr std::uint64_t kUnknownSizeBit = std::uint64_t{1} << 63;
constexpr std::uint64_t kDearestStart = 1024 * 1024;  // behind tags, where all before it has to be read

}  // namespace

CContent::CContent(IStream* source, Clock clock) : m_source(source), m_clock(clock) {
    ULARGE_INTEGER position{};
    Fail(base::ComBoundary([&] { return m_source->Seek({}, STREAM_SEEK_CUR, &position); }));
    m_isPutBack = FAILED(m_result);  // nobody knows where to
    if (m_isPutBack)
        return;
    m_found = position.QuadPart;
    AskStat();
    if (m_size && !CanSeekTo(0))
        Fail(SeekTo(m_found));
    if (!m_size)
        m_start = m_found;
    ReadHead();
}

CContent::~CContent() {
    PutBack();
}

void CContent::AskStat() {
    STATSTG stat{};
    if (FAILED(base::ComBoundary([&] { return m_source->Stat(&stat, STATFLAG_NONAME); })))
        return;
    ::CoTaskMemFree(stat.pwcsName);  // some give a name all the same
    if (!(stat.cbSize.QuadPart & kUnknownSizeBit))
        m_size = stat.cbSize.QuadPart;
    m_areSeeksDear = stat.grfStateBits == TKDS_STATE_SEEKS_READ_THROUGH;
}

void CContent::PutBack() {
    if (m_isPutBack)
        return;
    m_isPutBack = true;
    Fail(SeekTo(m_found));
}

void CContent::MoveStart(std::uint64_t count) {
    m_start += std::min(count, kUnknownSizeBit - 1 - m_start);
    // Some sources refuse positions behind their end. There is nothing to be had there.
    m_headIsAll = m_headIsAll || (m_size && m_start >= *m_size);
    const bool isNear = m_size && !m_headIsAll && !m_isOutOfTime && !(m_areSeeksDear && m_start > kDearestStart);
    if (isNear && CanSeekTo(m_start)) {
        m_headOffset = 0;
        ReadHead();
    } else {
        m_headOffset += static_cast<size_t>(std::min<std::uint64_t>(count, m_head.size() - m_headOffset));
    }
}

size_t CContent::ReadAt(std::uint64_t position, std::span<std::uint8_t> buffer) {
    if (!CanWalk() || position > kUnknownSizeBit - 1 - m_start)
        return 0;
    if (m_start + position >= *m_size || !CanSeekTo(m_start + position))
        return 0;
    return ReadOn(buffer);
}

void CContent::ReadHead() {
    m_head.resize(kHeadBytes);
    m_head.resize(ReadOn(m_head));
    m_headIsAll = m_head.size() < kHeadBytes && !m_isOutOfTime;
}

size_t CContent::ReadOn(std::span<std::uint8_t> buffer) {
    size_t count = 0;
    while (SUCCEEDED(m_result) && count < buffer.size()) {
        const auto wanted = static_cast<ULONG>(NextReadBytes(buffer.size() - count));
        if (wanted == 0)
            break;
        const std::uint64_t start = m_clock();
        ULONG read = 0;
        Fail(base::ComBoundary([&] { return m_source->Read(buffer.data() + count, wanted, &read); }));
        if (read > wanted)
            Fail(STG_E_READFAULT);
        if (read == 0)
            break;
        count += read;
        m_lastReadBytes = read;
        m_lastReadMs = m_clock() - start;
        if (!m_deadline)
            m_deadline = start + m_lastReadMs + kMostMs;
    }
    return SUCCEEDED(m_result) ? count : 0;
}

// How many of the `wanted` bytes to ask for at once; 0 when the time is up. A stream that gathers what slow pieces its
// own source gives would else be asked for more than comes in time.
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

// Whether a seek of the walk succeeded. After one that didn't the source is a live one.
bool CContent::CanSeekTo(std::uint64_t position) {
    const bool isThere = SUCCEEDED(m_result) && SUCCEEDED(SeekTo(position));
    if (!isThere)
        m_size.reset();
    return isThere;
}

HRESULT CContent::SeekTo(std::uint64_t position) {
    // Not every source takes a null pointer for the new position, and some say by it that they stand elsewhere.
    ULARGE_INTEGER reached{.QuadPart = position};
    const LARGE_INTEGER target{.QuadPart = static_cast<LONGLONG>(position)};
    const HRESULT result = base::ComBoundary([&] { return m_source->Seek(target, STREAM_SEEK_SET, &reached); });
    return SUCCEEDED(result) && reached.QuadPart != position ? STG_E_SEEKERROR : result;
}

void CContent::Fail(HRESULT result) noexcept {
    if (SUCCEEDED(m_result) && FAILED(result))
        m_result = result;
}

}  // namespace metadata
