// A source as a read-only stream. What has come of it is in a store that all its streams share, see CRangeSource.
//
// Units: positions and sizes are bytes.
// Threads: any thread of the process, in any apartment and without marshalling. Reads, seeks and clones of several
// threads wait for each other; Stat and the methods of ITKDSSourceControl wait for none of them. Releasing the last
// reference waits for nothing, also while the source is being asked.
#pragma once

#include "TKDataServices.h"
#include "base/CCriticalSection.h"
#include "dataservices/com/CReadOnlyStream.h"
#include "dataservices/store/CRangeSource.h"
#include "dataservices/store/ISourceDescription.h"

#include <memory>

namespace dataservices::store {

class CSourceStream final : public CReadOnlyStream, public ITKDSSourceControl {
public:
    CSourceStream(std::shared_ptr<ISourceDescription> description, std::shared_ptr<CRangeSource> source,
                  ULONGLONG position) noexcept;

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return CReadOnlyStream::AddRef(); }
    STDMETHODIMP_(ULONG) Release() noexcept override { return CReadOnlyStream::Release(); }

    // ISequentialStream

    // S_FALSE: the source ended before `cb` bytes.  STG_E_INVALIDPOINTER: `buffer` is null. Otherwise as
    // CRangeSource::Read, and the description's code where it took too long. `*bytesRead` has the bytes that are there,
    // also after a failure; the position is behind them. A read of 0 bytes is S_OK and asks nobody.
    STDMETHODIMP Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept override;

    // IStream

    // Never asks the source. `*newPosition` tells where the stream stands, after a failure too: a buffer in front of it
    // reads on from there, and would otherwise give bytes of another position. 0x80040003: a live source can't be read
    // there, or its end is asked for. Otherwise as SeekTarget.
    STDMETHODIMP Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept override;
    // Gives type, the size (2^63 for a live source), and name, mode and times as the description has them.
    // TKDS_STATE_SEEKS_READ_THROUGH is set if the source has no ranges, isn't live, and isn't all here.
    // STG_E_INVALIDPOINTER: `stat` is null.  STG_E_INSUFFICIENTMEMORY: no memory for the name.
    STDMETHODIMP Stat(STATSTG* stat, DWORD flag) noexcept override;
    // A stream of the same source, at the same position.  0x80040003: it is live, so there is no second one.
    STDMETHODIMP Clone(IStream** clone) noexcept override;

    // ITKDSSourceControl
    STDMETHODIMP AbortReads() noexcept override;
    STDMETHODIMP AllowReads() noexcept override;
    STDMETHODIMP Await(ULONGLONG position, ULONGLONG bytes, DWORD milliseconds, ULONGLONG* available) noexcept override;
    STDMETHODIMP GetStatus(TKDS_SOURCE_STATUS* status) noexcept override;
    STDMETHODIMP GetRanges(DWORD capacity, TKDS_RANGE* ranges, DWORD* count) noexcept override;
    STDMETHODIMP SetSilenceLimit(DWORD milliseconds) noexcept override;

private:
    [[nodiscard]] std::optional<ULONGLONG> Length() const noexcept;

    base::CCriticalSection m_lock;  // guards reads and m_position; held while the source is waited for
    const std::shared_ptr<ISourceDescription> m_description;
    const std::shared_ptr<CRangeSource> m_source;
    CReadGate m_gate;
    ULONGLONG m_position;
};

}  // namespace dataservices::store
