#include "baseclasses/CBaseFilter.h"

#include "base/ComBoundary.h"
#include "baseclasses/CBasePin.h"
#include "baseclasses/CEnumPins.h"

#include <evcode.h>

#include <cwchar>
#include <new>

using Microsoft::WRL::ComPtr;

CBaseFilter::CBaseFilter(const wchar_t* name, IUnknown* outer, CCritSec* lock, REFCLSID clsid, HRESULT*) noexcept
    : CUnknown(name, outer), m_pLock(lock), m_clsid(clsid) {}

STDMETHODIMP CBaseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == __uuidof(IBaseFilter) || riid == __uuidof(IMediaFilter) || riid == __uuidof(IPersist))
        return GetInterface(static_cast<IBaseFilter*>(this), ppv);
    if (riid == __uuidof(IAMovieSetup))
        return GetInterface(static_cast<IAMovieSetup*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseFilter::GetClassID(CLSID* clsid) {
    if (!clsid)
        return E_POINTER;
    *clsid = m_clsid;
    return S_OK;
}

template <class Tell>
HRESULT CBaseFilter::TellConnectedPins(bool stopAtFailure, Tell tell) {
    HRESULT result = S_OK;
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* const pin = GetPin(i);
        if (!pin || !pin->IsConnected())
            continue;
        const HRESULT hr = tell(*pin);
        if (FAILED(hr) && SUCCEEDED(result))
            result = hr;
        if (FAILED(result) && stopAtFailure)
            break;
    }
    return result;
}

STDMETHODIMP CBaseFilter::Stop() {
    const CAutoLock lock(m_pLock);
    HRESULT hr = S_OK;
    if (!IsStopped())
        hr = TellConnectedPins(false, [](CBasePin& pin) { return pin.Inactive(); });
    m_state = State_Stopped;
    return hr;
}

STDMETHODIMP CBaseFilter::Pause() {
    const CAutoLock lock(m_pLock);
    if (IsStopped()) {
        int activated = 0;
        const HRESULT hr = TellConnectedPins(true, [&activated](CBasePin& pin) {
            const HRESULT active = pin.Active();
            if (SUCCEEDED(active))
                ++activated;
            return active;
        });
        if (FAILED(hr)) {
            TellConnectedPins(false, [&activated](CBasePin& pin) { return activated-- > 0 ? pin.Inactive() : S_OK; });
            return hr;
        }
    }
    m_state = State_Paused;
    return S_OK;
}

STDMETHODIMP CBaseFilter::Run(REFERENCE_TIME start) {
    const CAutoLock lock(m_pLock);
    if (IsStopped()) {
        const HRESULT hr = Pause();
        if (FAILED(hr))
            return hr;
    }
    if (m_state != State_Running) {
        const HRESULT hr = TellConnectedPins(true, [start](CBasePin& pin) { return pin.Run(start); });
        if (FAILED(hr))
            return hr;
    }
    m_state = State_Running;
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetState(DWORD, FILTER_STATE* state) {
    if (!state)
        return E_POINTER;
    *state = m_state;
    return S_OK;
}

STDMETHODIMP CBaseFilter::SetSyncSource(IReferenceClock* clock) {
    // Declared before the lock, so that the old clock is released after it: that release may run any code.
    ComPtr<IReferenceClock> previous = clock;
    const CAutoLock lock(m_pLock);
    m_clock.Swap(previous);
    return S_OK;
}

STDMETHODIMP CBaseFilter::GetSyncSource(IReferenceClock** clock) {
    if (!clock)
        return E_POINTER;
    const CAutoLock lock(m_pLock);
    return m_clock.CopyTo(clock);
}

STDMETHODIMP CBaseFilter::EnumPins(IEnumPins** enumerator) {
    if (!enumerator)
        return E_POINTER;
    *enumerator = new (std::nothrow) CEnumPins(this);
    return *enumerator ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CBaseFilter::FindPin(LPCWSTR id, IPin** pin) {
    if (!pin)
        return E_POINTER;
    *pin = nullptr;
    if (!id)
        return E_POINTER;
    const CAutoLock lock(m_pLock);
    const int count = GetPinCount();
    for (int i = 0; i < count; ++i) {
        CBasePin* const candidate = GetPin(i);
        if (candidate && std::wcscmp(candidate->Name(), id) == 0) {
            candidate->AddRef();
            *pin = candidate;
            return S_OK;
        }
    }
    return VFW_E_NOT_FOUND;
}

STDMETHODIMP CBaseFilter::QueryFilterInfo(FILTER_INFO* info) {
    if (!info)
        return E_POINTER;
    const CAutoLock lock(&m_graphLock);
    ::lstrcpynW(info->achName, m_name, MAX_FILTER_NAME);
    info->pGraph = m_graph;
    if (info->pGraph)
        info->pGraph->AddRef();
    return S_OK;
}

STDMETHODIMP CBaseFilter::JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) {
    const CAutoLock lock(m_pLock);
    ComPtr<IMediaEventSink> sink;
    // A query that fails may have written something that is no pointer.
    void* answer = nullptr;
    if (graph &&
        SUCCEEDED(base::ComBoundary([&] { return graph->QueryInterface(__uuidof(IMediaEventSink), &answer); })))
        *sink.GetAddressOf() = static_cast<IMediaEventSink*>(answer);
    const CAutoLock graphLock(&m_graphLock);
    m_graph = graph;
    m_sink = sink.Get();
    ::lstrcpynW(m_name, name ? name : L"", MAX_FILTER_NAME);
    return S_OK;
}

STDMETHODIMP CBaseFilter::QueryVendorInfo(LPWSTR* vendorInfo) {
    if (vendorInfo)
        *vendorInfo = nullptr;
    return E_NOTIMPL;
}

STDMETHODIMP CBaseFilter::Register() {
    const AMOVIESETUP_FILTER* const setup = GetSetupData();
    return setup ? AMovieSetupFilter(*setup, TRUE) : S_FALSE;
}

STDMETHODIMP CBaseFilter::Unregister() {
    const AMOVIESETUP_FILTER* const setup = GetSetupData();
    return setup ? AMovieSetupFilter(*setup, FALSE) : S_FALSE;
}

const AMOVIESETUP_FILTER* CBaseFilter::GetSetupData() {
    return nullptr;
}

HRESULT CBaseFilter::NotifyEvent(long code, LONG_PTR parameter1, LONG_PTR parameter2) {
    // No lock and no reference: the pins call this from reading threads, which must not wait for a change of state, and
    // a graph that is being torn down can't be counted.
    IMediaEventSink* const sink = m_sink;
    if (!sink)
        return E_NOTIMPL;
    if (code == EC_COMPLETE)
        parameter2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
    return sink->Notify(code, parameter1, parameter2);
}
