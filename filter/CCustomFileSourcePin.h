// The source filter's one output pin: IAsyncReader for parsers, and the source as a read-only IStream.
//
// The pin never pushes data and has no thread of its own: every read runs on its caller's thread. It keeps the source
// in a CStreamCookie and fetches it for each call, so that each call has a pointer that is valid in the caller's
// apartment: from the Global Interface Table, or the stream itself where that is free-threaded, as the read buffer is.
//
// A failing read shows to a parser as a short read at worst: a failing seek or read of the source is logged, raises
// EC_ERRORABORT if it happened inside the data, and gives fewer bytes. There are failure codes only for wrong
// arguments, for a missing source, and for one that the table can't give (the table's code, or E_POINTER if it gives
// nothing).
//
// No operation logs its failure once more when it returns: the log lines of each are listed in docs/diagnostics.md, and
// readers of the log rely on there being no others.
//
// Units: positions and lengths are bytes; a media sample's times are byte positions times 10,000,000.
// Threads: any number.  Lifetime: the filter's.
//
// Locks: m_StreamLock, then m_QueueLock. Only Request takes them in the other order; see there. Those of m_waits come
// last; nothing that gives up reads takes another one before it has done so.
#pragma once

#include "TvFileSourceAsync.h"
#include "baseclasses/CBaseFilter.h"
#include "baseclasses/CBasePin.h"
#include "baseclasses/CCritSec.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "filter/CFlowEvent.h"
#include "filter/COfferedTypes.h"
#include "filter/CSignal.h"
#include "filter/CSourceWaits.h"
#include "framework/com/CStreamCookie.h"

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include <atomic>
#include <list>
#include <optional>

class CCustomFileSourcePin final : public CBasePin, public IStream, public IAsyncReader, public ITavelSampleReferences {
public:
    // `phr`, when given, receives the base class's failure.
    CCustomFileSourcePin(HRESULT* phr, CCritSec* filterLock, CBaseFilter* filter);
    ~CCustomFileSourcePin() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IAsyncReader

    // S_OK and nothing done when `ppActual` is null: in this way parsers ask whether the pin reads at all.
    // The buffer count, size and prefix are the caller's; the alignment becomes 1.
    STDMETHODIMP RequestAllocator(IMemAllocator* pPreferred, ALLOCATOR_PROPERTIES* pProps,
                                  IMemAllocator** ppActual) override;

    // Reads the sample's range at once and queues the sample for WaitForNext. It stays queued until it is fetched, also
    // over a stop and a new source.
    // HRESULT 0x80070026 (end of file): nothing was read, and the sample's actual length is 0; nothing is queued. A
    // sample whose range SyncReadAligned would refuse is queued unread if it still has an actual length.
    // VFW_E_WRONG_STATE: flushing.
    STDMETHODIMP Request(IMediaSample* pSample, DWORD_PTR dwUser) override;

    // The next queued sample, first in, first out, with a reference unless SetUncountedSamples says otherwise.
    // VFW_E_TIMEOUT: none came within `dwTimeout` milliseconds.  VFW_E_WRONG_STATE: the queue is empty, and it is being
    // flushed or has been since the call began.
    STDMETHODIMP WaitForNext(DWORD dwTimeout, IMediaSample** ppSample, DWORD_PTR* pdwUser) override;

    // S_FALSE: fewer bytes than the sample's range; its actual length has the count.
    // E_FAIL: the range is negative or larger than the sample's buffer.
    STDMETHODIMP SyncReadAligned(IMediaSample* pSample) override;

    // S_FALSE: fewer than `lLength` bytes; how many isn't told.
    STDMETHODIMP SyncRead(LONGLONG llPosition, LONG lLength, BYTE* pBuffer) override;

    // VFW_S_ESTIMATED: the source doesn't know its length; the total is then the largest there is.
    STDMETHODIMP Length(LONGLONG* pTotal, LONGLONG* pAvailable) override;

    // IAsyncReader and IPin
    // Until EndFlush, reads don't wait.
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    // ITavelSampleReferences
    STDMETHODIMP SetUncountedSamples(BOOL uncounted) override;
    STDMETHODIMP GetUncountedSamples(BOOL* uncounted) override;

    // IPin
    STDMETHODIMP Disconnect() override;

    // IStream: the source itself. E_NOTIMPL for what isn't named here.
    // A read that is given up before its first byte is E_ABORT: it isn't the end of the data.
    STDMETHODIMP Read(void* pv, ULONG cb, ULONG* pcbRead) override;
    STDMETHODIMP Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;
    // E_POINTER: `plibNewPosition` is null, which other streams allow.
    STDMETHODIMP Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) override;
    STDMETHODIMP SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    STDMETHODIMP CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override { return E_NOTIMPL; }
    STDMETHODIMP Commit(DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Revert() override { return E_NOTIMPL; }
    STDMETHODIMP LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Stat(STATSTG* pstatstg, DWORD grfStatFlag) override;
    STDMETHODIMP Clone(IStream** ppstm) override;

    // CBasePin
    // S_FALSE, not a failure code: the type isn't offered.
    HRESULT CheckMediaType(const CMediaType* pmt) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pmt) override;

    // Replaces the source. The connection, the queue and the offered types stay.
    // S_OK, or VFW_S_ESTIMATED when `stream` doesn't know its size. The second argument is ignored.
    virtual HRESULT SetSourceFileStream(IStream* stream, DWORD unused) noexcept;

    [[nodiscard]] bool HasSource() const noexcept { return !m_StreamCookie.IsEmpty(); }

    // For the filter's stop, loads and IAMOpenProgress.
    [[nodiscard]] filter::CSourceWaits& Waits() noexcept { return m_waits; }

    // The filter fills the list during a load.
    [[nodiscard]] filter::COfferedTypes& OfferedTypes() noexcept { return m_OfferedTypes; }

    // For the filter's IDataFlowControl. Readers pass while the flow event is set; otherwise they wait for the halt
    // event.
    [[nodiscard]] filter::CFlowEvent& FlowEvent() noexcept { return m_FlowEvent; }
    [[nodiscard]] filter::CFlowEvent& HaltEvent() noexcept { return m_HaltEvent; }

private:
    struct PendingRequest {
        Microsoft::WRL::ComPtr<IMediaSample> sample;
        DWORD_PTR user;
    };
    using Wait = filter::CSourceWaits::Wait;

    void PassFlowGate() noexcept;
    void AwaitBytes(Wait& wait, LONGLONG position, LONG length) noexcept;
    void AwaitSample(Wait& wait, IMediaSample* sample);
    template <class AwaitIt, class ReadIt>
    [[nodiscard]] HRESULT ReadAfterWait(AwaitIt&& await, ReadIt&& read);
    [[nodiscard]] HRESULT FetchSource(IStream** stream) const noexcept;
    [[nodiscard]] HRESULT AskPosition(ULONGLONG* position) const;
    [[nodiscard]] HRESULT FetchForRead(IStream** stream, const wchar_t* function) const;
    [[nodiscard]] HRESULT CheckRequest(const IMediaSample* sample) const noexcept;
    [[nodiscard]] HRESULT ReadSample(IMediaSample* sample, const Wait* waited);
    [[nodiscard]] HRESULT FillSample(IMediaSample* sample, const Wait& wait);
    [[nodiscard]] HRESULT ReadIntoSample(IStream* stream, IMediaSample* sample, BYTE* buffer, LONGLONG position,
                                         ULONG length, const Wait& wait, ULONG* read);
    [[nodiscard]] HRESULT ReadIntoBuffer(IStream* stream, BYTE* buffer, LONGLONG position, ULONG length,
                                         const Wait& wait, ULONG* read);
    [[nodiscard]] bool MustSeek(const Wait& wait) const noexcept { return wait.control || !m_bInfiniteStream.Get(); }
    [[nodiscard]] HRESULT SeekTo(IStream* stream, LONGLONG position, const wchar_t* function) const;
    void LogFailedRead(HRESULT hr, const wchar_t* function) const noexcept;
    enum class Graph { IsTold, IsNotTold };
    void EndFailedRead(IStream* stream, LONGLONG position, Graph graph, std::optional<HRESULT> abortReason,
                       const wchar_t* function) noexcept;

    filter::CFlowEvent m_FlowEvent;
    filter::CFlowEvent m_HaltEvent;
    filter::CSourceWaits m_waits;
    framework::CStreamCookie
        m_StreamCookie;  // guarded by m_StreamLock, except for the question whether there is a source
    TKRuntimeLogger::CWatchedValue<bool> m_bAsyncReaderChecked;  // diagnostic only
    // Of unknown length: reads go on where the stream stands, unless it says what is here.
    TKRuntimeLogger::CWatchedValue<bool> m_bInfiniteStream;
    std::list<PendingRequest> m_RequestQueue;     // guarded by m_QueueLock
    bool m_bFlushing = false;                     // guarded by m_QueueLock
    unsigned m_flushCount = 0;                    // calls of BeginFlush so far; guarded by m_QueueLock
    filter::CSignal m_changed;                    // the queue has grown, or is being flushed
    std::atomic<bool> m_uncountedSamples{false};  // WaitForNext hands out no reference
    mutable CCritSec m_QueueLock;
    mutable CCritSec m_StreamLock;  // one call at a time reaches the source
    filter::COfferedTypes m_OfferedTypes;
};
