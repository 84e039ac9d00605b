#include "framework/streams/CReplayStream.h"

#include <algorithm>
#include <cstring>

namespace framework {

using Microsoft::WRL::ComPtr;

HRESULT CReplayStream::Initialize(IStream* source) noexcept {
    if (!source)
        return E_POINTER;
    // All memory is taken now: bytes that have come must not be lost for lack of it.
    const HRESULT hr = base::ComBoundary([&] {
        m_kept.reserve(kMostKept);
        return m_source.Attach(source);
    });
    if (FAILED(hr))
        return hr;
    m_control.Attach(*source);
    ULARGE_INTEGER position{};
    static_cast<void>(base::ComBoundary([&] { return source->Seek({}, STREAM_SEEK_CUR, &position); }));
    m_start = m_position = position.QuadPart;
    return S_OK;
}

void CReplayStream::EndKeeping() noexcept {
    m_isKeeping = false;
    if (m_position == End() || SUCCEEDED(MoveSource(m_position)))
        Drop();
}

// Forgets what is kept: the source stands at m_position, or is moved by the seek that follows.
void CReplayStream::Drop() noexcept {
    m_isKeeping = false;
    m_start = m_position;
    std::vector<BYTE>().swap(m_kept);
}

HRESULT CReplayStream::Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept {
    ULONG unwanted = 0;
    ULONG& count = bytesRead ? *bytesRead : unwanted;
    count = 0;
    if (!buffer)
        return E_POINTER;
    return base::ComBoundary([&]() -> HRESULT {
        HRESULT hr = S_OK;
        const ULONGLONG end = End();
        if (m_position < end) {
            count = static_cast<ULONG>(std::min<ULONGLONG>(cb, end - m_position));
            std::memcpy(buffer, m_kept.data() + (m_position - m_start), count);
            hr = count == cb ? S_OK : S_FALSE;
        } else {
            ComPtr<IStream> source;
            if (hr = m_source.CopyTo(&source); FAILED(hr))
                return hr;
            const HRESULT room = CutToRoom(cb);
            if (FAILED(room) || cb == 0)
                return room;
            hr = base::ComBoundary([&] { return source->Read(buffer, cb, &count); });
            if (hr == S_OK)
                hr = room;
            count = std::min(count, cb);  // a stream may claim more than it was asked for
            if (m_isKeeping)
                m_kept.insert(m_kept.end(), static_cast<BYTE*>(buffer), static_cast<BYTE*>(buffer) + count);
        }
        m_position += count;
        if (!m_isKeeping && m_position >= End())
            Drop();
        return hr;
    });
}

HRESULT CReplayStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept {
    const bool hasKept = !m_kept.empty();
    if (hasKept && origin == STREAM_SEEK_CUR) {  // the source stands elsewhere
        move.QuadPart = static_cast<LONGLONG>(m_position + static_cast<ULONGLONG>(move.QuadPart));
        origin = STREAM_SEEK_SET;
    }
    HRESULT hr = S_OK;
    const auto target = static_cast<ULONGLONG>(move.QuadPart);
    if (hasKept && origin == STREAM_SEEK_SET && target >= m_start && target <= End())
        m_position = target;
    else
        hr = SeekSource(move, origin);
    if (newPosition)
        newPosition->QuadPart = m_position;
    return hr;
}

// Keeps `cb` within the room that is left, because everything that is read must be kept while the source can't go back.
// S_FALSE: `cb` is less than it was.
HRESULT CReplayStream::CutToRoom(ULONG& cb) noexcept {
    if (!m_isKeeping || m_kept.size() + cb <= kMostKept)
        return S_OK;
    const HRESULT hr = LeaveKept();
    if (!m_isKeeping)
        return hr;
    cb = static_cast<ULONG>(kMostKept - m_kept.size());
    return S_FALSE;
}

// Stops keeping if the source can go back. A source that only goes forward would lose what was read of it.
HRESULT CReplayStream::LeaveKept() noexcept {
    if (const HRESULT hr = MoveSource(m_start); FAILED(hr))
        return hr;
    const HRESULT hr = MoveSource(m_position);
    if (FAILED(hr))
        m_position = m_start;  // the source stands there, and still has all that was kept
    Drop();
    return hr;
}

HRESULT CReplayStream::MoveSource(ULONGLONG position) const noexcept {
    // Some streams succeed, do nothing, and say nothing.
    ULARGE_INTEGER reached{.QuadPart = ~position};
    const HRESULT hr = AskSeek({.QuadPart = static_cast<LONGLONG>(position)}, STREAM_SEEK_SET, &reached);
    return SUCCEEDED(hr) && reached.QuadPart != position ? STG_E_SEEKERROR : hr;
}

HRESULT CReplayStream::AskSeek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* reached) const noexcept {
    return m_source.Call([&](IStream& source) { return source.Seek(move, origin, reached); });
}

HRESULT CReplayStream::SeekSource(LARGE_INTEGER move, DWORD origin) noexcept {
    if (m_isKeeping && !m_kept.empty()) {
        if (const HRESULT hr = LeaveKept(); FAILED(hr))
            return hr;
    }
    ULARGE_INTEGER reached{};
    const HRESULT hr = AskSeek(move, origin, &reached);
    if (FAILED(hr) && !m_kept.empty())
        return hr;
    m_start = m_position = reached.QuadPart;
    if (!m_isKeeping)
        Drop();
    return hr;
}

HRESULT CReplayStream::Stat(STATSTG* stat, DWORD flag) noexcept {
    if (!stat)
        return E_POINTER;
    return m_source.Call([&](IStream& source) { return source.Stat(stat, flag); });
}

HRESULT CReplayStream::Clone(IStream** clone) noexcept {
    if (!clone)
        return E_POINTER;
    *clone = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        ComPtr<IStream> sourceClone;
        if (const HRESULT hr = m_source.Clone(sourceClone); FAILED(hr))
            return hr;
        ComPtr<CReplayStream> copy;
        if (const HRESULT hr = MakeComObject<CReplayStream>(&copy); FAILED(hr))
            return hr;
        if (const HRESULT hr = copy->m_source.Attach(sourceClone.Get()); FAILED(hr))
            return hr;
        copy->m_control.Attach(*sourceClone.Get());
        copy->m_kept = m_kept;
        copy->m_start = m_start;
        copy->m_position = m_position;
        copy->m_isKeeping = false;
        *clone = copy.Detach();
        return S_OK;
    });
}

}  // namespace framework
