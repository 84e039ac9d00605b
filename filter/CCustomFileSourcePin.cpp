#include "filter/CCustomFileSourcePin.h"

#include "base/ComBoundary.h"
#include "baseclasses/SampleTimes.h"
#include "filter/FilterLog.h"
#include "filter/StreamSize.h"

#include <evcode.h>
#include <uuids.h>
#include <vfwmsgs.h>

#include <limits>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kObjectName[] = L"TvFileSourceAsync Output Pin";
constexpr LONGLONG kInfiniteLength = std::numeric_limits<LONGLONG>::max();
constexpr LONGLONG kAvailableOfInfinite = 32768;

constexpr HRESULT kReadFault = static_cast<HRESULT>(0x8007001E);
constexpr HRESULT kEndOfFile = static_cast<HRESULT>(0x80070026);

// Both locks of a request: the queue lock first, then the stream lock. It never waits for the stream lock while it
// holds the queue lock.
class CRequestLocks final {
public:
    CRequestLocks(CCritSec& queueLock, CCritSec& streamLock) noexcept
        : m_queueLock(queueLock), m_streamLock(streamLock) {
        m_queueLock.Lock();
        if (m_streamLock.TryLock())
            return;
        m_queueLock.Unlock();
        m_streamLock.Lock();
        m_queueLock.Lock();
    }
    CRequestLocks(const CRequestLocks&) = delete;
    CRequestLocks& operator=(const CRequestLocks&) = delete;
    ~CRequestLocks() {
        m_queueLock.Unlock();
        m_streamLock.Unlock();
    }

private:
    CCritSec& m_queueLock;
    CCritSec& m_streamLock;
};

}  // namespace

CCustomFileSourcePin::CCustomFileSourcePin(HRESULT* phr, CCritSec* filterLock, CBaseFilter* filter)
    : CBasePin(kObjectName, filter, filterLock, phr, L"Output", PINDIR_OUTPUT),
      m_bAsyncReaderChecked(filter::kFilterLog, kObjectName, L"m_bAsyncReaderChecked", false),
      m_bInfiniteStream(filter::kFilterLog, kObjectName, L"m_bInfiniteStream", false) {}

CCustomFileSourcePin::~CCustomFileSourcePin() {
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

void CCustomFileSourcePin::LogFailedSeek(LONGLONG position, HRESULT hr, const wchar_t* function) const noexcept {
    TK_LOG(filter::kFilterLog, TKRuntimeLogger::kError, function,
           L"Error while seeking the source file: Requested: %I64d, hr=%08x", position, hr);
}

void CCustomFileSourcePin::LogFailedRead(HRESULT hr, const wchar_t* function) const noexcept {
    TK_LOG(filter::kFilterLog, TKRuntimeLogger::kError, function, L"Error while reading the source file: hr=%08x", hr);
}

// Aborts the graph when the failure happened inside the data. The message says "outside" although the position is
// inside: log readers search for this text. `abortReason` is what the graph is told; without one it is the result of
// asking for the size.
void CCustomFileSourcePin::EndFailedRead(IStream* stream, LONGLONG position, std::optional<HRESULT> abortReason,
                                         const wchar_t* function) noexcept {
    if (m_pFilter && stream) {
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
    return base::ComBoundary([&] { return ReadSample(pSample, Gate::Pass); });
}

HRESULT CCustomFileSourcePin::ReadSample(IMediaSample* sample, Gate gate) {
    constexpr auto kFunction = L"CCustomFileSourcePin::SyncReadAligned";
    TK_PROFILE(filter::kFilterLog, kFunction, L"");
    if (gate == Gate::Pass)
        PassFlowGate();
    CAutoLock streamLock(&m_StreamLock);
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
    if (FAILED(hr) || !ReadIntoSample(stream.Get(), sample, buffer, position, static_cast<ULONG>(length), &read))
        EndFailedRead(stream.Get(), position, kReadFault, kFunction);
    return read == static_cast<ULONG>(length) ? S_OK : S_FALSE;
}

// False: a step failed and, as far as it is reported, has been logged.
bool CCustomFileSourcePin::ReadIntoSample(IStream* stream, IMediaSample* sample, BYTE* buffer, LONGLONG position,
                                          ULONG length, ULONG* read) {
    constexpr auto kFunction = L"CCustomFileSourcePin::SyncReadAligned";
    if (FAILED(sample->SetActualDataLength(0)))
        return false;
    if (!m_bInfiniteStream.Get()) {
        LARGE_INTEGER target;
        target.QuadPart = position;
        if (const HRESULT hr = stream->Seek(target, STREAM_SEEK_SET, nullptr); FAILED(hr)) {
            LogFailedSeek(position, hr, kFunction);
            return false;
        }
    }
    HRESULT hr = stream->Read(buffer, length, read);
    if (SUCCEEDED(hr))
        hr = sample->SetActualDataLength(static_cast<LONG>(*read));
    if (FAILED(hr))
        LogFailedRead(hr, kFunction);
    return SUCCEEDED(hr);
}

STDMETHODIMP CCustomFileSourcePin::SyncRead(LONGLONG llPosition, LONG lLength, BYTE* pBuffer) {
    return base::ComBoundary([&]() -> HRESULT {
        constexpr auto kFunction = L"CCustomFileSourcePin::SyncRead";
        TK_PROFILE(filter::kFilterLog, kFunction, L"");
        PassFlowGate();
        CAutoLock streamLock(&m_StreamLock);
        if (m_StreamCookie.IsEmpty())
            return E_UNEXPECTED;
        CAutoLock queueLock(&m_QueueLock);
        ComPtr<IStream> stream;
        if (const HRESULT hr = FetchForRead(&stream, kFunction); FAILED(hr))
            return hr;
        if (lLength < 0)
            return S_FALSE;  // a negative length reads nothing, and that is a short read like any other

        ULONG read = 0;
        // The graph is told the result of asking for the size, which is usually S_OK. SyncReadAligned always tells it a
        // failure. Hosts know the two operations apart by that.
        if (!ReadIntoBuffer(stream.Get(), pBuffer, llPosition, static_cast<ULONG>(lLength), &read))
            EndFailedRead(stream.Get(), llPosition, std::nullopt, kFunction);
        return read == static_cast<ULONG>(lLength) ? S_OK : S_FALSE;
    });
}

// False: a step failed and has been logged.
bool CCustomFileSourcePin::ReadIntoBuffer(IStream* stream, BYTE* buffer, LONGLONG position, ULONG length, ULONG* read) {
    constexpr auto kFunction = L"CCustomFileSourcePin::SyncRead";
    if (!m_bInfiniteStream.Get()) {
        TK_PROFILE(filter::kFilterLog, kFunction, L"Syncread seeking");
        LARGE_INTEGER target;
        target.QuadPart = position;
        if (const HRESULT hr = stream->Seek(target, STREAM_SEEK_SET, nullptr); FAILED(hr)) {
            LogFailedSeek(position, hr, kFunction);
            return false;
        }
    }
    TK_PROFILE(filter::kFilterLog, kFunction, L"Syncread reading");
    const HRESULT hr = stream->Read(buffer, length, read);
    if (FAILED(hr))
        LogFailedRead(hr, kFunction);
    return SUCCEEDED(hr);
}

HRESULT CCustomFileSourcePin::CheckRequest(const IMediaSample* sample) const noexcept {
    if (!sample)
        return E_POINTER;
    if (m_StreamCookie.IsEmpty())
        return E_UNEXPECTED;
    return m_bFlushing ? VFW_E_WRONG_STATE : S_OK;
}

// Takes the queue lock before the stream lock, the reverse of every other read: what a request finds in the
// queue must still be true when its sample joins the queue. To avoid a deadlock, it doesn't wait while it holds the
// queue lock: it gives that lock back first, and afterwards looks again at what the lock guards.
STDMETHODIMP CCustomFileSourcePin::Request(IMediaSample* pSample, DWORD_PTR dwUser) {
    return base::ComBoundary([&]() -> HRESULT {
        {
            CAutoLock queueLock(&m_QueueLock);
            if (const HRESULT hr = CheckRequest(pSample); FAILED(hr))
                return hr;
        }
        PassFlowGate();
        const CRequestLocks locks(m_QueueLock, m_StreamLock);
        if (const HRESULT hr = CheckRequest(pSample); FAILED(hr))
            return hr;

        ComPtr<IMediaSample> sample = pSample;
        const HRESULT hr = ReadSample(pSample, Gate::AlreadyPassed);
        if (hr != S_OK && pSample->GetActualDataLength() < 1)
            return kEndOfFile;
        m_RequestQueue.push_back({std::move(sample), dwUser});
        m_changed.Raise();
        return S_OK;
    });
}

STDMETHODIMP CCustomFileSourcePin::WaitForNext(DWORD dwTimeout, IMediaSample** ppSample, DWORD_PTR* pdwUser) {
    if (ppSample)
        *ppSample = nullptr;
    if (pdwUser)
        *pdwUser = 0;
    if (!pdwUser || !ppSample)
        return E_POINTER;
    if (m_StreamCookie.IsEmpty())
        return E_UNEXPECTED;

    const ULONGLONG start = ::GetTickCount64();
    std::optional<unsigned> flushes;  // how many there had been when the wait began
    DWORD remaining = dwTimeout;
    for (;;) {
        unsigned changes = 0;
        ComPtr<IMediaSample> uncounted;  // let go of after the lock
        {
            CAutoLock queueLock(&m_QueueLock);
            if (!m_RequestQueue.empty()) {
                PendingRequest& front = m_RequestQueue.front();
                *ppSample = front.sample.Get();
                *pdwUser = front.user;
                if (m_uncountedSamples)
                    uncounted = std::move(front.sample);
                else
                    static_cast<void>(front.sample.Detach());
                m_RequestQueue.pop_front();
                return S_OK;
            }
            if (m_bFlushing || flushes.value_or(m_flushCount) != m_flushCount)
                return VFW_E_WRONG_STATE;
            flushes = m_flushCount;
            changes = m_changed.Count();
        }
        if (!m_changed.WaitForMore(changes, remaining))
            return VFW_E_TIMEOUT;
        if (dwTimeout != INFINITE) {
            const ULONGLONG elapsed = ::GetTickCount64() - start;
            remaining = elapsed < dwTimeout ? dwTimeout - static_cast<DWORD>(elapsed) : 0;
        }
    }
}

STDMETHODIMP CCustomFileSourcePin::SetUncountedSamples(BOOL uncounted) {
    m_uncountedSamples = uncounted != FALSE;
    return S_OK;
}

STDMETHODIMP CCustomFileSourcePin::GetUncountedSamples(BOOL* uncounted) {
    if (!uncounted)
        return E_POINTER;
    *uncounted = m_uncountedSamples;
    return S_OK;
}

STDMETHODIMP CCustomFileSourcePin::BeginFlush() {
    CAutoLock queueLock(&m_QueueLock);
    m_bFlushing = true;
    ++m_flushCount;
    m_changed.Raise();
    return S_OK;
}

STDMETHODIMP CCustomFileSourcePin::EndFlush() {
    CAutoLock queueLock(&m_QueueLock);
    m_bFlushing = false;
    return S_OK;
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
        CAutoLock streamLock(&m_StreamLock);
        if (!pv)
            return E_POINTER;
        ComPtr<IStream> stream;
        const HRESULT hr = FetchSource(&stream);
        return FAILED(hr) ? hr : stream->Read(pv, cb, pcbRead);
    });
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
        CAutoLock streamLock(&m_StreamLock);
        if (!stream)
            return E_POINTER;
        bool infinite = false;
        HRESULT hr = m_StreamCookie.Attach(stream);
        if (SUCCEEDED(hr)) {
            LONGLONG total = 0;
            LONGLONG available = 0;
            hr = Length(&total, &available);
            infinite = total == kInfiniteLength;
        }
        m_bInfiniteStream.Set(infinite, kFunction, __LINE__);
        return hr;
    });
}
