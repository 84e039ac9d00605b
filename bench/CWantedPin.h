// Stands in front of a source's output pin, as tvsource's counting pin does, and notes which bytes a parser has asked
// for, each once.
//
// Threads: as the pin behind it; Wanted any.  Lifetime: as tvsource's counting pin.
#pragma once

#include "base/CSlimLock.h"
#include "tvsource/CPinProxy.h"

#include <map>

namespace bench {

class CWantedPin final : public tvsource::CPinProxy, public IAsyncReader {
public:
    // `pin` and `reader` are two interfaces of the one pin that reads are passed on to.
    CWantedPin(IPin* pin, IAsyncReader* reader) noexcept : CPinProxy(pin), m_reader(reader) {}

    // How many bytes.
    [[nodiscard]] LONGLONG Wanted() const;

    // No further read reaches the source.
    void RefuseReads() noexcept { m_isRefusing = true; }

    // IUnknown: IPin and IAsyncReader.
    STDMETHODIMP QueryInterface(REFIID riid, void** object) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return CPinProxy::AddRef(); }
    STDMETHODIMP_(ULONG) Release() noexcept override { return CPinProxy::Release(); }

    // IPin
    STDMETHODIMP Connect(IPin* receiver, const AM_MEDIA_TYPE* type) noexcept override;
    STDMETHODIMP BeginFlush() noexcept override { return m_reader->BeginFlush(); }  // IAsyncReader's too
    STDMETHODIMP EndFlush() noexcept override { return m_reader->EndFlush(); }

    // IAsyncReader.  VFW_E_WRONG_STATE: reads are refused.
    STDMETHODIMP RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                  IMemAllocator** actual) noexcept override;
    STDMETHODIMP Request(IMediaSample* sample, DWORD_PTR user) noexcept override;
    STDMETHODIMP WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept override;
    STDMETHODIMP SyncReadAligned(IMediaSample* sample) noexcept override;
    STDMETHODIMP SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept override;
    STDMETHODIMP Length(LONGLONG* total, LONGLONG* available) noexcept override;

private:
    ~CWantedPin() override = default;

    void Note(LONGLONG begin, LONGLONG end) noexcept;
    void Note(IMediaSample* sample) noexcept;

    Microsoft::WRL::ComPtr<IAsyncReader> m_reader;
    std::atomic<bool> m_isRefusing{false};
    mutable base::CSlimLock m_lock;         // guards the next
    std::map<LONGLONG, LONGLONG> m_wanted;  // begin to end; may overlap
};

}  // namespace bench
