#include "baseclasses/CBasePin.h"

#include "base/ComBoundary.h"
#include "baseclasses/CBaseFilter.h"
#include "baseclasses/CEnumMediaTypes.h"

#include <new>

using Microsoft::WRL::ComPtr;

namespace {

// Codes that say no more than "no"; any other is a reason worth reporting.
bool IsPlainRefusal(HRESULT hr) noexcept {
    return hr == E_FAIL || hr == E_INVALIDARG || hr == VFW_E_TYPE_NOT_ACCEPTED;
}

// The first attempt that failed for a reason of its own tells more than those after it.
void NoteReason(HRESULT& reason, HRESULT hr) noexcept {
    if (reason == VFW_E_NO_ACCEPTABLE_TYPES && !IsPlainRefusal(hr))
        reason = hr;
}

}  // namespace

CBasePin::CBasePin(const wchar_t* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* phr, const wchar_t* name,
                   PIN_DIRECTION direction) noexcept
    : CUnknown(objectName, nullptr),
      m_pLock(lock),
      m_pFilter(filter),
      m_direction(direction),
      m_name(base::TaskMemCopyOf(name ? name : L"")) {
    if (!m_name && phr)
        *phr = E_OUTOFMEMORY;
}

STDMETHODIMP CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == __uuidof(IPin))
        return GetInterface(static_cast<IPin*>(this), ppv);
    if (riid == __uuidof(IQualityControl))
        return GetInterface(static_cast<IQualityControl*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) CBasePin::NonDelegatingAddRef() {
    return m_pFilter->AddRef();
}

STDMETHODIMP_(ULONG) CBasePin::NonDelegatingRelease() {
    return m_pFilter->Release();
}

STDMETHODIMP CBasePin::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) {
    if (!receiver)
        return E_POINTER;
    CMediaType requested;
    if (type) {
        const HRESULT hr = requested.Set(*type);
        if (FAILED(hr))
            return hr;
    }
    const CAutoLock lock(m_pLock);
    const HRESULT hr = MayConnect();
    if (FAILED(hr))
        return hr;
    if (type && !requested.IsPartiallySpecified())
        return MakeConnection(receiver, requested, true);
    return base::ComBoundary([&] { return AgreeMediaType(receiver, type ? &requested : nullptr); });
}

STDMETHODIMP CBasePin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    if (!connector || !type)
        return E_POINTER;
    CMediaType proposed;
    if (const HRESULT hr = proposed.Set(*type); FAILED(hr))
        return hr;
    const CAutoLock lock(m_pLock);
    const HRESULT hr = MayConnect();
    return FAILED(hr) ? hr : MakeConnection(connector, proposed, false);
}

STDMETHODIMP CBasePin::Disconnect() {
    // The last release of the peer, which may end its whole filter, comes after the lock.
    ComPtr<IPin> peer;
    const CAutoLock lock(m_pLock);
    if (!IsStopped())
        return VFW_E_NOT_STOPPED;
    if (!m_connected)
        return S_FALSE;
    const HRESULT hr = base::ComBoundary([&] { return BreakConnect(); });
    if (FAILED(hr))
        return hr;
    peer = m_connected;
    SetConnection(nullptr);
    return S_OK;
}

HRESULT CBasePin::MayConnect() const noexcept {
    if (m_connected)
        return VFW_E_ALREADY_CONNECTED;
    return IsStopped() ? S_OK : VFW_E_NOT_STOPPED;
}

HRESULT CBasePin::AgreeMediaType(IPin* receiver, const CMediaType* partial) {
    HRESULT reason = VFW_E_NO_ACCEPTABLE_TYPES;
    for (const bool mine : {m_bTryMyTypesFirst, !m_bTryMyTypesFirst}) {
        // A receiver that fails may have written something that is no pointer.
        IEnumMediaTypes* answer = nullptr;
        const HRESULT asked = mine ? EnumMediaTypes(&answer) : receiver->EnumMediaTypes(&answer);
        if (FAILED(asked) || !answer)
            continue;
        ComPtr<IEnumMediaTypes> types;
        *types.GetAddressOf() = answer;
        const HRESULT hr = TryMediaTypes(receiver, partial, types.Get());
        if (SUCCEEDED(hr))
            return S_OK;
        NoteReason(reason, hr);
    }
    return reason;
}

HRESULT CBasePin::TryMediaTypes(IPin* receiver, const CMediaType* partial, IEnumMediaTypes* types) {
    HRESULT reason = VFW_E_NO_ACCEPTABLE_TYPES;
    if (const HRESULT hr = types->Reset(); FAILED(hr))
        return hr;
    for (;;) {
        AM_MEDIA_TYPE* next = nullptr;
        ULONG fetched = 0;  // only one is asked for, but some enumerators write the count without checking the pointer
        if (types->Next(1, &next, &fetched) != S_OK || !next)
            return reason;
        CMediaType type;
        const HRESULT copied = type.Set(*next);
        DeleteMediaType(next);
        if (FAILED(copied))
            return copied;
        if (partial && !type.MatchesPartial(partial))
            continue;
        const HRESULT connected = MakeConnection(receiver, type, true);
        if (SUCCEEDED(connected))
            return S_OK;
        NoteReason(reason, connected);
    }
}

HRESULT CBasePin::AcceptMediaType(const CMediaType& type) {
    const HRESULT hr = CheckMediaType(&type);
    if (hr == S_OK)
        return S_OK;
    return SUCCEEDED(hr) || IsPlainRefusal(hr) ? VFW_E_TYPE_NOT_ACCEPTED : hr;
}

HRESULT CBasePin::MakeConnection(IPin* peer, const CMediaType& type, bool initiator) {
    bool received = false;
    const HRESULT hr = base::ComBoundary([&] {
        if (const HRESULT result = CheckConnect(peer); FAILED(result))
            return result;
        if (const HRESULT result = AcceptMediaType(type); FAILED(result))
            return result;
        // Set before the peer is asked: the peer may want to know whom it is being connected to.
        SetConnection(peer);
        if (const HRESULT result = SetMediaType(&type); FAILED(result))
            return result;
        if (initiator) {
            if (const HRESULT result = peer->ReceiveConnection(this, &type); FAILED(result))
                return result;
            received = true;
        }
        return CompleteConnect(peer);
    });
    if (SUCCEEDED(hr))
        return S_OK;
    static_cast<void>(base::ComBoundary([&] { return received ? peer->Disconnect() : S_OK; }));
    static_cast<void>(base::ComBoundary([&] { return BreakConnect(); }));
    SetConnection(nullptr);
    return hr;
}

void CBasePin::SetConnection(IPin* peer) noexcept {
    // The former connection and type are released after the lock.
    ComPtr<IPin> connection = peer;
    CMediaType type;
    const CAutoLock lock(&m_connectionLock);
    m_connected.Swap(connection);
    if (!peer)
        m_type.Swap(type);
}

bool CBasePin::IsConnected() const noexcept {
    const CAutoLock lock(&m_connectionLock);
    return m_connected != nullptr;
}

bool CBasePin::IsStopped() const noexcept {
    return m_pFilter->IsStopped();
}

STDMETHODIMP CBasePin::ConnectedTo(IPin** pin) {
    if (!pin)
        return E_POINTER;
    const CAutoLock lock(&m_connectionLock);
    m_connected.CopyTo(pin);
    return *pin ? S_OK : VFW_E_NOT_CONNECTED;
}

STDMETHODIMP CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* type) {
    if (!type)
        return E_POINTER;
    const CAutoLock lock(&m_connectionLock);
    if (m_connected)
        return CopyMediaType(type, &m_type);
    *type = {};
    return VFW_E_NOT_CONNECTED;
}

STDMETHODIMP CBasePin::QueryPinInfo(PIN_INFO* info) {
    if (!info)
        return E_POINTER;
    info->pFilter = m_pFilter;
    info->pFilter->AddRef();
    info->dir = m_direction;
    ::lstrcpynW(info->achName, Name(), MAX_PIN_NAME);
    return S_OK;
}

STDMETHODIMP CBasePin::QueryDirection(PIN_DIRECTION* direction) {
    if (!direction)
        return E_POINTER;
    *direction = m_direction;
    return S_OK;
}

STDMETHODIMP CBasePin::QueryId(LPWSTR* id) {
    if (!id)
        return E_POINTER;
    *id = base::TaskMemCopyOf(Name()).Detach();
    return *id ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CBasePin::QueryAccept(const AM_MEDIA_TYPE* type) {
    if (!type)
        return E_POINTER;
    CMediaType proposed;
    const HRESULT hr = proposed.Set(*type);
    if (FAILED(hr))
        return hr;
    return CheckMediaType(&proposed) == S_OK ? S_OK : S_FALSE;
}

STDMETHODIMP CBasePin::EnumMediaTypes(IEnumMediaTypes** enumerator) {
    if (!enumerator)
        return E_POINTER;
    *enumerator = new (std::nothrow) CEnumMediaTypes(this);
    return *enumerator ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CBasePin::QueryInternalConnections(IPin**, ULONG*) {
    return E_NOTIMPL;
}

STDMETHODIMP CBasePin::EndOfStream() {
    return S_OK;
}

STDMETHODIMP CBasePin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    m_tStart = start;
    m_tStop = stop;
    m_dRate = rate;
    return S_OK;
}

STDMETHODIMP CBasePin::Notify(IBaseFilter*, Quality) {
    return E_NOTIMPL;
}

STDMETHODIMP CBasePin::SetSink(IQualityControl* sink) {
    const CAutoLock lock(m_pLock);
    m_pQSink = sink;
    return S_OK;
}

HRESULT CBasePin::CheckConnect(IPin* pin) {
    PIN_DIRECTION direction;
    const HRESULT hr = pin->QueryDirection(&direction);
    if (FAILED(hr))
        return hr;
    return direction == m_direction ? VFW_E_INVALID_DIRECTION : S_OK;
}

HRESULT CBasePin::BreakConnect() {
    return S_OK;
}

HRESULT CBasePin::CompleteConnect(IPin*) {
    return S_OK;
}

HRESULT CBasePin::SetMediaType(const CMediaType* type) {
    CMediaType copy;
    const HRESULT hr = copy.Set(*type);
    if (FAILED(hr))
        return hr;
    const CAutoLock lock(&m_connectionLock);
    m_type.Swap(copy);
    return S_OK;
}

HRESULT CBasePin::GetMediaType(int, CMediaType*) {
    return E_UNEXPECTED;
}

HRESULT CBasePin::Active() {
    return S_OK;
}

HRESULT CBasePin::Inactive() {
    return S_OK;
}

HRESULT CBasePin::Run(REFERENCE_TIME) {
    return S_OK;
}
