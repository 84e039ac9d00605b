#include "framework/streams/CReplayStream.h"

#include "framework/streams/CopyInBlocks.h"

#include <algorithm>
#include <cstring>

using Microsoft::WRL::ComPtr;

HRESULT CReplayStream::Initialize(IStream* source) noexcept {
    if (!source)
        return E_POINTER;
    if (const HRESULT hr = m_source.Attach(source); FAILED(hr))
        return hr;
    ULARGE_INTEGER position{};
    static_cast<void>(ComBoundary([&] { return source->Seek({}, STREAM_SEEK_CUR, &position); }));
    m_start = m_position = position.QuadPart;
    return S_OK;
}

void CReplayStream::EndKeeping() noexcept {
    m_isKeeping = false;
    if (m_position == m_start + m_kept.size())
        Drop();
}

// The source stands where this stream does: nothing is left to be read again.
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
    return ComBoundary([&]() -> HRESULT {
        HRESULT hr = S_OK;
        const ULONGLONG end = m_start + m_kept.size();
        if (m_position < end) {
            count = static_cast<ULONG>(std::min<ULONGLONG>(cb, end - m_position));
            std::memcpy(buffer, m_kept.data() + (m_position - m_start), count);
        } else {
            ComPtr<IStream> source;
            if (hr = m_source.CopyTo(&source); FAILED(hr))
                return hr;
            // Room first: what came must not be lost for want of it.
            if (m_isKeeping && m_kept.size() + cb > kMostKept)
                Drop();
            if (m_isKeeping)
                m_kept.reserve(kMostKept);
            hr = ComBoundary([&] { return source->Read(buffer, cb, &count); });
            count = std::min(count, cb);  // a stream may claim more than it was asked for
            if (m_isKeeping)
                m_kept.insert(m_kept.end(), static_cast<BYTE*>(buffer), static_cast<BYTE*>(buffer) + count);
        }
        m_position += count;
        if (!m_isKeeping && m_position >= m_start + m_kept.size())
            Drop();
        return FAILED(hr) ? hr : count == cb ? S_OK : S_FALSE;
    });
}

HRESULT CReplayStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept {
    HRESULT hr = S_OK;
    if (origin == STREAM_SEEK_CUR)
        move.QuadPart += static_cast<LONGLONG>(m_position);
    const auto target = static_cast<ULONGLONG>(move.QuadPart);
    if (origin != STREAM_SEEK_END && target >= m_start && target <= m_start + m_kept.size())
        m_position = target;
    else
        hr = SeekSource(move, origin == STREAM_SEEK_END ? STREAM_SEEK_END : STREAM_SEEK_SET);
    if (newPosition)
        newPosition->QuadPart = m_position;
    return hr;
}

HRESULT CReplayStream::SeekSource(LARGE_INTEGER move, DWORD origin) noexcept {
    ComPtr<IStream> source;
    HRESULT hr = m_source.CopyTo(&source);
    ULARGE_INTEGER reached{.QuadPart = m_position};
    if (SUCCEEDED(hr))
        hr = ComBoundary([&] { return source->Seek(move, origin, &reached); });
    // A source that fails tells where it stands, which is here as long as nothing is kept.
    if (FAILED(hr) && !m_kept.empty())
        return hr;
    m_position = reached.QuadPart;
    if (SUCCEEDED(hr))
        Drop();
    else
        m_start = m_position;
    return hr;
}

HRESULT CReplayStream::Stat(STATSTG* stat, DWORD flag) noexcept {
    if (!stat)
        return E_POINTER;
    ComPtr<IStream> source;
    const HRESULT hr = m_source.CopyTo(&source);
    return FAILED(hr) ? hr : ComBoundary([&] { return source->Stat(stat, flag); });
}

HRESULT CReplayStream::CopyTo(IStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* bytesRead,
                              ULARGE_INTEGER* bytesWritten) noexcept {
    return CopyInBlocks(*this, target, cb, bytesRead, bytesWritten);
}

HRESULT CReplayStream::Clone(IStream** clone) noexcept {
    if (!clone)
        return E_POINTER;
    *clone = nullptr;
    return ComBoundary([&]() -> HRESULT {
        ComPtr<IStream> source;
        if (const HRESULT hr = m_source.CopyTo(&source); FAILED(hr))
            return hr;
        ComPtr<IStream> sourceClone;
        if (const HRESULT hr = source->Clone(&sourceClone); FAILED(hr))
            return hr;
        if (!sourceClone)
            return E_UNEXPECTED;
        ComPtr<CReplayStream> copy;
        if (const HRESULT hr = MakeComObject<CReplayStream>(&copy); FAILED(hr))
            return hr;
        if (const HRESULT hr = copy->m_source.Attach(sourceClone.Get()); FAILED(hr))
            return hr;
        copy->m_kept = m_kept;
        copy->m_start = m_start;
        copy->m_position = m_position;
        copy->m_isKeeping = m_isKeeping;
        *clone = copy.Detach();
        return S_OK;
    });
}
