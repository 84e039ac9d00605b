// The source filter object.
//
// It owns one output pin, takes its source as a name (IFileSourceFilter::Load) or as an open stream
// (ITavelIStreamFileSource::OpenStream), and has names opened by its CStreamOpener. A new source replaces the old one
// at any time.
//
// Threads: any, from any apartment. Loads of names are done one at a time; OpenStream isn't kept apart from them.
// Lifetime: reference-counted. The last release waits for a load that is under way in the creation thread.
#pragma once

#include "TvFileSourceAsync.h"
#include "baseclasses/CBaseFilter.h"
#include "baseclasses/CCritSec.h"
#include "baseclasses/CMediaType.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
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
                                      public ITavelSourceOpenResult {
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

    // IFileSourceFilter

    // S_OK, or VFW_S_ESTIMATED when the source doesn't know its length.  E_POINTER: no name.  E_UNEXPECTED: the
    // creation thread is gone.  A name that can't be opened gives the failure to fetch a stream that isn't there;
    // GetOpenResult and the log have the reason. The name is what GetCurFile reports from then on, opened or not.
    STDMETHODIMP Load(LPCOLESTR pszFileName, const AM_MEDIA_TYPE* pmt) override;

    // The last name and the media type found for the last content of a known type.  E_FAIL: nothing has been loaded.
    // The caller frees the name (CoTaskMemFree) and the type's format block.
    STDMETHODIMP GetCurFile(LPOLESTR* ppszFileName, AM_MEDIA_TYPE* pmt) override;

    // IAMFilterMiscFlags
    STDMETHODIMP_(ULONG) GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_SOURCE; }

    // ITavelIStreamFileSource
    STDMETHODIMP OpenStream(IStream* stream, const AM_MEDIA_TYPE* type) override;

    // IDataFlowControl
    STDMETHODIMP EnableDataFlow() override;
    STDMETHODIMP DisableDataFlow() override;

    // ITavelSourceOpenResult
    STDMETHODIMP GetOpenResult(HRESULT* result) override;
    STDMETHODIMP GetDetectionResult(HRESULT* result) override;

    // Buffers `stream`, decides which media types the pin offers, and gives it to the pin. After a failure to
    // decide, the pin has its former source and types.
    // E_POINTER: no stream.  E_UNEXPECTED: no pin, because there was no memory for it when the filter was made; there
    // is nothing then that could offer types or take the stream.
    virtual HRESULT SetSourceFileStream(IStream* stream, const AM_MEDIA_TYPE* pmt);

private:
    using Result = std::optional<HRESULT>;
    void SetResult(Result& which, Result result) noexcept;
    [[nodiscard]] HRESULT GetResult(const Result& which, HRESULT* result) noexcept;
    void ForgetResults() noexcept;
    [[nodiscard]] HRESULT OpenName(framework::CParsedName name, IStream** stream) noexcept;
    HRESULT OfferType(const AM_MEDIA_TYPE& type);
    HRESULT OfferTypesOfContent(IStream* content);
    void Offer(std::vector<filter::OfferedType> types, CMediaType& current);
    using CName = CStringManager<CP_ACP>;
    void SetCurrentName(CName& name) noexcept;

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
};
