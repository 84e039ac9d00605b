#include "filter/CCustomFileSourcePin.h"

#include "base/ComBoundary.h"
#include "baseclasses/SampleTimes.h"
#include "filter/FilterLog.h"
#include "filter/StreamSize.h"
#include "framework/streams/SourceControlOf.h"

#include <evcode.h>
#include <uuids.h>
#include <vfwmsgs.h>

#include <algorithm>
#include <limits>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kObjectName[] = L"TvFileSourceAsync Output Pin";
constexpr LONGLONG kInfiniteLength = std::numeric_limits<LONGLONG>::max();
constexpr LONGLONG kAvailableOfInfinite = 32768;

constexpr HRESULT kReadFault = static_cast<HRESULT>(0x8007001E);

// As much of a length as one wait can be for.
LONG ClampedLength(ULONG length) noexcept {
    return static_cast<LONG>(std::min<ULONG>(length, std::numeric_limits<LONG>::max()));
}

}  // namespace

CCustomFileSourcePin::CCustomFileSourcePin(HRESULT* phr, CCritSec* filterLock, CBaseFilter* filter)
    : CBasePin(kObjectName, filter, filterLock, phr, L"Output", PINDIR_OUTPUT),
      m_bAsyncReaderChecked(filter::kFilterLog, kObjectName, L"m_bAsyncReaderChecked", false),
      m_bInfiniteStream(filter::kFilterLog, kObjectName, L"m_bInfiniteStream", false) {}

CCustomFileSourcePin::~CCustomFileSourcePin() {
    m_waits.Abort();
    static_cast<void>(m_StreamCookie.Revoke());  // the source goes first, then what was queued from it
}

STDMETHODIMP CCustomFileSourcePin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    if (riid == __uuidof(IAsyncReader)) {
        m_bAsyncReaderChecked.Set(true, L"CCustomFileSourcePin::NonDelegatingQueryInterface", __LINE__);
        return GetInterface(static_cast<IAsyncReader*>(this), ppv);
    }
    if (riid == __uuidof(IStream) || riid == __uuidof(ISequentialStream))
        return GetInterface(static_cast<IStream*>(this), ppv);
    if (riid == __uuidof(ITavelSampleReferences))
        return GetInterface(static_cast<ITavelSampleReferences*>(this), ppv);
    return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

// ---- What every read shares

// Only the halt event releases a reader that waits here. Readers that come while the flow event is set pass at once. So
// opening the flow lets new readers in, but only DisableDataFlow releases those that a host has kept waiting. This is
// on purpose.
void CCustomFileSourcePin::PassFlowGate() noexcept {
    if (!m_FlowEvent.IsSet())
        m_HaltEvent.Wait();
}

// To be called without any lock: it may take as long as the network likes.
void CCustomFileSourcePin::AwaitBytes(Wait& wait, LONGLONG position, LONG length) noexcept {
    wait.For(position, length, [&](bool begins) {
        m_waits.CountLongWait(begins, [&](bool isBuffering) {
            if (m_pFilter)
                base::RunQuietly([&] { m_pFilter->NotifyEvent(EC_BUFFERING_DATA, isBuffering, 0); });
        });
    });
}

// A sample whose range isn't valid is waited for by nobody: reading it says so.
void CCustomFileSourcePin::AwaitSample(Wait& wait, IMediaSample* sample) {
    if (!wait.control || !sample)
        return;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    if (FAILED(sample->GetTime(&start, &stop)))
        return;
    const LONGLONG position = start / kSampleTimeUnitsPerByte;
    const LONGLONG length = stop / kSampleTimeUnitsPerByte - position;
    if (length > 0 && length <= sample->GetSize())
        AwaitBytes(wait, position, static_cast<LONG>(length));
}

// Calls `await` without a lock, and `read` with the stream lock. If the source was replaced in between, the new one is
// waited for.
template <class AwaitIt, class ReadIt>
HRESULT CCustomFileSourcePin::ReadAfterWait(AwaitIt&& await, ReadIt&& read) {
    for (;;) {
        Wait wait = m_waits.Begin();
        await(wait);
        CAutoLock streamLock(&m_StreamLock);
        if (m_waits.IsOver(wait))
            return read(wait);
    }
}

HRESULT CCustomFileSourcePin::FetchSource(IStream** stream) const noexcept {
    return m_StreamCookie.IsEmpty() ? E_UNEXPECTED : m_StreamCookie.CopyTo(stream);
}

HRESULT CCustomFileSourcePin::FetchForRead(IStream** stream, const wchar_t* function) const {
    const HRESULT hr = m_StreamCookie.CopyTo(stream);
    if (FAILED(hr)) {
        TK_LOG(filter::kFilterLog, TKRuntimeLogger::kError, function,
               L"Could not get the stream from the GIT. Apartment was shut down prematurely!");
    }
    return hr;
}

// A failure has been logged.
HRESULT CCustomFileSourcePin::SeekTo(IStream* stream, LONGLONG position, const wchar_t* function) const {
    LARGE_INTEGER target;
    target.QuadPart = position;
    const HRESULT hr = stream->Seek(target, STREAM_SEEK_SET, nullptr);
    if (FAILED(hr))
        TK_LOG(filter::kFilterLog, TKRuntimeLogger::kError, function,
               L"Error while seeking the source file: Requested: %I64d, hr=%08x", position, hr);
    return hr;
}

void CCustomFileSourcePin::LogFailedRead(HRESULT hr, const wchar_t* function) const noexcept {
    TK_LOG(filter::kFilterLog, TKRuntimeLogger::kError, function, L"Error while reading the source file: hr=%08x", hr);
}

// Aborts the graph when the failure happened inside the data. The message says "outside" although the position is
// inside: log readers search for this text. `abortReason` is what the graph is told; without one it is the result of
// asking for the size.
void CCustomFileSourcePin::EndFailedRead(IStream* stream, LONGLONG position, Graph graph,
                                         std::optional<HRESULT> abortReason, const wchar_t* function) noexcept {
    if (m_pFilter && stream && graph == Graph::IsTold) {
        ULONGLONG size = 0;
        const HRESULT hr = filter::AskSize(*stream, &size);
        // Unsigned on purpose: every position is inside a source that doesn't know its size (its top bit is set), and a
        // negative position is inside no other source.
        if (static_cast<ULONGLONG>(position) < size) {
            TK_LOG(filter::kFilterLog, TKRuntimeLogger::kError, function,
                   L"The requested stream position is outside the file: Requested=%I64d, Size=%I64d", position,
                   static_cast<LONGLONG>(size));
            // What the graph throws fails no read.
            base::RunQuietly([&] { m_pFilter->NotifyEvent(EC_ERRORABORT, abortReason.value_or(hr), 0); });
        }
    }
    TK_LOG(filter::kFilterLog, TKRuntimeLogger::kInfo, function, L"End of stream");
}

// ---- IAsyncReader

STDMETHODIMP CCustomFileSourcePin::SyncReadAligned(IMediaSample* pSample) {
    return base::ComBoundary([&] { return ReadSample(pSample, nullptr); });
}

// `waited`: the caller has waited, and has the locks.
HRESULT CCustomFileSourcePin::ReadSample(IMediaSample* sample, const Wait* waited) {
    TK_PROFILE(filter::kFilterLog, L"CCustomFileSourcePin::SyncReadAligned", L"");
    if (waited)
        return FillSample(sample, *waited);
    PassFlowGate();
    return ReadAfterWait([&](Wait& wait) { AwaitSample(wait, sample); },
                         [&](const Wait& wait) { return FillSample(sample, wait); });
}

HRESULT CCustomFileSourcePin::FillSample(IMediaSample* sample, const Wait& wait) {
    constexpr auto kFunction = L"CCustomFileSourcePin::SyncReadAligned";
    if (!sample)
        return E_POINTER;
    if (m_StreamCookie.IsEmpty())
        return E_UNEXPECTED;
    CAutoLock queueLock(&m_QueueLock);
    ComPtr<IStream> stream;
    if (const HRESULT hr = FetchForRead(&stream, kFunction); FAILED(hr))
        return hr;

    BYTE* buffer = nullptr;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    HRESULT hr = sample->GetPointer(&buffer);
    const LONG size = sample->GetSize();
    if (SUCCEEDED(hr))
        hr = sample->GetTime(&start, &stop);
    const LONGLONG position = start / kSampleTimeUnitsPerByte;
    const LONGLONG length = stop / kSampleTimeUnitsPerByte - position;
    if (length < 0 || length > size) {
        TK_LOG(filter::kFilterLog, TKRuntimeLogger::kError, kFunction, L"media sample is invalid");
        return E_FAIL;
    }

    ULONG read = 0;
    if (SUCCEEDED(hr))
        hr = ReadIntoSample(stream.Get(), sample, buffer, position, static_cast<ULONG>(length), wait, &read);
    if (FAILED(hr))
        EndFailedRead(stream.Get(), position, wait.IsGivenUp(hr) ? Graph::IsNotTold : Graph::IsTold, kReadFault,
                      kFunction);
    return read == static_cast<ULONG>(length) ? S_OK : S_FALSE;
}

// A failure has been logged as far as it is reported.
HRESULT CCustomFileSourcePin::ReadIntoSample(IStream* stream, IMediaSample* sample, BYTE* buffer, LONGLONG position,
                                             ULONG length, const Wait& wait, ULONG* read) {
    constexpr auto kFunction = L"CCustomFileSourcePin::SyncReadAligned";
    if (const HRESULT hr = sample->SetActualDataLength(0); FAILED(hr))
        return hr;
    const ULONG readable = wait.Readable(length);
    HRESULT hr = S_OK;
    if (readable > 0 || !wait.control) {
        if (MustSeek(wait)) {
            if (hr = SeekTo(stream, position, kFunction); FAILED(hr))
                return hr;
        }
        hr = stream->Read(buffer, readable, read);
        if (SUCCEEDED(hr))
            hr = sample->SetActualDataLength(static_cast<LONG>(*read));
    }
    if (SUCCEEDED(hr))
        hr = wait.result;
    if (FAILED(hr))
        LogFailedRead(hr, kFunction);
    return hr;
}

STDMETHODIMP CCustomFileSourcePin::SyncRead(LONGLONG llPosition, LONG lLength, BYTE* pBuffer) {
    return base::ComBoundary([&]() -> HRESULT {
        constexpr auto kFunction = L"CCustomFileSourcePin::SyncRead";
        TK_PROFILE(filter::kFilterLog, kFunction, L"");
        PassFlowGate();
        return ReadAfterWait(
            [&](Wait& wait) { AwaitBytes(wait, llPosition, lLength); },
            [&](const Wait& wait) -> HRESULT {
                if (m_StreamCookie.IsEmpty())
                    return E_UNEXPECTED;
                CAutoLock queueLock(&m_QueueLock);
                ComPtr<IStream> stream;
                if (const HRESULT hr = FetchForRead(&stream, kFunction); FAILED(hr))
                    return hr;
                if (lLength < 0)
                    return S_FALSE;  // a negative length reads nothing, and that is a short read like any other

                ULONG read = 0;
                const HRESULT hr =
                    ReadIntoBuffer(stream.Get(), pBuffer, llPosition, static_cast<ULONG>(lLength), wait, &read);
                // The graph is told the result of asking for the size, which is usually S_OK. SyncReadAligned always
                // tells it a failure. Hosts know the two operations apart by that.
                if (FAILED(hr))
                    EndFailedRead(stream.Get(), llPosition, wait.IsGivenUp(hr) ? Graph::IsNotTold : Graph::IsTold,
                                  std::nullopt, kFunction);
                return read == static_cast<ULONG>(lLength) ? S_OK : S_FALSE;
            });
    });
}

// A failure has been logged.
HRESULT CCustomFileSourcePin::ReadIntoBuffer(IStream* stream, BYTE* buffer, LONGLONG position, ULONG length,
                                             const Wait& wait, ULONG* read) {
    constexpr auto kFunction = L"CCustomFileSourcePin::SyncRead";
    const ULONG readable = wait.Readable(length);
    HRESULT hr = S_OK;
    if (readable > 0 || !wait.control) {
        if (MustSeek(wait)) {
            TK_PROFILE(filter::kFilterLog, kFunction, L"Syncread seeking");
            if (hr = SeekTo(stream, position, kFunction); FAILED(hr))
                return hr;
        }
        TK_PROFILE(filter::kFilterLog, kFunction, L"Syncread reading");
        hr = stream->Read(buffer, readable, read);
    }
    if (SUCCEEDED(hr))
        hr = wait.result;
    if (FAILED(hr))
        LogFailedRead(hr, kFunction);
    return hr;
}

// A read may be waited for by whoever holds the filter lock, a parser that connects say. While the filter isn't stopped
// it is refused, and no read is to suffer from that.
STDMETHODIMP CCustomFileSourcePin::Disconnect() {
    if (m_pFilter->IsStopped())
        m_waits.EndWaits();
    return CBasePin::Disconnect();
}

STDMETHODIMP CCustomFileSourcePin::RequestAllocator(IMemAllocator* pPreferred, ALLOCATOR_PROPERTIES* pProps,
                                                    IMemAllocator** ppActual) {
    if (!ppActual)
        return S_OK;
    *ppActual = nullptr;
    if (!pProps)
        return E_POINTER;
    return base::ComBoundary([&]() -> HRESULT {
        ComPtr<IMemAllocator> allocator = pPreferred;
        if (!allocator) {
            if (const HRESULT hr =
                    ::CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&allocator));
                FAILED(hr))
                return hr;
        }
        pProps->cbAlign = 1;
        ALLOCATOR_PROPERTIES actual{};
        const HRESULT hr = allocator->SetProperties(pProps, &actual);
        if (pPreferred) {
            // The caller gets its own allocator back even if the allocator refused: a parser may go on with it as it is
            // set.
            *ppActual = allocator.Detach();
            return hr;
        }
        if (FAILED(hr))
            return hr;
        *ppActual = allocator.Detach();
        return S_OK;
    });
}

STDMETHODIMP CCustomFileSourcePin::Length(LONGLONG* pTotal, LONGLONG* pAvailable) {
    return base::ComBoundary([&]() -> HRESULT {
        TK_PROFILE(filter::kFilterLog, L"CCustomFileSourcePin::Length", L"");
        CAutoLock streamLock(&m_StreamLock);
        if (!pTotal || !pAvailable)
            return E_POINTER;
        if (m_StreamCookie.IsEmpty())
            return E_UNEXPECTED;
        CAutoLock queueLock(&m_QueueLock);
        ComPtr<IStream> stream;
        if (const HRESULT hr = m_StreamCookie.CopyTo(&stream); FAILED(hr))
            return hr;
        ULONGLONG claimed = 0;
        if (const HRESULT hr = filter::AskSize(*stream.Get(), &claimed); FAILED(hr))
            return hr;
        const auto size = static_cast<LONGLONG>(claimed);
        if (size >= 0) {
            *pTotal = *pAvailable = size;
            return S_OK;
        }
        *pTotal = kInfiniteLength;
        *pAvailable = kAvailableOfInfinite;
        return VFW_S_ESTIMATED;
    });
}

// ---- The source as a stream

STDMETHODIMP CCustomFileSourcePin::Read(void* pv, ULONG cb, ULONG* pcbRead) {
    return base::ComBoundary([&]() -> HRESULT {
        PassFlowGate();
        ULONGLONG awaited = 0;
        for (;;) {
            Wait wait = m_waits.Begin();
            if (pv && wait.control && SUCCEEDED(AskPosition(&awaited)))
                AwaitBytes(wait, static_cast<LONGLONG>(awaited), ClampedLength(cb));
            CAutoLock streamLock(&m_StreamLock);
            if (!pv)
                return E_POINTER;
            if (!m_waits.IsOver(wait))
                continue;
            ComPtr<IStream> stream;
            if (const HRESULT hr = FetchSource(&stream); FAILED(hr))
                return hr;
            if (!wait.control)
                return stream->Read(pv, cb, pcbRead);
            // Another reader may have moved the stream meanwhile.
            ULONGLONG position = awaited;
            if (SUCCEEDED(AskPosition(&position)) && position != awaited && !wait.IsGivenUp(wait.result))
                continue;
            const ULONG readable = wait.Readable(cb);
            if (readable == cb)
                return stream->Read(pv, cb, pcbRead);
            if (readable == 0) {
                if (pcbRead)
                    *pcbRead = 0;
                return wait.result;
            }
            const HRESULT hr = stream->Read(pv, readable, pcbRead);
            return SUCCEEDED(hr) ? S_FALSE : hr;
        }
    });
}

HRESULT CCustomFileSourcePin::AskPosition(ULONGLONG* position) const {
    CAutoLock streamLock(&m_StreamLock);
    ComPtr<IStream> stream;
    if (const HRESULT hr = FetchSource(&stream); FAILED(hr))
        return hr;
    ULARGE_INTEGER reached{};
    const HRESULT hr = stream->Seek({}, STREAM_SEEK_CUR, &reached);
    *position = reached.QuadPart;
    return hr;
}

STDMETHODIMP CCustomFileSourcePin::Write(const void*, ULONG, ULONG*) {
    CAutoLock streamLock(&m_StreamLock);  // returns only between reads, so that a writer can't overtake one
    return E_NOTIMPL;
}

STDMETHODIMP CCustomFileSourcePin::Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin, ULARGE_INTEGER* plibNewPosition) {
    return base::ComBoundary([&]() -> HRESULT {
        CAutoLock streamLock(&m_StreamLock);
        if (!plibNewPosition)
            return E_POINTER;
        ComPtr<IStream> stream;
        const HRESULT hr = FetchSource(&stream);
        return FAILED(hr) ? hr : stream->Seek(dlibMove, dwOrigin, plibNewPosition);
    });
}

STDMETHODIMP CCustomFileSourcePin::Stat(STATSTG* pstatstg, DWORD grfStatFlag) {
    return base::ComBoundary([&]() -> HRESULT {
        CAutoLock streamLock(&m_StreamLock);
        ComPtr<IStream> stream;
        const HRESULT hr = FetchSource(&stream);
        return FAILED(hr) ? hr : stream->Stat(pstatstg, grfStatFlag);
    });
}

STDMETHODIMP CCustomFileSourcePin::Clone(IStream** ppstm) {
    if (ppstm)
        *ppstm = nullptr;
    return E_NOTIMPL;
}

// ---- Media types

HRESULT CCustomFileSourcePin::GetMediaType(int iPosition, CMediaType* pmt) {
    return base::ComBoundary([&]() -> HRESULT {
        TK_PROFILE(filter::kFilterLog, L"CCustomFileSourcePin::GetMediaType", L"");
        if (!pmt)
            return E_POINTER;
        const auto offered = m_OfferedTypes.At(iPosition);
        if (!offered)
            return VFW_S_NO_MORE_ITEMS;
        pmt->majortype = offered->majorType;
        pmt->subtype = offered->subtype;
        pmt->formattype = GUID_NULL;
        return S_OK;
    });
}

HRESULT CCustomFileSourcePin::CheckMediaType(const CMediaType* pmt) {
    if (!pmt)
        return E_POINTER;
    return m_OfferedTypes.Contains(pmt->majortype, pmt->subtype) ? S_OK : S_FALSE;
}

HRESULT CCustomFileSourcePin::SetSourceFileStream(IStream* stream, DWORD) noexcept {
    return base::ComBoundary([&]() -> HRESULT {
        constexpr auto kFunction = L"CCustomFileSourcePin::SetSourceFileStream";
        TK_PROFILE(filter::kFilterLog, kFunction, L"");
        if (!stream)
            return E_POINTER;
        // First, and without a lock: a read of the old source may hold those.
        m_waits.Leave();
        CAutoLock streamLock(&m_StreamLock);
        bool infinite = false;
        HRESULT hr = m_StreamCookie.Attach(stream);
        if (SUCCEEDED(hr)) {
            m_waits.Arrive(framework::SourceControlOf(*stream));
            LONGLONG total = 0;
            LONGLONG available = 0;
            hr = Length(&total, &available);
            infinite = total == kInfiniteLength;
        } else if (m_StreamCookie.IsEmpty()) {
            m_waits.Arrive(nullptr);
        } else {
            m_waits.Stay();
        }
        m_bInfiniteStream.Set(infinite, kFunction, __LINE__);
        return hr;
    });
}
