#include "tvsource/graph/CPinProxy.h"

namespace tvsource {

STDMETHODIMP CPinProxy::QueryInterface(REFIID riid, void** object) noexcept {
    if (!object)
        return E_POINTER;
    *object = nullptr;
    if (riid != __uuidof(IUnknown) && riid != __uuidof(IPin))
        return E_NOINTERFACE;
    *object = static_cast<IPin*>(this);
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) CPinProxy::AddRef() noexcept {
    return ++m_references;
}

STDMETHODIMP_(ULONG) CPinProxy::Release() noexcept {
    const ULONG left = --m_references;
    if (left == 0)
        delete this;
    return left;
}

STDMETHODIMP CPinProxy::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) noexcept {
    return m_pin->Connect(receiver, type);
}

STDMETHODIMP CPinProxy::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) noexcept {
    return m_pin->ReceiveConnection(connector, type);
}

STDMETHODIMP CPinProxy::Disconnect() noexcept {
    return m_pin->Disconnect();
}

STDMETHODIMP CPinProxy::ConnectedTo(IPin** peer) noexcept {
    return m_pin->ConnectedTo(peer);
}

STDMETHODIMP CPinProxy::ConnectionMediaType(AM_MEDIA_TYPE* type) noexcept {
    return m_pin->ConnectionMediaType(type);
}

STDMETHODIMP CPinProxy::QueryPinInfo(PIN_INFO* info) noexcept {
    return m_pin->QueryPinInfo(info);
}

STDMETHODIMP CPinProxy::QueryDirection(PIN_DIRECTION* direction) noexcept {
    return m_pin->QueryDirection(direction);
}

STDMETHODIMP CPinProxy::QueryId(LPWSTR* id) noexcept {
    return m_pin->QueryId(id);
}

STDMETHODIMP CPinProxy::QueryAccept(const AM_MEDIA_TYPE* type) noexcept {
    return m_pin->QueryAccept(type);
}

STDMETHODIMP CPinProxy::EnumMediaTypes(IEnumMediaTypes** types) noexcept {
    return m_pin->EnumMediaTypes(types);
}

STDMETHODIMP CPinProxy::QueryInternalConnections(IPin** pins, ULONG* count) noexcept {
    return m_pin->QueryInternalConnections(pins, count);
}

STDMETHODIMP CPinProxy::EndOfStream() noexcept {
    return m_pin->EndOfStream();
}

STDMETHODIMP CPinProxy::BeginFlush() noexcept {
    return m_pin->BeginFlush();
}

STDMETHODIMP CPinProxy::EndFlush() noexcept {
    return m_pin->EndFlush();
}

STDMETHODIMP CPinProxy::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept {
    return m_pin->NewSegment(start, stop, rate);
}

}  // namespace tvsource
