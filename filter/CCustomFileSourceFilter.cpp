#include "filter/CCustomFileSourceFilter.h"

#include "base/CTaskMem.h"
#include "base/ComBoundary.h"
#include "diagnostics/CDescriptions.h"
#include "filter/CCustomFileSourcePin.h"
#include "filter/FilterLog.h"
#include "filter/FilterSetup.h"
#include "filter/MediaTypeDecision.h"
#include "framework/streams/TKFStreams.h"
#include "framework/uri/NameForLog.h"

#include <uuids.h>
#include <wrl/client.h>

#include <new>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kFilterName[] = L"Tavel File Source (Async.)";
constexpr char kCreationThreadName[] = "MTA Create Stream Thread";

// Others may read and delete the file meanwhile, not write it.
constexpr DWORD kSourceMode = kTKFStreamRead | kTKFStreamShareRead | kTKFStreamShareDelete;

constexpr wchar_t kThreadFunction[] = L"CCustomFileSourceFilter::CreateStreamThread";

// All else is zero, also the two fields that a type as the base classes make it has set for samples of one byte.
CMediaType StreamType(const GUID& subtype) {
    CMediaType type;
    static_cast<AM_MEDIA_TYPE&>(type) = {};
    type.SetType(&MEDIATYPE_Stream);
    type.SetSubtype(&subtype);
    return type;
}

std::wstring DescriptionOf(HRESULT hr) {
    return TKRuntimeLogger::HresultDescriptions().Describe(hr);
}

// Makes a read buffer over `stream`. Where its content will be looked at, there is a stream in between that keeps what
// is read: a source that can't be sought, whether or not it knows its size, may give less in one piece than telling its
// type takes, and then the read buffer has no longer got the first piece.
HRESULT Buffer(IStream* stream, bool forDetection, ComPtr<framework::CReplayStream>& replay,
               ComPtr<IStream>& buffered) noexcept {
    if (forDetection) {
        if (const HRESULT hr = framework::MakeComObject<framework::CReplayStream>(&replay); FAILED(hr))
            return hr;
        if (const HRESULT hr = replay->Initialize(stream); FAILED(hr))
            return hr;
        stream = replay.Get();
    }
    if (const HRESULT hr = ::TKFCreateBufferedStream(stream, &buffered); FAILED(hr))
        return hr;
    static_cast<void>(buffered->Seek({}, STREAM_SEEK_SET, nullptr));
    return S_OK;
}

class CSetEventAtExit final {
public:
    explicit CSetEventAtExit(HANDLE event) noexcept : m_event(event) {}
    CSetEventAtExit(const CSetEventAtExit&) = delete;
    CSetEventAtExit& operator=(const CSetEventAtExit&) = delete;
    ~CSetEventAtExit() { ::SetEvent(m_event); }

private:
    HANDLE m_event;
};

}  // namespace

CUnknown* CALLBACK CCustomFileSourceFilter::CreateInstance(LPUNKNOWN outer, HRESULT* phr) noexcept {
    CCustomFileSourceFilter* filter = nullptr;
    const HRESULT created = base::ComBoundary([&] {
        filter = new CCustomFileSourceFilter(outer, phr);
        return S_OK;
    });
    if (phr)
        *phr = SUCCEEDED(created) ? S_OK : E_OUTOFMEMORY;
    return filter;
}

CCustomFileSourceFilter::CCustomFileSourceFilter(LPUNKNOWN outer, HRESULT* phr)
    : CBaseFilter(kFilterName, outer, &m_FilterLock, CLSID_TvFileSourceAsync),
      m_CreationRunnable(this, &CCustomFileSourceFilter::CreateStreamThread, COINIT_MULTITHREADED),
      m_hStop(::CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_hCreateRequest(::CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_hCreationDone(::CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_DiagnosticRegistration(filter::kFilterLog.category, this, L"TvFileSourceAsync filter") {
    m_CreationThread.Init(&m_CreationRunnable, kCreationThreadName, 0);
    m_pPin.reset(new (std::nothrow) CCustomFileSourcePin(phr, &m_FilterLock, this));
    m_mt = StreamType(GUID_NULL);
    // Without the thread every Load fails, and OpenStream works. A thread that lacked an event would leave loads
    // waiting for ever, or answer one with what an earlier one asked for.
    if (m_hStop && m_hCreateRequest && m_hCreationDone)
        static_cast<void>(m_CreationThread.Start());
}

CCustomFileSourceFilter::~CCustomFileSourceFilter() {
    m_pPin.reset();
    ::SetEvent(m_hStop.Get());
    m_CreationThread.Join(INFINITE);
}

STDMETHODIMP CCustomFileSourceFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (!ppv)
        return E_POINTER;
    *ppv = nullptr;
    if (riid == __uuidof(IFileSourceFilter))
        return GetInterface(static_cast<IFileSourceFilter*>(this), ppv);
    if (riid == __uuidof(IAMFilterMiscFlags))
        return GetInterface(static_cast<IAMFilterMiscFlags*>(this), ppv);
    if (riid == __uuidof(ITavelIStreamFileSource))
        return GetInterface(static_cast<ITavelIStreamFileSource*>(this), ppv);
    if (riid == __uuidof(IDataFlowControl))
        return GetInterface(static_cast<IDataFlowControl*>(this), ppv);
    if (riid == __uuidof(ITavelSourceOpenResult))
        return GetInterface(static_cast<ITavelSourceOpenResult*>(this), ppv);
    return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

CBasePin* CCustomFileSourceFilter::GetPin(int n) {
    return n == 0 ? m_pPin.get() : nullptr;
}

const AMOVIESETUP_FILTER* CCustomFileSourceFilter::GetSetupData() {
    return &g_FilterSetup;
}

// ---- The source by name

STDMETHODIMP CCustomFileSourceFilter::Load(LPCOLESTR pszFileName, const AM_MEDIA_TYPE* pmt) {
    return base::ComBoundary([&]() -> HRESULT {
        constexpr auto kFunction = L"CCustomFileSourceFilter::Load";
        TK_PROFILE(filter::kFilterLog, kFunction, L"");
        TK_LOG(filter::kFilterLog, TKRuntimeLogger::kInfo, kFunction, L"Loading: %s",
               pszFileName ? framework::NameForLog(pszFileName).c_str() : L"<invalid filename>");
        if (!pszFileName)
            return E_POINTER;
        if (!IsCreationThreadRunning()) {
            ForgetResults();
            TK_LOG(filter::kFilterLog, TKRuntimeLogger::kFatal, kFunction,
                   L"The stream creation thread is not running!");
            return E_UNEXPECTED;
        }
        CAutoLock loadLock(&m_LoadLock);
        ForgetResults();  // first: what fails before the name is opened leaves no older one's
        CName name;       // now: when memory is out for it, nothing has changed yet
        name.SetWide(pszFileName);
        m_PendingName = pszFileName;
        ComPtr<IStream> stream;
        HRESULT hr = FetchPendingStream(&stream);
        if (SUCCEEDED(hr))
            hr = base::ComBoundary([&] { return SetSourceFileStream(stream.Get(), pmt); });
        // Not the pending name: a stream that calls back into this thread may have loaded another one meanwhile.
        SetCurrentName(name);
        return hr;
    });
}

// Has the creation thread open the pending name. Fails when there is no stream.
HRESULT CCustomFileSourceFilter::FetchPendingStream(IStream** stream) {
    // Empty as a rule. A stream that could not be revoked after its load must not be taken for this one's.
    if (const HRESULT hr = m_CreatedStream.Revoke(); FAILED(hr))
        return hr;
    m_CreationResult.reset();
    ::SetEvent(m_hCreateRequest.Get());
    AwaitCreation();
    SetResult(m_openResult, m_CreationResult);
    const HRESULT hr = m_CreatedStream.CopyTo(stream);
    static_cast<void>(m_CreatedStream.Revoke());
    return hr;
}

bool CCustomFileSourceFilter::IsCreationThreadRunning() const noexcept {
    const HANDLE thread = m_CreationThread.GetHandle();
    return thread && ::WaitForSingleObject(thread, 0) != WAIT_OBJECT_0;
}

// Whatever the wait gives, the caller goes on and looks for the stream itself.
void CCustomFileSourceFilter::AwaitCreation() const noexcept {
    constexpr auto kFunction = L"CCustomFileSourceFilter::Load";
    const HANDLE handles[] = {m_hCreationDone.Get(), m_CreationThread.GetHandle()};
    switch (::WaitForMultipleObjects(2, handles, FALSE, INFINITE)) {
        case WAIT_OBJECT_0:
            break;
        case WAIT_TIMEOUT:  // can't be while the wait has no limit; kept for the day it has one
            TK_LOG(filter::kFilterLog, TKRuntimeLogger::kError, kFunction, L"Timeout for creating the stream");
            break;
        default:
            TK_LOG(filter::kFilterLog, TKRuntimeLogger::kFatal, kFunction,
                   L"A fatal error ocurred while trying to open the stream");
            break;
    }
}

// ---- The creation thread

HRESULT CCustomFileSourceFilter::CreateStreamThread() noexcept {
    // The stop event stands first: a stop wins over a request that comes at the same time.
    const HANDLE events[] = {m_hStop.Get(), m_hCreateRequest.Get()};
    for (;;) {
        switch (::WaitForMultipleObjects(2, events, FALSE, INFINITE)) {
            case WAIT_OBJECT_0:
                TK_LOG(filter::kFilterLog, TKRuntimeLogger::kInfo, kThreadFunction,
                       L"Create stream thread stop message received");
                return S_OK;
            case WAIT_OBJECT_0 + 1:
                ServeCreateRequest();
                break;
            default:
                TK_LOG(filter::kFilterLog, TKRuntimeLogger::kError, kThreadFunction,
                       L"Error in WaitForMultipleObjects in create stream thread");
                return S_OK;
        }
    }
}

void CCustomFileSourceFilter::ServeCreateRequest() noexcept {
    ComPtr<IStream> stream;
    const CSetEventAtExit done(m_hCreationDone.Get());  // on failure too: Load waits for it
    const HRESULT hr = CreatePendingStream(&stream);
    m_CreationResult = SUCCEEDED(hr) ? S_OK : hr;
    TK_LOG(filter::kFilterLog, TKRuntimeLogger::kInfo, kThreadFunction,
           L"Create stream thread: Creating stream %s for %s", SUCCEEDED(hr) ? L"succeeded" : L"failed",
           framework::NameForLog(m_PendingName.c_str()).c_str());
}

HRESULT CCustomFileSourceFilter::CreatePendingStream(IStream** stream) noexcept {
    HRESULT hr = S_OK;
    TK_CHECK_CALL_AS(filter::kFilterLog, kThreadFunction, hr,
                     ::TKFCreateStreamFromUri(m_PendingName.c_str(), kSourceMode, stream, nullptr, nullptr),
                     L"TKFCreateStreamFromUri(m_PendingName,kSourceMode,&pStream,0,0)");
    TK_CHECK_CALL_AS(filter::kFilterLog, kThreadFunction, hr, m_CreatedStream.Attach(*stream),
                     L"m_CreatedStream.Attach(pStream)");
    return hr;
}

STDMETHODIMP CCustomFileSourceFilter::GetOpenResult(HRESULT* result) {
    return GetResult(m_openResult, result);
}

STDMETHODIMP CCustomFileSourceFilter::GetDetectionResult(HRESULT* result) {
    return GetResult(m_detectionResult, result);
}

HRESULT CCustomFileSourceFilter::GetResult(const Result& which, HRESULT* result) noexcept {
    if (!result)
        return E_POINTER;
    CAutoLock currentLock(&m_CurrentLock);
    *result = which.value_or(E_UNEXPECTED);
    return which ? S_OK : E_UNEXPECTED;
}

void CCustomFileSourceFilter::SetResult(Result& which, Result result) noexcept {
    CAutoLock currentLock(&m_CurrentLock);
    which = result;
}

void CCustomFileSourceFilter::ForgetResults() noexcept {
    SetResult(m_openResult, std::nullopt);
    SetResult(m_detectionResult, std::nullopt);
}

STDMETHODIMP CCustomFileSourceFilter::GetCurFile(LPOLESTR* ppszFileName, AM_MEDIA_TYPE* pmt) {
    if (!ppszFileName)
        return E_POINTER;
    *ppszFileName = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        CAutoLock currentLock(&m_CurrentLock);
        const wchar_t* current = m_CurrentName.GetWide();
        if (!current || !*current)
            return E_FAIL;
        base::CTaskMem<wchar_t> name = base::TKFTaskMemDuplicate(current);
        if (!name)
            return E_OUTOFMEMORY;
        if (pmt) {
            if (const HRESULT hr = CopyMediaType(pmt, &m_mt); FAILED(hr))
                return hr;
        }
        *ppszFileName = name.Detach();
        return S_OK;
    });
}

// Leaves the former name in `name`.
void CCustomFileSourceFilter::SetCurrentName(CName& name) noexcept {
    CAutoLock currentLock(&m_CurrentLock);
    m_CurrentName.Swap(name);
}

// ---- The source as a stream

STDMETHODIMP CCustomFileSourceFilter::OpenStream(IStream* stream, const AM_MEDIA_TYPE* type) {
    if (!stream)
        return E_POINTER;
    return base::ComBoundary([&]() -> HRESULT {
        STATSTG stat{};
        // A stream that throws is one that has no name; as everywhere, its exception counts as its failure.
        const HRESULT hr = base::ComBoundary([&] { return stream->Stat(&stat, STATFLAG_DEFAULT); });
        const base::CTaskMem<wchar_t> given(SUCCEEDED(hr) ? stat.pwcsName : nullptr);
        const wchar_t* name = given && *given.Get() ? given.Get() : L"IStream : <no filename>";
        CName current;
        current.SetWide(name);
        SetCurrentName(current);
        TK_LOG(filter::kFilterLog, TKRuntimeLogger::kInfo, L"CCustomFileSourceFilter::OpenStream", L"Loading file : %s",
               framework::NameForLog(name).c_str());
        return SetSourceFileStream(stream, type);
    });
}

HRESULT CCustomFileSourceFilter::SetSourceFileStream(IStream* stream, const AM_MEDIA_TYPE* pmt) {
    constexpr auto kFunction = L"CCustomFileSourceFilter::SetSourceFileStream";
    TK_PROFILE(filter::kFilterLog, kFunction, L"");
    if (!stream)
        return E_POINTER;
    if (!m_pPin)
        return E_UNEXPECTED;
    ComPtr<framework::CReplayStream> replay;
    ComPtr<IStream> buffered;
    if (const HRESULT hr = Buffer(stream, !pmt, replay, buffered); FAILED(hr)) {
        TKRuntimeLogger::LogFailedCall(filter::kFilterLog, __LINE__, kFunction, hr,
                                       L"TKFCreateBufferedStream(pStream, &pBufferedStream)", &DescriptionOf);
        return hr;
    }
    SetResult(m_detectionResult, std::nullopt);
    // Whoever enumerates types is told of each change: detection may take seconds in between.
    const filter::COfferedTypes::List former = m_pPin->OfferedTypes().Clear();
    m_pPin->IncrementTypeVersion();
    const HRESULT offered =
        base::ComBoundary([&] { return pmt ? OfferType(*pmt) : OfferTypesOfContent(buffered.Get()); });
    if (replay)
        replay->EndKeeping();
    if (FAILED(offered))
        m_pPin->OfferedTypes().TakeBack(former);
    m_pPin->IncrementTypeVersion();
    if (FAILED(offered))
        return offered;
    return m_pPin->SetSourceFileStream(buffered.Get(), 0);
}

// The pin offers a byte stream whatever the caller's major type is; GetCurFile reports the caller's type unchanged.
HRESULT CCustomFileSourceFilter::OfferType(const AM_MEDIA_TYPE& type) {
    wchar_t subtype[39] = L"";
    ::StringFromGUID2(type.subtype, subtype, static_cast<int>(std::size(subtype)));
    TK_LOG(filter::kFilterLog, TKRuntimeLogger::kInfo, L"CCustomFileSourceFilter::SetSourceFileStream",
           L"Using MediaType set from outside. Subtype is %s", subtype);
    CMediaType copy;
    if (const HRESULT hr = copy.Set(type); FAILED(hr))
        return hr;
    Offer({{MEDIATYPE_Stream, type.subtype}}, copy);
    return S_OK;
}

// Content of no known type offers one pair of nulls and leaves m_mt as the source before it set it: GetCurFile then
// still reports that older type. Hosts rely on both.
HRESULT CCustomFileSourceFilter::OfferTypesOfContent(IStream* content) {
    Result result;
    std::vector<filter::OfferedType> types = filter::TypesOf(content, result);
    SetResult(m_detectionResult, result);
    if (types.empty()) {
        m_pPin->OfferedTypes().Offer(std::make_shared<const std::vector<filter::OfferedType>>(1));
        return S_OK;
    }
    CMediaType lastMatch = StreamType(types.back().subtype);
    Offer(std::move(types), lastMatch);
    return S_OK;
}

// Leaves the former current type in `current`, for the caller to free where no lock is held.
void CCustomFileSourceFilter::Offer(std::vector<filter::OfferedType> types, CMediaType& current) {
    auto list = std::make_shared<const std::vector<filter::OfferedType>>(std::move(types));
    {
        CAutoLock currentLock(&m_CurrentLock);
        m_mt.Swap(current);
    }
    m_pPin->OfferedTypes().Offer(std::move(list));
}

// ---- IDataFlowControl

STDMETHODIMP CCustomFileSourceFilter::EnableDataFlow() {
    if (!m_pPin)
        return E_UNEXPECTED;
    m_pPin->HaltEvent().Reset();
    m_pPin->FlowEvent().Set();
    return S_OK;
}

STDMETHODIMP CCustomFileSourceFilter::DisableDataFlow() {
    if (!m_pPin)
        return E_UNEXPECTED;
    m_pPin->FlowEvent().Reset();
    m_pPin->HaltEvent().Set();
    return S_OK;
}
