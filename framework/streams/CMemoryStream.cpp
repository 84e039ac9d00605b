#include "framework/streams/CMemoryStream.h"

#include <algorithm>
#include <cstring>
#include <limits>

HRESULT CMemoryStream::Initialize(const void* data, LONGLONG size) noexcept {
    if (data && size < 0)  // it would be copied from far beyond the end of any data
        return E_INVALIDARG;
    return base::ComBoundary([&] {
        const ULONG low32Bits = static_cast<ULONG>(size);
        if (!data) {
            m_storage.reserve(low32Bits);
            return S_OK;
        }
        m_storage.resize(low32Bits);
        if (low32Bits > 0)
            std::memcpy(m_storage.data(), data, low32Bits);
        m_size = static_cast<ULONGLONG>(size);
        return S_OK;
    });
}

// ISequentialStream

HRESULT CMemoryStream::Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept {
    if (bytesRead)
        *bytesRead = 0;
    if (!buffer)
        return STG_E_INVALIDPOINTER;

    const ULONG count = static_cast<ULONG>(std::min<ULONGLONG>(cb, Available()));
    const ULONGLONG existing = m_storage.size() > m_position ? m_storage.size() - m_position : 0;
    const ULONG copied = static_cast<ULONG>(std::min<ULONGLONG>(count, existing));
    if (copied > 0)
        std::memcpy(buffer, m_storage.data() + m_position, copied);
    if (count > copied)
        std::memset(static_cast<BYTE*>(buffer) + copied, 0, count - copied);
    m_position += count;
    if (bytesRead)
        *bytesRead = count;
    return count < cb ? S_FALSE : S_OK;
}

HRESULT CMemoryStream::Write(const void* buffer, ULONG cb, ULONG* bytesWritten) noexcept {
    if (bytesWritten)
        *bytesWritten = 0;
    if (!buffer)
        return STG_E_INVALIDPOINTER;
    constexpr ULONGLONG kMaxEnd = std::numeric_limits<ULONG>::max();
    if (m_position > kMaxEnd - cb)
        return E_OUTOFMEMORY;

    const size_t start = static_cast<size_t>(m_position);
    const ULONGLONG end = m_position + cb;
    if (m_storage.size() < end) {
        const HRESULT hr = base::ComBoundary([&] {
            m_storage.resize(static_cast<size_t>(end));
            return S_OK;
        });
        if (FAILED(hr))
            return hr;
        m_size = end;
    }
    if (cb > 0)
        std::memcpy(m_storage.data() + start, buffer, cb);
    m_position = end;
    if (bytesWritten)
        *bytesWritten = cb;
    return S_OK;
}

// IStream

HRESULT CMemoryStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept {
    const ULONGLONG distance = static_cast<ULONGLONG>(move.QuadPart);
    ULONGLONG target = distance;
    if (newPosition)
        newPosition->QuadPart = m_position;
    if (origin == STREAM_SEEK_CUR || origin == STREAM_SEEK_END) {
        const ULONGLONG base = origin == STREAM_SEEK_CUR ? m_position : m_size;
        target = base + distance;  // modulo 2^64; the check is whether it lies on the right side of the base
        if (move.QuadPart < 0 ? target > base : target < base)
            return STG_E_INVALIDPOINTER;
    } else if (origin != STREAM_SEEK_SET) {
        return STG_E_INVALIDFUNCTION;
    }
    m_position = target;
    if (newPosition)
        newPosition->QuadPart = target;
    return S_OK;
}

HRESULT CMemoryStream::SetSize(ULARGE_INTEGER newSize) noexcept {
    m_size = newSize.QuadPart;
    return S_OK;
}

HRESULT CMemoryStream::CopyTo(IStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* bytesRead,
                              ULARGE_INTEGER* bytesWritten) noexcept {
    if (!target)
        return E_POINTER;
    return base::ComBoundary([&]() -> HRESULT {
        ULONGLONG remaining = std::min(cb.QuadPart, Available());
        std::vector<BYTE> block(16384);
        ULONGLONG totalRead = 0;
        ULONGLONG totalWritten = 0;
        ULONG got = 1;
        ULONG written = 1;
        while (remaining > 0 && got > 0 && got == written) {
            const ULONG chunk = static_cast<ULONG>(std::min<ULONGLONG>(remaining, block.size()));
            static_cast<void>(Read(block.data(), chunk, &got));
            written = 0;
            static_cast<void>(base::ComBoundary([&] { return target->Write(block.data(), got, &written); }));
            totalRead += got;
            totalWritten += written;
            remaining -= got;
        }
        if (totalRead != totalWritten)
            return STG_E_MEDIUMFULL;
        if (remaining > 0)
            return E_FAIL;
        if (bytesRead)
            bytesRead->QuadPart = totalRead;
        if (bytesWritten)
            bytesWritten->QuadPart = totalWritten;
        return S_OK;
    });
}

HRESULT CMemoryStream::Stat(STATSTG* stat, DWORD) noexcept {
    if (!stat)
        return E_POINTER;
    *stat = {};
    stat->type = STGTY_STREAM;
    stat->cbSize.QuadPart = m_size;
    return S_OK;
}

HRESULT CMemoryStream::Clone(IStream** clone) noexcept {
    if (clone)
        *clone = nullptr;
    return E_NOTIMPL;
}

HRESULT TKFCreateMemoryStream(const void* data, LONGLONG size, IStream** stream) noexcept {
    if (!stream)
        return E_POINTER;
    *stream = nullptr;
    Microsoft::WRL::ComPtr<CMemoryStream> made;
    if (const HRESULT hr = framework::MakeComObject<CMemoryStream>(&made); FAILED(hr))
        return hr;
    if (const HRESULT hr = made->Initialize(data, size); FAILED(hr))
        return hr;
    return made.CopyTo(stream);
}
