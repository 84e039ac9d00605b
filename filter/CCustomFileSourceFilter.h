// The source filter object.
//
// It owns one output pin, takes its source as a name (IFileSourceFilter::Load) or as an open stream
// (ITavelIStreamFileSource::OpenStream), and has names opened by its CStreamOpener. A new source replaces the old one
// at any time. A load that waits for a network is given up for a newer one, and by AbortOperation;
// one of a local file, or of a stream without ITKDSSourceControl, is not.
//
// Threads: any, from any apartment. Loads of names are done one at a time; OpenStream isn't kept apart from them.
// Lifetime: reference-counted.
#pragma once

#include "TvFileSourceAsync.h"
#include "baseclasses/CBaseFilter.h"
#include "baseclasses/CCritSec.h"
#include "baseclasses/CMediaType.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "filter/CLoads.h"
#include "filter/CNetworkStatus.h"
#include "filter/COfferedTypes.h"
#include "filter/CStreamOpener.h"
#include "framework/com/CStringManager.h"

#include <windows.h>

#include <strmif.h>

#include <memory>
#include <optional>
#include <vector>

class CCustomFileSourcePin;

class CCustomFileSourceFilter final : public CBaseFilter,
                                      public IFileSourceFilter,
                                      public IAMFilterMiscFlags,
                                      public ITavelIStreamFileSource,
                                      public IDataFlowControl,
                                      public ITavelSourceOpenResult,
                                      public ITavelSourceControl,
                                      public IAMOpenProgress,
                                      public filter::CNetworkStatus {
public:
    // The class factory's creation function. Null when memory is out.
    // `*phr`, when given, becomes S_OK whenever there is an object, also when its constructor reported a failure: a
    // filter without its thread still takes open streams.
    static CUnknown* CALLBACK CreateInstance(LPUNKNOWN outer, HRESULT* phr) noexcept;

    CCustomFileSourceFilter(LPUNKNOWN outer, HRESULT* phr);
    ~CCustomFileSourceFilter() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // CBaseFilter
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override;
    const AMOVIESETUP_FILTER* GetSetupData() override;
    // IMediaFilter
    // Reads that wait for the network end first: they may be what the filter lock is held for.
    STDMETHODIMP Stop() override;
    // Ends what AbortOperation began, if the filter was stopped.
    STDMETHODIMP Pause() override;

    // IFileSourceFilter

    // S_OK, or VFW_S_ESTIMATED when the source doesn't know its length.  E_POINTER: no name.  E_UNEXPECTED: the
    // creation thread is gone.  E_ABORT: it was given up; the pin has its former source and types.  A name that can't
    // be opened gives the failure to fetch a stream that isn't there; GetOpenResult and the log have the reason. The
    // name is what GetCurFile reports from then on, opened or not, unless the load was given up for a newer one.
    STDMETHODIMP Load(LPCOLESTR pszFileName, const AM_MEDIA_TYPE* pmt) override;

    // The last name and the media type found for the last content of a known type.  E_FAIL: nothing has been loaded.
    // The caller frees the name (CoTaskMemFree) and the type's format block.
    STDMETHODIMP GetCurFile(LPOLESTR* ppszFileName, AM_MEDIA_TYPE* pmt) override;

    // IAMFilterMiscFlags
    STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_SOURCE; }

    // ITavelIStreamFileSource
    // As SetSourceFileStream. The stream's name is the current one from the start.
    STDMETHODIMP OpenStream(IStream* stream, const AM_MEDIA_TYPE* type) override;

    // IDataFlowControl
    STDMETHODIMP EnableDataFlow() override;
    STDMETHODIMP DisableDataFlow() override;

    // ITavelSourceOpenResult
    STDMETHODIMP GetOpenResult(HRESULT* result) override;
    STDMETHODIMP GetDetectionResult(HRESULT* result) override;

    // ITavelSourceControl
    STDMETHODIMP GetSourceControl(IUnknown** control) override;

    // IAMOpenProgress

    // The length of the source and how much of it is here: a load's that reads, else the pin's. A source that doesn't
    // tell what is here counts as being all here.
    // VFW_S_ESTIMATED: the length is unknown, and the total the largest there is; or, with 0 of 0, a name is being
    // opened.  E_UNEXPECTED: there is no source, and none is being opened.  Otherwise the source's failure.
    STDMETHODIMP QueryProgress(LONGLONG* pllTotal, LONGLONG* pllCurrent) override;
    // Ends the loads that wait, with E_ABORT, and the reads that wait and those that would, until the filter next
    // leaves the stopped state or gets a source. S_OK, also when there is nothing to end.
    STDMETHODIMP AbortOperation() override;

    // Buffers `stream`, decides which media types the pin offers, and gives it to the pin. After a failure to
    // decide, the pin has its former source and types.  E_ABORT: it was given up, likewise.
    // E_POINTER: no stream.  E_UNEXPECTED: no pin, because there was no memory for it when the filter was made; there
    // is nothing then that could offer types or take the stream.
    virtual HRESULT SetSourceFileStream(IStream* stream, const AM_MEDIA_TYPE* pmt);

private:
    using Result = std::optional<HRESULT>;
    using CLoad = filter::CLoads::CLoad;
    void GiveUpFor(const CLoad& load) noexcept;
    [[nodiscard]] HRESULT LoadName(CLoad& load, framework::CParsedName name, LPCOLESTR text, const AM_MEDIA_TYPE* type);
    [[nodiscard]] HRESULT SetSource(CLoad& load, IStream* stream, const AM_MEDIA_TYPE* type);
    void SetResult(const CLoad& load, Result& which, Result result) noexcept;
    [[nodiscard]] HRESULT GetResult(const Result& which, HRESULT* result) noexcept;
    void ForgetResults(const CLoad& load) noexcept;
    [[nodiscard]] HRESULT OpenName(const CLoad& load, framework::CParsedName name, IStream** stream) noexcept;
    HRESULT OfferType(CLoad& load, const AM_MEDIA_TYPE& type);
    HRESULT OfferTypesOfContent(CLoad& load, IStream* content);
    void Offer(std::vector<filter::OfferedType> types, CMediaType& current);
    using CName = CStringManager<CP_ACP>;
    void SetCurrentName(const CLoad& load, CName& name) noexcept;
    [[nodiscard]] HRESULT GetSourceStatus(TKDS_SOURCE_STATUS* status) override;

    // In the order of construction; the destructor's members go in reverse.
    std::unique_ptr<CCustomFileSourcePin> m_pPin;
    CCritSec m_filterLock;     // the state lock of filter and pin
    CName m_currentName;       // guarded by m_currentLock
    CMediaType m_mt;           // what GetCurFile reports; guarded by m_currentLock
    Result m_openResult;       // of the last name; guarded by m_currentLock
    Result m_detectionResult;  // of the last source; guarded by m_currentLock
    filter::CStreamOpener m_opener;
    TKRuntimeLogger::CDiagnosticRegistration m_diagnosticRegistration;
    CCritSec m_currentLock;  // a leaf: OpenStream and Load may set what another thread asks for
    filter::CLoads m_loads{m_currentLock};
};
