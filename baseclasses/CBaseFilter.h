// Base of a filter: its state, its clock, its place in the graph, and the enumeration of its pins.
//
// A filter derives from it, makes its pins, and overrides GetPinCount() and GetPin(). Where the number or identity of
// the pins changes, it calls IncrementPinVersion().
//
// Threads: any. The filter's lock, which the derived class owns, guards state and clock, and is held while the pins are
// told of a change of state. The pins connect under the same lock. NotifyEvent() and QueryFilterInfo() don't take it,
// so that reading threads may call them meanwhile. Lifetime: counted. The filter doesn't count the graph, because the
// graph counts the filter. Errors: overrides let no exception out.
#pragma once

#include "baseclasses/AMovieSetup.h"
#include "baseclasses/CAutoLock.h"
#include "baseclasses/CUnknown.h"
#include "baseclasses/DirectShow.h"

#include <wrl/client.h>

#include <atomic>

class CBasePin;

class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup {
public:
    // `lock` is not null and outlives the filter. Nothing here fails, so `*phr` is left alone.
    CBaseFilter(const wchar_t* name, IUnknown* outer, CCritSec* lock, REFCLSID clsid, HRESULT* phr = nullptr) noexcept;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    // IPersist
    STDMETHODIMP GetClassID(CLSID* clsid) override;

    // IMediaFilter
    // Each tells every connected pin. The first failure of a pin is the result; Stop goes on to the other pins and
    // stops the filter all the same, Pause takes back what it began, and Run stays where it is.
    STDMETHODIMP Stop() override;
    STDMETHODIMP Pause() override;
    // A stopped filter is paused first. `start`: stream time 0 on the clock, in 100 ns.
    STDMETHODIMP Run(REFERENCE_TIME start) override;
    // Changes of state are complete when they return, so this never waits.
    STDMETHODIMP GetState(DWORD timeoutMs, FILTER_STATE* state) override;
    STDMETHODIMP SetSyncSource(IReferenceClock* clock) override;
    // Without a clock the result is S_OK and null.
    STDMETHODIMP GetSyncSource(IReferenceClock** clock) override;

    // IBaseFilter
    STDMETHODIMP EnumPins(IEnumPins** enumerator) override;
    // VFW_E_NOT_FOUND: no pin has this name.
    STDMETHODIMP FindPin(LPCWSTR id, IPin** pin) override;
    // A name that is longer than FILTER_INFO has room for is cut off.
    STDMETHODIMP QueryFilterInfo(FILTER_INFO* info) override;
    // A null `graph` means that the filter leaves its graph.
    STDMETHODIMP JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
    STDMETHODIMP QueryVendorInfo(LPWSTR* vendorInfo) override;

    // IAMovieSetup
    // S_FALSE: the filter has no setup record.
    STDMETHODIMP Register() override;
    STDMETHODIMP Unregister() override;

    [[nodiscard]] virtual int GetPinCount() = 0;
    // No reference is added. Null: there is no pin `n`, counted from 0.
    [[nodiscard]] virtual CBasePin* GetPin(int n) = 0;
    // What Register() registers; null: nothing.
    [[nodiscard]] virtual const AMOVIESETUP_FILTER* GetSetupData();

    [[nodiscard]] bool IsStopped() const noexcept { return m_state == State_Stopped; }

    // Sends an event to the graph. EC_COMPLETE passes this filter as its second parameter.
    // E_NOTIMPL: the filter is in no graph, or the graph takes no events.
    HRESULT NotifyEvent(long code, LONG_PTR parameter1, LONG_PTR parameter2);

    // Changes whenever the pins that were enumerated are no longer the filter's pins.
    [[nodiscard]] LONG GetPinVersion() const noexcept { return m_pinVersion; }
    void IncrementPinVersion() noexcept { ++m_pinVersion; }

protected:
    CCritSec* const m_pLock;

private:
    // Calls `tell` for each connected pin: for all of them, or up to the first failure. The first failure is the
    // result.
    template <class Tell>
    HRESULT TellConnectedPins(bool stopAtFailure, Tell tell);

    const CLSID m_clsid;
    // Written under the filter's lock.
    std::atomic<FILTER_STATE> m_state{State_Stopped};
    Microsoft::WRL::ComPtr<IReferenceClock> m_clock;
    // Guards the two members below. Taken last; they change only while the filter's lock is held, too.
    CCritSec m_graphLock;
    WCHAR m_name[MAX_FILTER_NAME]{};
    // Not counted: the graph takes itself out before it dies.
    IFilterGraph* m_graph = nullptr;
    std::atomic<IMediaEventSink*> m_sink{nullptr};
    std::atomic<LONG> m_pinVersion{1};
};
