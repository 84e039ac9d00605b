// A stream in front of a live one that keeps what is read of its start, so that whoever looks at the start can go back
// and read it a second time, though the source can't.
//
// Pieces go through as they come: a read gives what one read of the source gave, and none waits for more. From the
// start until EndKeeping, what is read is kept, up to kMostKept bytes; seeks to what is kept don't reach the source.
// After EndKeeping what is left to be read again is, once, and then every call goes to the source. The stream is
// read-only.
//
// Units: positions and sizes are bytes.
// Threads, apartments: as CBufferedStream.  Lifetime: holds a registration of the source until the last reference goes.
// Errors: those of the Global Interface Table and of the source are returned unchanged; an exception of the source
// counts as its failure.
#pragma once

#include "framework/com/CComObjectBase.h"
#include "framework/com/CStreamCookie.h"

#include <vector>

class CReplayStream final : public CComObjectBase<IStream, ISequentialStream> {
public:
    static constexpr size_t kMostKept = 256 * 1024;

    CReplayStream() noexcept = default;

    // To be called once, before any other method. A source that can't tell its position counts as standing at 0.
    [[nodiscard]] HRESULT Initialize(IStream* source) noexcept;

    // Nothing that is read from now on is kept.
    void EndKeeping() noexcept;

    // ISequentialStream
    // S_FALSE: fewer bytes than asked for. Only 0 bytes are the end.
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override;
    STDMETHODIMP Write(const void*, ULONG, ULONG*) noexcept override { return STG_E_ACCESSDENIED; }

    // IStream
    // `*newPosition` receives the position whatever happens. A seek that fails moves nothing while anything is kept;
    // else this stream stands where the source says that it does. One that the source makes ends the keeping.
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept override;
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) noexcept override;
    STDMETHODIMP Clone(IStream** clone) noexcept override;
    STDMETHODIMP SetSize(ULARGE_INTEGER) noexcept override { return STG_E_ACCESSDENIED; }
    STDMETHODIMP CopyTo(IStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* bytesRead,
                        ULARGE_INTEGER* bytesWritten) noexcept override;
    STDMETHODIMP Commit(DWORD) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP Revert() noexcept override { return E_NOTIMPL; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) noexcept override { return STG_E_INVALIDFUNCTION; }

private:
    void Drop() noexcept;
    [[nodiscard]] HRESULT SeekSource(LARGE_INTEGER move, DWORD origin) noexcept;

    CStreamCookie m_source;
    std::vector<BYTE> m_kept;  // all from m_start to where the source stands; empty when nothing is kept
    ULONGLONG m_start = 0;     // the first kept byte's position
    ULONGLONG m_position = 0;  // where callers see this stream stand
    bool m_isKeeping = true;
};
