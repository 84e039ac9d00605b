// An http or https source as a read-only stream. CHttpReader says how it reads, resumes and fails.
//
// Units: positions and sizes are bytes.
// Threads: any thread of the process, in any apartment and without marshalling. Calls of several threads wait for each
// other. Releasing the last reference waits for nothing, also while a request is under way.
#pragma once

#include "base/CCriticalSection.h"
#include "dataservices/com/CReadOnlyStream.h"
#include "dataservices/http/CHttpReader.h"

#include <memory>

namespace dataservices::http {

class CHttpStream final : public CReadOnlyStream {
public:
    explicit CHttpStream(std::unique_ptr<CHttpReader> reader, ULONGLONG position = 0) noexcept;

    // ISequentialStream

    // S_FALSE: the source ended before `cb` bytes.  STG_E_INVALIDPOINTER: `buffer` is null. Otherwise as
    // CHttpReader::Read. `*bytesRead` has the bytes that are there, also after a failure; the position is behind them.
    // A read of 0 bytes is S_OK and asks nobody.
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override;

    // IStream

    // Never asks the network. `*newPosition` tells where the stream stands, after a failure too: a buffer in front of
    // it reads on from there, and would otherwise give bytes of another position. 0x80040003: a live source can't be
    // read there, or its end is asked for. Otherwise as SeekTarget.
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept override;
    // Gives type, mode, the size (2^63 for a live source) and the time of the last change, if the server told it. The
    // name is the URL as CHttpUrl::Printable gives it. TKDS_STATE_SEEKS_READ_THROUGH is set if
    // CHttpReader::ReadsThrough is true now.
    // STG_E_INVALIDPOINTER: `stat` is null.  STG_E_INSUFFICIENTMEMORY: no memory for the name.
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) noexcept override;
    // A stream of the same version of the source, at the same position; the network is asked at its first read.
    // 0x80040003: the source is live, so there is no second one.
    STDMETHODIMP Clone(IStream** clone) noexcept override;

private:
    // Guards reads and m_position, not what Stat asks; held while the network is waited for.
    base::CCriticalSection m_lock;
    const std::unique_ptr<CHttpReader> m_reader;
    ULONGLONG m_position;
};

// Opens an http or https URL (read-only) and hands out a stream at its start. The request is made now. `*stream` is
// null on failure. `clock` is for tests.
//
// E_INVALIDARG: `url` is none that CHttpUrl takes.  E_POINTER: `stream` is null.  Otherwise as CHttpReader::Open.
[[nodiscard]] HRESULT CreateHttpStream(const CTKFUri& url, IStream** stream,
                                       CHttpReader::Clock clock = &::GetTickCount64) noexcept;

}  // namespace dataservices::http
