#include "metadata/CContent.h"

#include <utility>

namespace {

constexpr std::uint64_t kUnknownSizeBit = std::uint64_t{1} << 63;

// What a stranger's stream throws is a failure of its.
template <class Call>
HRESULT ResultOf(Call&& call) noexcept {
    try {
        return call();
    } catch (...) {
        return E_UNEXPECTED;
    }
}

// The source's size; nothing where it doesn't know.
std::optional<std::uint64_t> SizeOf(IStream* source) noexcept {
    STATSTG stat{};
    if (FAILED(ResultOf([&] { return source->Stat(&stat, STATFLAG_NONAME); })))
        return std::nullopt;
    ::CoTaskMemFree(stat.pwcsName);  // some give a name all the same
    if (stat.cbSize.QuadPart & kUnknownSizeBit)
        return std::nullopt;
    return stat.cbSize.QuadPart;
}

}  // namespace

CContent::CContent(IStream* source) : m_source(source), m_head(kHeadBytes) {
    ULARGE_INTEGER position{};
    Fail(ResultOf([&] { return m_source->Seek({}, STREAM_SEEK_CUR, &position); }));
    m_found = position.QuadPart;
    m_isPutBack = FAILED(m_result);  // nobody knows where to
    m_size = SizeOf(m_source);
    if (m_size)
        SeekTo(0);
    else
        m_start = m_found;
    ReadHead();
}

CContent::~CContent() {
    PutBack();
}

void CContent::PutBack() {
    if (m_isPutBack)
        return;
    m_isPutBack = true;
    const HRESULT first = std::exchange(m_result, S_OK);
    SeekTo(m_found);
    if (FAILED(first))
        m_result = first;
}

void CContent::MoveStart(std::uint64_t count) {
    m_start += std::min(count, kUnknownSizeBit - 1 - m_start);
    if (!m_size || m_headIsAll) {
        m_headOffset += static_cast<size_t>(std::min<std::uint64_t>(count, m_head.size() - m_headOffset));
        return;
    }
    m_headOffset = 0;
    // Some sources refuse positions behind their end. There is nothing to be had there.
    if (m_start < *m_size) {
        SeekTo(m_start);
        ReadHead();
    } else {
        m_head.clear();
        m_headIsAll = true;
    }
}

size_t CContent::ReadAt(std::uint64_t position, std::span<std::uint8_t> buffer) {
    if (!m_size || position > kUnknownSizeBit - 1 - m_start)
        return 0;
    if (m_start + position >= *m_size)
        return 0;
    SeekTo(m_start + position);
    return ReadOn(buffer);
}

void CContent::ReadHead() {
    m_head.resize(kHeadBytes);
    m_head.resize(ReadOn(m_head));
    m_headIsAll = m_head.size() < kHeadBytes;
}

size_t CContent::ReadOn(std::span<std::uint8_t> buffer) {
    size_t count = 0;
    while (SUCCEEDED(m_result) && count < buffer.size()) {
        const auto wanted = static_cast<ULONG>(buffer.size() - count);
        ULONG read = 0;
        Fail(ResultOf([&] { return m_source->Read(buffer.data() + count, wanted, &read); }));
        if (read > wanted)
            Fail(STG_E_READFAULT);
        if (read == 0)
            break;
        count += read;
    }
    return SUCCEEDED(m_result) ? count : 0;
}

void CContent::SeekTo(std::uint64_t position) {
    if (FAILED(m_result))
        return;
    // Not every source takes a null pointer for the new position, and some say by it that they stand elsewhere.
    ULARGE_INTEGER reached{.QuadPart = position};
    const LARGE_INTEGER target{.QuadPart = static_cast<LONGLONG>(position)};
    Fail(ResultOf([&] { return m_source->Seek(target, STREAM_SEEK_SET, &reached); }));
    if (reached.QuadPart != position)
        Fail(STG_E_SEEKERROR);
}

void CContent::Fail(HRESULT result) noexcept {
    if (SUCCEEDED(m_result) && FAILED(result))
        m_result = result;
}
