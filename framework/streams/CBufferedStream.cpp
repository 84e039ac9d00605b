#include "framework/streams/CBufferedStream.h"

#include <algorithm>
#include <cstring>

using Microsoft::WRL::ComPtr;

HRESULT CBufferedStream::Initialize(IStream* stream, LONG bufferBytes) noexcept {
    if (!stream)
        return E_POINTER;
    if (bufferBytes < 1)
        return E_INVALIDARG;

    if (const HRESULT hr = m_source.Attach(stream); FAILED(hr))
        return hr;
    const HRESULT hr = base::ComBoundary([&] {
        m_lines.resize((static_cast<size_t>(bufferBytes) + sizeof(CacheLine) - 1) / sizeof(CacheLine));
        m_capacity = bufferBytes;
        return S_OK;
    });
    if (FAILED(hr))
        return hr;

    m_control.Attach(*stream);
    ULARGE_INTEGER position{};
    static_cast<void>(base::ComBoundary([&] { return stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_CUR, &position); }));
    m_underlyingPosition = m_position = position.QuadPart;
    return S_OK;
}

// ISequentialStream

HRESULT CBufferedStream::Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept {
    ULONG unwanted = 0;
    ULONG& count = bytesRead ? *bytesRead : unwanted;
    count = 0;
    if (!buffer)
        return E_POINTER;

    BYTE* const target = static_cast<BYTE*>(buffer);
    count = Serve(target, cb);
    ComPtr<IStream> source;
    while (count < cb) {
        const HRESULT hr = Refill(source, cb - count);
        // Once there are bytes to give, a failure shows as a short read; the next read meets it again.
        if (FAILED(hr))
            return count > 0 ? S_FALSE : hr;
        if (m_fill == 0)
            return S_FALSE;
        count += Serve(target + count, cb - count);
    }
    return S_OK;
}

// Copies what the buffer has, up to `cb` bytes.
ULONG CBufferedStream::Serve(BYTE* target, ULONG cb) noexcept {
    const ULONG count = std::min(static_cast<ULONG>(m_fill - m_offset), cb);
    if (count > 0)
        std::memcpy(target, Bytes() + m_offset, count);
    m_offset += static_cast<LONG>(count);
    m_position += count;
    return count;
}

// How much a refill asks for, of which the reader needs `needed`.
ULONG CBufferedStream::AskHowMuch(ULONG needed) const noexcept {
    const ULONG most = static_cast<ULONG>(m_capacity);
    if (!m_control.Get())
        return most;
    MIDL_uhyper here = 0;  // written whatever the answer is
    static_cast<void>(base::ComBoundary([&] { return m_control.Get()->Await(m_position, most, 0, &here); }));
    return std::min(most, std::max(needed, static_cast<ULONG>(std::min<MIDL_uhyper>(here, most))));
}

// Fills the used-up buffer. `source` is fetched when it is null, and kept for the next refill of the same call.
// Bytes that come with a failure stay in the buffer, where the next read finds them.
HRESULT CBufferedStream::Refill(ComPtr<IStream>& source, ULONG needed) noexcept {
    m_offset = 0;
    m_fill = 0;
    if (!source) {
        const HRESULT hr = m_source.CopyTo(&source);
        if (FAILED(hr))
            return hr;
    }
    const ULONG wanted = AskHowMuch(needed);
    ULONG got = 0;
    const HRESULT hr = base::ComBoundary([&] { return source->Read(Bytes(), wanted, &got); });
    got = std::min(got, wanted);  // a stream may claim more than it was asked for
    m_underlyingPosition += got;
    m_fill = static_cast<LONG>(got);
    return hr;
}

// IStream

HRESULT CBufferedStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept {
    HRESULT hr = S_OK;  // also for an origin that doesn't exist: callers rely on it
    if (origin == STREAM_SEEK_SET)
        hr = SeekTo(static_cast<ULONGLONG>(move.QuadPart));
    else if (origin == STREAM_SEEK_CUR)
        hr = SeekTo(m_position + static_cast<ULONGLONG>(move.QuadPart));
    else if (origin == STREAM_SEEK_END)
        hr = SeekSource(move, STREAM_SEEK_END);
    if (newPosition)
        newPosition->QuadPart = m_position;
    return hr;
}

HRESULT CBufferedStream::SeekTo(ULONGLONG target) noexcept {
    if (target == m_position)
        return S_OK;
    const ULONGLONG start = m_position - static_cast<ULONGLONG>(m_offset);
    const LONGLONG first = static_cast<LONGLONG>(start);
    const LONGLONG end = static_cast<LONGLONG>(start + static_cast<ULONGLONG>(m_fill));
    const LONGLONG wanted = static_cast<LONGLONG>(target);
    if (first <= wanted && wanted < end) {
        m_offset = static_cast<LONG>(target - start);
        m_position = target;
        return S_OK;
    }
    LARGE_INTEGER move;
    move.QuadPart = wanted;
    return SeekSource(move, STREAM_SEEK_SET);
}

// Empties the buffer and moves the wrapped stream. Whether that succeeds or not, both positions become the one that the
// wrapped stream reports, or 0 if it reports none. This is on purpose.
HRESULT CBufferedStream::SeekSource(LARGE_INTEGER move, DWORD origin) noexcept {
    m_offset = 0;
    m_fill = 0;
    ULARGE_INTEGER reached{};
    const HRESULT hr = m_source.Call([&](IStream& source) { return source.Seek(move, origin, &reached); });
    m_underlyingPosition = m_position = reached.QuadPart;
    return hr;
}

HRESULT CBufferedStream::Stat(STATSTG* stat, DWORD flag) noexcept {
    if (!stat)
        return E_POINTER;
    HRESULT hr = S_OK;
    if (!m_statValid || m_statFlag != flag) {
        hr = AskStat(flag);
        // Also after a failure: the wrapped stream is asked once for each new flag, whatever it answered.
        m_statValid = true;
        m_statFlag = flag;
    }
    *stat = m_stat;
    if (m_statName) {
        stat->pwcsName = base::TaskMemCopyOf(m_statName.Get()).Detach();
        if (!stat->pwcsName)
            hr = E_OUTOFMEMORY;
    }
    return hr;
}

HRESULT CBufferedStream::AskStat(DWORD flag) noexcept {
    m_stat = {};
    m_statName.Reset();
    STATSTG answer{};
    const HRESULT hr = m_source.Call([&](IStream& source) { return source.Stat(&answer, flag); });
    if (FAILED(hr))
        return hr;
    m_statName.Reset(std::exchange(answer.pwcsName, nullptr));
    m_stat = answer;
    return hr;
}

HRESULT CBufferedStream::Clone(IStream** clone) noexcept {
    if (!clone)
        return E_POINTER;
    *clone = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        ComPtr<IStream> sourceClone;
        if (const HRESULT hr = m_source.Clone(sourceClone); FAILED(hr))
            return hr;
        ComPtr<CBufferedStream> copy;
        if (const HRESULT hr = framework::MakeComObject<CBufferedStream>(&copy); FAILED(hr))
            return hr;
        if (const HRESULT hr = copy->m_source.Attach(sourceClone.Get()); FAILED(hr))
            return hr;
        copy->m_control.Attach(*sourceClone.Get());
        copy->m_lines = m_lines;
        copy->m_capacity = m_capacity;
        copy->m_underlyingPosition = m_underlyingPosition;
        copy->m_position = m_position;
        copy->m_offset = m_offset;
        copy->m_fill = m_fill;
        *clone = copy.Detach();
        return S_OK;
    });
}

HRESULT TKFCreateBufferedStream(IStream* stream, IStream** bufferedStream, LONG bufferBytes) noexcept {
    if (bufferedStream)
        *bufferedStream = nullptr;
    ComPtr<CBufferedStream> made;
    if (const HRESULT hr = framework::MakeComObject<CBufferedStream>(&made); FAILED(hr))
        return hr;
    if (const HRESULT hr = made->Initialize(stream, bufferBytes); FAILED(hr))
        return hr;
    return made.CopyTo(bufferedStream);
}
