// A stream over one Win32 file handle.
//
// Units: positions and sizes are bytes.
// Threads: any thread of the process, in any apartment and without marshalling; no method takes a lock, and concurrent
// calls share the handle's one file pointer.
// Lifetime: the handle is open from creation until the last reference goes. A clone has a handle and a position of its
// own.
#pragma once

#include "base/CAutoDestructor.h"
#include "framework/streams/CStreamBase.h"
#include "framework/streams/TKFStreamMode.h"

#include <string>

class CLocalFileSystemStream final : public framework::CStreamBase {
public:
    CLocalFileSystemStream() noexcept = default;

    // Opens the file; see TKFCreateLocalFileSystemStream for the results.
    [[nodiscard]] HRESULT Open(const wchar_t* path, DWORD mode) noexcept;

    // The same for a caller who has both forms of the full path and wants the system's own error. `path` is what Stat
    // tells; `openable` is what is opened, with the prefix \\?\ where it needs one. Only a success is ERROR_SUCCESS.
    // Throws std::bad_alloc.
    [[nodiscard]] DWORD OpenFullPath(std::wstring path, std::wstring openable, DWORD mode);

    // ISequentialStream

    // S_FALSE: fewer than `cb` bytes.  STG_E_INVALIDPOINTER: `buffer` is null.
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override;
    STDMETHODIMP Write(const void* buffer, ULONG cb, ULONG* bytesWritten) noexcept override;

    // IStream

    // STG_E_INVALIDFUNCTION: unknown origin, or the file can't be positioned there. Even then `*newPosition` tells
    // where the stream stands: a buffer in front of it reads on from there.
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept override;
    // Leaves the file pointer where it was.
    // STG_E_MEDIUMFULL: no file can have that size.  STG_E_INVALIDFUNCTION: this file can't be given it.
    // E_FAIL, E_UNEXPECTED: the file pointer couldn't be read, or put back.
    STDMETHODIMP SetSize(ULARGE_INTEGER newSize) noexcept override;
    // The name is the full path. `grfMode` shows access, sharing and create, not the other bits of the mode.
    // STG_E_INVALIDPOINTER: `stat` is null.  STG_E_INSUFFICIENTMEMORY: no memory for the name; size and times are 0.
    // STG_E_ACCESSDENIED: the file doesn't tell its size or times. No name is handed out on failure.
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) noexcept override;
    // Opens the file again with the same mode, at the same position. On purpose the mode includes the create bit: the
    // clone of a stream that created its file empties the file again.
    STDMETHODIMP Clone(IStream** clone) noexcept override;

private:
    [[nodiscard]] bool GetSizeAndTimes(STATSTG& stat) const noexcept;
    [[nodiscard]] DWORD StgMode() const noexcept;

    base::CAutoHandle m_file;
    std::wstring m_path;      // full, and with a prefix only if it was given with one; Stat reports it
    std::wstring m_openable;  // the same file, for opening
    DWORD m_mode = 0;         // kTKFStream bits
};

// Opens the file `path` and hands out a stream at its start. A relative path is resolved now. A path longer than 260
// characters opens as any other; one that begins with \\?\ is taken as it is.
//
// `*stream` is null on failure.
// E_INVALIDARG: `path` is null or empty, or `mode` has neither read nor write; no file is touched.
// E_POINTER: `stream` is null, which is noticed only after the file was opened (and made, with the create bit).
// STG_E_ACCESSDENIED, and others by the system's error: the file is there but can't be opened in this way.
// E_FAIL: any other reason, a missing file included.
[[nodiscard]] HRESULT TKFCreateLocalFileSystemStream(const wchar_t* path, DWORD mode, IStream** stream) noexcept;
