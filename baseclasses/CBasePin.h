// Base of a pin: how two pins agree on a media type, connect and part.
//
// A pin derives from it and overrides CheckMediaType(), for the types that it accepts, GetMediaType(), for the list of
// types that it prefers, BeginFlush() and EndFlush(). Where that list changes, it calls IncrementTypeVersion().
//
// Lifetime: the filter's. The filter makes and deletes its pins; a reference to a pin counts as one to the filter.
// Threads: any. Connecting and parting happen under the filter's lock, and so do CheckConnect(), CompleteConnect(),
// BreakConnect() and SetMediaType(). Questions about the connection don't take it, so that a parser's threads may ask
// them while the graph connects.
// Errors: overrides let no exception out.
#pragma once

#include "base/CTaskMem.h"
#include "baseclasses/CAutoLock.h"
#include "baseclasses/CMediaType.h"
#include "baseclasses/CUnknown.h"
#include "baseclasses/DirectShow.h"

#include <wrl/client.h>

#include <atomic>

class CBaseFilter;

class CBasePin : public CUnknown, public IPin, public IQualityControl {
public:
    // `filter` and `lock`, which are not null, outlive the pin. `name` is what QueryId and FindPin go by; it is copied,
    // and E_OUTOFMEMORY written to `*phr` if it can't be. `phr` may be null.
    CBasePin(const wchar_t* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* phr, const wchar_t* name,
             PIN_DIRECTION direction) noexcept;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) NonDelegatingAddRef() override;
    STDMETHODIMP_(ULONG) NonDelegatingRelease() override;

    // IPin
    // With a complete `type` only that one is tried. Otherwise the types of the receiver's list are tried, then those
    // of this pin's own list (this pin's first if m_bTryMyTypesFirst), but only types that agree with `type` as far as
    // it goes.
    // VFW_E_ALREADY_CONNECTED; VFW_E_NOT_STOPPED; VFW_E_INVALID_DIRECTION: both pins point the same way.
    // VFW_E_NO_ACCEPTABLE_TYPES: no type of the lists would do, and no attempt gave a more telling reason.
    // VFW_E_TYPE_NOT_ACCEPTED: this pin refuses the one type that was to be tried.
    // After any failure the pin is as it was before.
    STDMETHODIMP Connect(IPin* receiver, const AM_MEDIA_TYPE* type) override;
    // Failures as for Connect.
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    // S_FALSE: there was no connection.  VFW_E_NOT_STOPPED.
    STDMETHODIMP Disconnect() override;
    // VFW_E_NOT_CONNECTED, and null.
    STDMETHODIMP ConnectedTo(IPin** pin) override;
    // VFW_E_NOT_CONNECTED, and a type that is empty.
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* type) override;
    // A name that is longer than PIN_INFO has room for is cut off.
    STDMETHODIMP QueryPinInfo(PIN_INFO* info) override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* direction) override;
    STDMETHODIMP QueryId(LPWSTR* id) override;
    // S_FALSE: the type is refused, for whatever reason.
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** enumerator) override;
    // E_NOTIMPL: every input leads to every output.
    STDMETHODIMP QueryInternalConnections(IPin** pins, ULONG* count) override;
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override = 0;
    STDMETHODIMP EndFlush() override = 0;
    // Times in 100 ns.
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    // IQualityControl
    // E_NOTIMPL: a pin that can adapt its quality overrides this.
    STDMETHODIMP Notify(IBaseFilter* self, Quality quality) override;
    // The sink is not counted.
    STDMETHODIMP SetSink(IQualityControl* sink) override;

    // May this pin be connected to `pin`? VFW_E_INVALID_DIRECTION: both point the same way. What an override acquires
    // here it gives back in BreakConnect().
    virtual HRESULT CheckConnect(IPin* pin);
    // The connection is parted, or an attempt failed: called once for each CheckConnect(), even one that failed.
    virtual HRESULT BreakConnect();
    // The type is agreed upon; a failure undoes the connection.
    virtual HRESULT CompleteConnect(IPin* receiver);
    // S_OK: this pin accepts `type`. Anything else refuses it, success codes included.
    virtual HRESULT CheckMediaType(const CMediaType* type) = 0;
    // `type` is the connection's from now on.
    virtual HRESULT SetMediaType(const CMediaType* type);
    // Writes the preferred type number `position`, counted from 0, to `*type`, which is empty before.
    // VFW_S_NO_MORE_ITEMS: the list ends before it.  E_UNEXPECTED: this pin has no list.
    virtual HRESULT GetMediaType(int position, CMediaType* type);

    // The filter's change of state: out of stopped, back to stopped, and into running (`start` as for the filter).
    virtual HRESULT Active();
    virtual HRESULT Inactive();
    virtual HRESULT Run(REFERENCE_TIME start);

    // Changes whenever the types that were enumerated are no longer the pin's types.
    [[nodiscard]] LONG GetMediaTypeVersion() const noexcept { return m_typeVersion; }
    void IncrementTypeVersion() noexcept { ++m_typeVersion; }

    [[nodiscard]] bool IsConnected() const noexcept;
    // Whether the pin's filter is stopped.
    [[nodiscard]] bool IsStopped() const noexcept;
    [[nodiscard]] const wchar_t* Name() const noexcept { return m_name ? m_name.Get() : L""; }

protected:
    // The filter's lock.
    CCritSec* const m_pLock;
    CBaseFilter* const m_pFilter;
    bool m_bTryMyTypesFirst = false;
    // Not counted.
    IQualityControl* m_pQSink = nullptr;
    // The last segment that was announced.
    REFERENCE_TIME m_tStart = 0;
    REFERENCE_TIME m_tStop = MAXLONGLONG;
    double m_dRate = 1.0;

private:
    // S_OK: the pin is free and the filter stopped.
    [[nodiscard]] HRESULT MayConnect() const noexcept;
    [[nodiscard]] HRESULT AgreeMediaType(IPin* receiver, const CMediaType* partial);
    [[nodiscard]] HRESULT TryMediaTypes(IPin* receiver, const CMediaType* partial, IEnumMediaTypes* types);
    [[nodiscard]] HRESULT AcceptMediaType(const CMediaType& type);
    // Connects this end to `peer`; an initiator also asks the peer to receive the connection.
    [[nodiscard]] HRESULT MakeConnection(IPin* peer, const CMediaType& type, bool initiator);
    // Null: there is no connection, and so no media type.
    void SetConnection(IPin* peer) noexcept;

    const PIN_DIRECTION m_direction;
    base::CTaskMem<wchar_t> m_name;
    std::atomic<LONG> m_typeVersion{1};
    // Guards the two members below. Taken last, and held only to copy or replace them; they change only while the
    // filter's lock is held, too.
    mutable CCritSec m_connectionLock;
    Microsoft::WRL::ComPtr<IPin> m_connected;
    CMediaType m_type;
};
