// A stream whose contents are one growable block of memory.
//
// The size that the stream reports and the bytes that exist are two things: SetSize sets the size alone, and bytes that
// don't exist read as zeros. So a size of any number of bytes costs nothing until somebody writes there.
//
// Units: positions and sizes are bytes.
// Threads: any thread of the process, in any apartment and without marshalling, but one call at a time: no method takes
// a lock.
#pragma once

#include "framework/streams/CStreamBase.h"

#include <vector>

class CMemoryStream final : public framework::CStreamBase {
public:
    CMemoryStream() noexcept = default;

    // To be called once, before any other method. Arguments and results are those of TKFCreateMemoryStream.
    [[nodiscard]] HRESULT Initialize(const void* data, LONGLONG size) noexcept;

    // ISequentialStream

    // S_FALSE: the stream ended before `cb` bytes; `*bytesRead` has the count.  STG_E_INVALIDPOINTER: `buffer` is null.
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override;
    // Makes all bytes up to the end of the write exist, with zeros in a gap before it; so does a write of 0 bytes. The
    // size becomes the end of the write when bytes had to be made, and only then: a write that ends beyond the size but
    // among bytes that exist leaves the size where SetSize put it.
    // STG_E_INVALIDPOINTER: `buffer` is null.  E_OUTOFMEMORY: no memory, or the end is beyond 32 bits. After either
    // nothing has changed.
    STDMETHODIMP Write(const void* buffer, ULONG cb, ULONG* bytesWritten) noexcept override;

    // IStream

    // `*newPosition` tells where the stream stands, after a failure too: a buffer in front of it reads on from there.
    // Positions beyond the size are allowed, up to 64 bits. STG_E_INVALIDPOINTER: the position would be before the
    // start or beyond 64 bits.  STG_E_INVALIDFUNCTION: unknown origin. After a failure the position is the old one.
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept override;
    // Neither makes bytes nor drops them: what a smaller size hides, a larger one shows again.
    STDMETHODIMP SetSize(ULARGE_INTEGER newSize) noexcept override;
    // Unlike CopyTo of the other streams, it stops at the first short write and tells the totals on success only.
    // S_OK: `cb` bytes, or all that are left, were copied.  E_POINTER: `target` is null.  STG_E_MEDIUMFULL: `target`
    // took less, or claims to have taken more, than it was given.  E_FAIL: the stream was cut short while it was
    // copied.  E_OUTOFMEMORY.
    STDMETHODIMP CopyTo(IStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* bytesRead,
                        ULARGE_INTEGER* bytesWritten) noexcept override;
    // What is written is there at once.
    STDMETHODIMP Commit(DWORD) noexcept override { return S_OK; }
    // S_OK, though nothing is locked: the memory is this stream's alone.
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return S_OK; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return S_OK; }
    // Type and size; there is no name, whatever `flag` says.  E_POINTER: `stat` is null.
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) noexcept override;
    STDMETHODIMP Clone(IStream** clone) noexcept override;  // E_NOTIMPL

private:
    [[nodiscard]] ULONGLONG Available() const noexcept { return m_size > m_position ? m_size - m_position : 0; }

    std::vector<BYTE> m_storage;  // the bytes that exist; their number and m_size don't depend on each other
    ULONGLONG m_size = 0;
    ULONGLONG m_position = 0;
};

// Hands out a CMemoryStream that stands at its start.
//
// With `data`, the stream has `size` bytes, a copy of `data`. If `size` is beyond 32 bits, its low 32 bits say how many
// bytes are copied; the others read as zeros. This is so on purpose: such a stream has its size, but not its contents.
// With `data`, a negative size is refused, also on purpose: no data has one, and the low 32 bits of -1 would be 4 GB to
// copy.
// If `data` is null, the stream is empty. The low 32 bits of `size`, whatever its sign, then only say for how many
// bytes memory is set aside, so that filling the stream by writes allocates no more.
//
// On failure `*stream` is null.
// E_POINTER: `stream` is null.  E_INVALIDARG: there is data of a negative size.  E_OUTOFMEMORY.  Otherwise the
// failure to make a free-threaded marshaler.
[[nodiscard]] HRESULT TKFCreateMemoryStream(const void* data, LONGLONG size, IStream** stream) noexcept;
