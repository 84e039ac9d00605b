#include "metadata/CContent.h"

namespace {

constexpr std::uint64_t kUnknownSizeBit = std::uint64_t{1} << 63;

void Check(HRESULT result) {
    if (FAILED(result))
        throw CSourceFailure{result};
}

// The source's size; nothing where it doesn't know.
std::optional<std::uint64_t> SizeOf(IStream* source) {
    STATSTG stat{};
    if (FAILED(source->Stat(&stat, STATFLAG_NONAME)))
        return std::nullopt;
    ::CoTaskMemFree(stat.pwcsName);  // some give a name all the same
    if (stat.cbSize.QuadPart & kUnknownSizeBit)
        return std::nullopt;
    return stat.cbSize.QuadPart;
}

}  // namespace

CContent::CContent(IStream* source) : m_source(source), m_head(kHeadBytes) {
    ULARGE_INTEGER position{};
    Check(m_source->Seek({}, STREAM_SEEK_CUR, &position));
    m_found = position.QuadPart;
    m_size = SizeOf(m_source);
    try {
        if (m_size)
            SeekTo(0);
        else
            m_start = m_found;
        ReadHead();
    } catch (...) {
        // A half-made object isn't destroyed, and what was begun here has to be undone here.
        try {
            PutBack();
        } catch (...) {
            // The first failure is the one that is told.
        }
        throw;
    }
}

CContent::~CContent() {
    try {
        PutBack();
    } catch (...) {
        // Only on the way out of another failure, which is the one that is told.
    }
}

void CContent::PutBack() {
    if (m_isPutBack)
        return;
    m_isPutBack = true;
    SeekTo(m_found);
}

void CContent::MoveStart(std::uint64_t count) {
    if (count > kUnknownSizeBit - 1 - m_start)
        throw CSourceFailure{STG_E_SEEKERROR};
    m_start += count;
    if (!m_size || m_headIsAll) {
        m_headOffset += static_cast<size_t>(std::min<std::uint64_t>(count, m_head.size() - m_headOffset));
        return;
    }
    // Some sources refuse positions behind their end. There is nothing to be had there.
    if (m_start < *m_size) {
        SeekTo(m_start);
        ReadHead();
    } else {
        m_head.clear();
        m_headOffset = 0;
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
    m_headOffset = 0;
    const size_t count = ReadOn(m_head);
    m_headIsAll = count < kHeadBytes;
    m_head.resize(count);
}

size_t CContent::ReadOn(std::span<std::uint8_t> buffer) {
    size_t count = 0;
    while (count < buffer.size()) {
        const auto wanted = static_cast<ULONG>(buffer.size() - count);
        ULONG read = 0;
        Check(m_source->Read(buffer.data() + count, wanted, &read));
        if (read > wanted)
            throw CSourceFailure{STG_E_READFAULT};
        if (read == 0)
            break;
        count += read;
    }
    return count;
}

void CContent::SeekTo(std::uint64_t position) {
    // The new position is asked for though nobody needs it: not every source takes a null pointer there.
    ULARGE_INTEGER reached{};
    Check(m_source->Seek({.QuadPart = static_cast<LONGLONG>(position)}, STREAM_SEEK_SET, &reached));
}
