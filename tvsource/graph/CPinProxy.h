// A pin that stands for another one and passes every call on to it. What derives from it changes single calls.
//
// Threads: as the pin behind it; the reference count is interlocked.  Lifetime: by reference count, which starts at
// one; holds a reference to the pin behind it.  Errors: those of the pin behind it.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <strmif.h>
#include <wrl/client.h>

#include <atomic>

namespace tvsource {

class CPinProxy : public IPin {
public:
    explicit CPinProxy(IPin* pin) noexcept : m_pin(pin) {}
    CPinProxy(const CPinProxy&) = delete;
    CPinProxy& operator=(const CPinProxy&) = delete;

    // IUnknown: IPin only. The pin behind has its own identity.
    STDMETHODIMP QueryInterface(REFIID riid, void** object) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override;
    STDMETHODIMP_(ULONG) Release() noexcept override;

    // IPin
    STDMETHODIMP Connect(IPin* receiver, const AM_MEDIA_TYPE* type) noexcept override;
    STDMETHODIMP ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) noexcept override;
    STDMETHODIMP Disconnect() noexcept override;
    STDMETHODIMP ConnectedTo(IPin** peer) noexcept override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* type) noexcept override;
    STDMETHODIMP QueryPinInfo(PIN_INFO* info) noexcept override;
    STDMETHODIMP QueryDirection(PIN_DIRECTION* direction) noexcept override;
    STDMETHODIMP QueryId(LPWSTR* id) noexcept override;
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) noexcept override;
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes** types) noexcept override;
    STDMETHODIMP QueryInternalConnections(IPin** pins, ULONG* count) noexcept override;
    STDMETHODIMP EndOfStream() noexcept override;
    STDMETHODIMP BeginFlush() noexcept override;
    STDMETHODIMP EndFlush() noexcept override;
    STDMETHODIMP NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept override;

protected:
    virtual ~CPinProxy() = default;

    [[nodiscard]] IPin* Pin() const noexcept { return m_pin.Get(); }

private:
    std::atomic<ULONG> m_references{1};
    Microsoft::WRL::ComPtr<IPin> m_pin;
};

}  // namespace tvsource
