// Stands in front of a source's output pin, and the graph connects it in that pin's place:
//
//   source pin  <->  receiver's stand-in (private to the source file)      the source negotiates and connects as ever
//   reader proxy  <->  parser's input pin                                  the parser gets its IAsyncReader here
//
// Both connections are made by the source pin's own Connect, so nothing about the source's behaviour changes. The graph
// takes the proxy for a pin of the source filter, because QueryPinInfo answers that filter. What derives from it looks
// at the reads.
//
// Threads: as the pin behind it.  Lifetime: a reference cycle holds parser, pins and source together while they are
// connected, as between any connected pins; removing the filters from the graph cuts it.
#pragma once

#include "tvsource/graph/CPinProxy.h"

namespace tvsource {

// The bytes that a sample is to be filled with.
struct ReadSpan {
    LONGLONG start = 0, length = 0;
};

// Nothing if the sample has no time.
[[nodiscard]] ReadSpan SpanOf(IMediaSample* sample) noexcept;

class CReaderProxy : public CPinProxy, public IAsyncReader {
public:
    // `pin` and `reader` are two interfaces of the one pin that reads are passed on to. Neither may be null.
    CReaderProxy(IPin* pin, IAsyncReader* reader) noexcept : CPinProxy(pin), m_reader(reader) {}

    // While reads are refused, none reaches the source: a parser that goes on after its source has failed keeps nobody
    // waiting.
    void RefuseReads(bool refuse) noexcept { m_refused = refuse; }

    // A source that offers no type (nothing but GUID_NULL) is shown to parsers as a stream of any subtype.
    void OfferAnyForNone() noexcept { m_isAnyForNone = true; }

    // IUnknown: IPin and IAsyncReader.
    STDMETHODIMP QueryInterface(REFIID riid, void** object) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return CPinProxy::AddRef(); }
    STDMETHODIMP_(ULONG) Release() noexcept override { return CPinProxy::Release(); }

    // IPin
    STDMETHODIMP Connect(IPin* receiver, const AM_MEDIA_TYPE* type) noexcept override;
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE* type) noexcept override;
    STDMETHODIMP BeginFlush() noexcept override;  // IAsyncReader's too
    STDMETHODIMP EndFlush() noexcept override;

    // IAsyncReader.  VFW_E_WRONG_STATE: reads are refused.
    STDMETHODIMP RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                  IMemAllocator** actual) noexcept override;
    STDMETHODIMP Request(IMediaSample* sample, DWORD_PTR user) noexcept override;
    STDMETHODIMP WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept override;
    STDMETHODIMP SyncReadAligned(IMediaSample* sample) noexcept override;
    STDMETHODIMP SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept override;
    STDMETHODIMP Length(LONGLONG* total, LONGLONG* available) noexcept override;

protected:
    ~CReaderProxy() override = default;

    [[nodiscard]] bool RefusesReads() const noexcept { return m_refused; }

private:
    const Microsoft::WRL::ComPtr<IAsyncReader> m_reader;
    std::atomic<bool> m_refused{false};
    std::atomic<bool> m_isAnyForNone{false};
};

}  // namespace tvsource
