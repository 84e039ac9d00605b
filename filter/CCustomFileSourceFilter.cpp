#include "filter/CCustomFileSourceFilter.h"

#include "base/CTaskMem.h"
#include "base/ComBoundary.h"
#include "diagnostics/CDescriptions.h"
#include "filter/CCustomFileSourcePin.h"
#include "filter/FilterLog.h"
#include "filter/FilterSetup.h"
#include "filter/MediaTypeDecision.h"
#include "framework/streams/SourceControlOf.h"
#include "framework/streams/TKFStreams.h"
#include "framework/uri/NameForLog.h"

#include <uuids.h>
#include <vfwmsgs.h>
#include <wrl/client.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kFilterName[] = L"Tavel File Source (Async.)";

// All other fields are zero, including the two that the base classes set in a new type, for samples of one byte.
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

// Makes a read buffer over `stream`. If its content will be looked at, a stream in between keeps what is read. A source
// that can't seek, whether or not it knows its size, may give less in one piece than detecting its type takes. By then
// the read buffer has lost the first piece.
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
    : CBaseFilter(kFilterName, outer, &m_filterLock, CLSID_TvFileSourceAsync),
      m_diagnosticRegistration(filter::kFilterLog.category, this, L"TvFileSourceAsync filter") {
    m_pPin.reset(new (std::nothrow) CCustomFileSourcePin(phr, &m_filterLock, this));
    m_mt = StreamType(GUID_NULL);
    m_opener.Start();  // without its thread every Load fails, and OpenStream works
}

CCustomFileSourceFilter::~CCustomFileSourceFilter() {
    m_pPin.reset();
    m_opener.Stop();
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
    if (riid == __uuidof(ITavelSourceControl))
        return GetInterface(static_cast<ITavelSourceControl*>(this), ppv);
    if (riid == __uuidof(IAMOpenProgress))
        return GetInterface(static_cast<IAMOpenProgress*>(this), ppv);
    if (riid == __uuidof(IAMNetworkStatus) || riid == __uuidof(IDispatch))
        return GetInterface(static_cast<IAMNetworkStatus*>(this), ppv);
    return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

CBasePin* CCustomFileSourceFilter::GetPin(int n) {
    return n == 0 ? m_pPin.get() : nullptr;
}

const AMOVIESETUP_FILTER* CCustomFileSourceFilter::GetSetupData() {
    return &filter::kFilterSetup;
}

STDMETHODIMP CCustomFileSourceFilter::Stop() {
    if (m_pPin)
        m_pPin->Waits().EndWaits();
    return CBaseFilter::Stop();
}

STDMETHODIMP CCustomFileSourceFilter::Pause() {
    CAutoLock filterLock(&m_filterLock);
    const bool wasStopped = IsStopped();
    const HRESULT hr = CBaseFilter::Pause();
    if (m_pPin && wasStopped && !IsStopped())
        m_pPin->Waits().Resume();
    return hr;
}

// ---- The source by name

STDMETHODIMP CCustomFileSourceFilter::Load(LPCOLESTR pszFileName, const AM_MEDIA_TYPE* pmt) {
    return base::ComBoundary([&]() -> HRESULT {
        constexpr auto kFunction = L"CCustomFileSourceFilter::Load";
        TK_PROFILE(filter::kFilterLog, kFunction, L"");
        framework::CParsedName name;  // for the log, and for the creation thread
        const HRESULT parsed = base::ComBoundary([&] {
            name = framework::CParsedName(pszFileName);
            return S_OK;
        });
        if (SUCCEEDED(parsed))
            TK_LOG(filter::kFilterLog, TKRuntimeLogger::kInfo, kFunction, L"Loading: %s",
                   pszFileName ? framework::NameForLog(name).c_str() : L"<invalid filename>");
        else
            TKRuntimeLogger::LogFailedCall(filter::kFilterLog, __LINE__, kFunction, parsed,
                                           L"CTKFUri::Parse(pszFileName)");
        if (!pszFileName)
            return E_POINTER;
        CLoad load(m_loads, !(name.Uri() && name.Uri()->IsLocalFile()));
        if (!m_opener.IsRunning()) {
            ForgetResults(load);
            TK_LOG(filter::kFilterLog, TKRuntimeLogger::kFatal, kFunction,
                   L"The stream creation thread is not running!");
            return E_UNEXPECTED;
        }
        GiveUpFor(load);
        CAutoLock loadLock(&m_opener.LoadLock());
        // First: a load that fails before it opens the name must not leave an older load's results.
        ForgetResults(load);
        return FAILED(parsed) ? parsed : LoadName(load, std::move(name), pszFileName, pmt);
    });
}

// The loads before `load` end, as far as they wait for a network, and so do the reads that wait.
void CCustomFileSourceFilter::GiveUpFor(const CLoad& load) noexcept {
    m_loads.GiveUp(&load);
    m_opener.LookAgain();
    if (m_pPin)
        m_pPin->Waits().EndWaits();
}

HRESULT CCustomFileSourceFilter::LoadName(CLoad& load, framework::CParsedName name, LPCOLESTR text,
                                          const AM_MEDIA_TYPE* type) {
    CName current;  // made now: if memory runs out here, nothing has changed yet
    current.SetWide(text);
    ComPtr<IStream> stream;
    HRESULT hr = OpenName(load, std::move(name), &stream);
    if (SUCCEEDED(hr))
        hr = base::ComBoundary([&] { return SetSource(load, stream.Get(), type); });
    SetCurrentName(load, current);
    return hr;
}

// Has the creation thread open `name`. Fails when there is no stream.
HRESULT CCustomFileSourceFilter::OpenName(const CLoad& load, framework::CParsedName name, IStream** stream) noexcept {
    Result result;
    const HRESULT hr = m_opener.Open(std::move(name), load.IsGivenUp(), &result);
    SetResult(load, m_openResult, result);
    return FAILED(hr) ? hr : m_opener.Take(stream);
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
    CAutoLock currentLock(&m_currentLock);
    *result = which.value_or(E_UNEXPECTED);
    return which ? S_OK : E_UNEXPECTED;
}

void CCustomFileSourceFilter::SetResult(const CLoad& load, Result& which, Result result) noexcept {
    CAutoLock currentLock(&m_currentLock);
    if (load.IsToBeTold())
        which = result;
}

void CCustomFileSourceFilter::ForgetResults(const CLoad& load) noexcept {
    SetResult(load, m_openResult, std::nullopt);
    SetResult(load, m_detectionResult, std::nullopt);
}

STDMETHODIMP CCustomFileSourceFilter::GetCurFile(LPOLESTR* ppszFileName, AM_MEDIA_TYPE* pmt) {
    if (!ppszFileName)
        return E_POINTER;
    *ppszFileName = nullptr;
    return base::ComBoundary([&]() -> HRESULT {
        CAutoLock currentLock(&m_currentLock);
        const wchar_t* current = m_currentName.GetWide();
        if (!current || !*current)
            return E_FAIL;
        base::CTaskMem<wchar_t> name = base::TaskMemCopyOf(current);
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
void CCustomFileSourceFilter::SetCurrentName(const CLoad& load, CName& name) noexcept {
    CAutoLock currentLock(&m_currentLock);
    if (load.IsToBeTold())
        m_currentName.Swap(name);
}

// ---- The source as a stream

STDMETHODIMP CCustomFileSourceFilter::OpenStream(IStream* stream, const AM_MEDIA_TYPE* type) {
    if (!stream)
        return E_POINTER;
    return base::ComBoundary([&]() -> HRESULT {
        CLoad load(m_loads, framework::SourceControlOf(*stream) != nullptr);
        GiveUpFor(load);
        STATSTG stat{};
        // A stream that throws counts as having no name: an exception counts as a failure, as everywhere.
        const HRESULT hr = base::ComBoundary([&] { return stream->Stat(&stat, STATFLAG_DEFAULT); });
        const base::CTaskMem<wchar_t> given(SUCCEEDED(hr) ? stat.pwcsName : nullptr);
        const wchar_t* name = given && *given.Get() ? given.Get() : L"IStream : <no filename>";
        CName current;
        current.SetWide(name);
        SetCurrentName(load, current);
        TK_LOG(filter::kFilterLog, TKRuntimeLogger::kInfo, L"CCustomFileSourceFilter::OpenStream", L"Loading file : %s",
               framework::NameForLog(name).c_str());
        return SetSource(load, stream, type);
    });
}

HRESULT CCustomFileSourceFilter::SetSourceFileStream(IStream* stream, const AM_MEDIA_TYPE* pmt) {
    CLoad load(m_loads, stream && framework::SourceControlOf(*stream));
    GiveUpFor(load);
    return SetSource(load, stream, pmt);
}

HRESULT CCustomFileSourceFilter::SetSource(CLoad& load, IStream* stream, const AM_MEDIA_TYPE* pmt) {
    constexpr auto kFunction = L"CCustomFileSourceFilter::SetSourceFileStream";
    TK_PROFILE(filter::kFilterLog, kFunction, L"");
    if (!stream)
        return E_POINTER;
    if (!m_pPin)
        return E_UNEXPECTED;
    if (const HRESULT hr = load.BeginReading(framework::SourceControlOf(*stream)); FAILED(hr)) {
        SetResult(load, m_detectionResult, hr);
        return hr;
    }
    ComPtr<framework::CReplayStream> replay;
    ComPtr<IStream> buffered;
    if (const HRESULT hr = Buffer(stream, !pmt, replay, buffered); FAILED(hr)) {
        TKRuntimeLogger::LogFailedCall(filter::kFilterLog, __LINE__, kFunction, hr,
                                       L"TKFCreateBufferedStream(pStream, &pBufferedStream)", &DescriptionOf);
        return hr;
    }
    SetResult(load, m_detectionResult, std::nullopt);
    // Whoever enumerates types is told of each change: detection may take seconds in between.
    const filter::COfferedTypes::List former = m_pPin->OfferedTypes().Clear();
    m_pPin->IncrementTypeVersion();
    const HRESULT offered =
        base::ComBoundary([&] { return pmt ? OfferType(load, *pmt) : OfferTypesOfContent(load, buffered.Get()); });
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
HRESULT CCustomFileSourceFilter::OfferType(CLoad& load, const AM_MEDIA_TYPE& type) {
    wchar_t subtype[39] = L"";
    ::StringFromGUID2(type.subtype, subtype, static_cast<int>(std::size(subtype)));
    TK_LOG(filter::kFilterLog, TKRuntimeLogger::kInfo, L"CCustomFileSourceFilter::SetSourceFileStream",
           L"Using MediaType set from outside. Subtype is %s", subtype);
    CMediaType copy;
    if (const HRESULT hr = copy.Set(type); FAILED(hr))
        return hr;
    if (const HRESULT hr = load.BeginChanging(); FAILED(hr)) {
        SetResult(load, m_detectionResult, hr);
        return hr;
    }
    Offer({{MEDIATYPE_Stream, type.subtype}}, copy);
    return S_OK;
}

// Content of no known type offers one pair of nulls and leaves m_mt as the source before it set it: GetCurFile then
// still reports that older type. Hosts rely on both.
HRESULT CCustomFileSourceFilter::OfferTypesOfContent(CLoad& load, IStream* content) {
    Result result;
    std::vector<filter::OfferedType> types = filter::TypesOf(content, result);
    if (const HRESULT hr = load.BeginChanging(); FAILED(hr)) {
        SetResult(load, m_detectionResult, hr);
        return hr;
    }
    SetResult(load, m_detectionResult, result);
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
        CAutoLock currentLock(&m_currentLock);
        m_mt.Swap(current);
    }
    m_pPin->OfferedTypes().Offer(std::move(list));
}

// ---- IAMOpenProgress

STDMETHODIMP CCustomFileSourceFilter::QueryProgress(LONGLONG* pllTotal, LONGLONG* pllCurrent) {
    if (!pllTotal || !pllCurrent)
        return E_POINTER;
    *pllTotal = *pllCurrent = 0;
    return base::ComBoundary([&]() -> HRESULT {
        TKDS_SOURCE_STATUS status{};
        const HRESULT hr = GetSourceStatus(&status);
        if (hr == E_PENDING)
            return VFW_S_ESTIMATED;
        if (hr == E_NOINTERFACE)
            return m_pPin->Length(pllTotal, pllCurrent);
        if (FAILED(hr))
            return hr;
        constexpr MIDL_uhyper kMost = std::numeric_limits<LONGLONG>::max();
        *pllTotal = static_cast<LONGLONG>(std::min(status.length, kMost));
        *pllCurrent = static_cast<LONGLONG>(std::min(status.held, kMost));
        return status.length > kMost ? VFW_S_ESTIMATED : S_OK;
    });
}

STDMETHODIMP CCustomFileSourceFilter::AbortOperation() {
    m_loads.GiveUp();
    m_opener.LookAgain();
    if (m_pPin)
        m_pPin->Waits().Abort();
    return S_OK;
}

STDMETHODIMP CCustomFileSourceFilter::GetSourceControl(IUnknown** control) {
    if (!control)
        return E_POINTER;
    *control = m_pPin ? m_pPin->Waits().SourceControl().Detach() : nullptr;
    if (*control)
        return S_OK;
    return m_pPin && m_pPin->HasSource() ? E_NOINTERFACE : E_UNEXPECTED;
}

HRESULT CCustomFileSourceFilter::GetSourceStatus(TKDS_SOURCE_STATUS* status) {
    filter::CLoads::Control control;
    if (m_loads.IsWaiting(&control) && !control)
        return E_PENDING;
    if (!control && m_pPin)
        control = m_pPin->Waits().SourceControl();
    if (control)
        return base::ComBoundary([&] { return control->GetStatus(status); });
    return m_pPin && m_pPin->HasSource() ? E_NOINTERFACE : E_UNEXPECTED;
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
