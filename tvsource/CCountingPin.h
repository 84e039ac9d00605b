// Counts what a parser reads. It stands in front of a source's output pin, and the graph connects it in that pin's
// place:
//
//   source pin  <->  receiver's stand-in (private to the source file)      the source negotiates and connects as ever
//   counting pin  <->  parser's input pin                                  the parser gets its IAsyncReader here
//
// Both connections are made by the source pin's own Connect, so nothing about the source's behaviour changes. The graph
// takes the counting pin for a pin of the source filter, because QueryPinInfo answers that filter.
//
// Where a source doesn't know its length, some parsers look for its end, take each short read for a full one, and never
// stop. After kMostEmptyReads in a row of which nothing came, and kMostEmptyMs of these, reads fail until something
// comes again. (A parser that has read all of a short source may need that time to connect.) Only a source that tells
// what is here is watched in this way.
//
// Threads: as the pin behind it; the counts may be read at any time.  Lifetime: a reference cycle holds parser, pins
// and source together while they are connected, as between any connected pins; removing the filters from the graph cuts
// it.
#pragma once

#include "TKDataServices.h"
#include "tvsource/CPinProxy.h"

namespace tvsource {

class CCountingPin final : public CPinProxy, public IAsyncReader {
public:
    struct Counts {
        unsigned long long reads;      // calls of SyncRead, SyncReadAligned and Request
        unsigned long long bytes;      // that these asked for
        unsigned long long delivered;  // how many of those came; what a short SyncRead gave isn't counted
        LONGLONG shortAt;              // where the last short or failed read began; 0: there was none
    };

    // `pin` and `reader` are two interfaces of the one pin that reads are passed on to. Neither may be null.
    // `control`: of the source, null if it has none.
    CCountingPin(IPin* pin, IAsyncReader* reader, ITKDSSourceControl* control) noexcept
        : CPinProxy(pin), m_reader(reader), m_control(control) {}

    // While reads are refused, none reaches the source: a parser that goes on after its source has failed keeps nobody
    // waiting.
    void RefuseReads(bool refuse) noexcept { m_refused = refuse; }

    // Reads have failed because a parser looked for an end that isn't known.
    [[nodiscard]] bool HasSoughtEnd() const noexcept { return m_hasSoughtEnd; }

    [[nodiscard]] Counts Read() const noexcept { return {m_reads, m_bytes, m_delivered, m_shortAt}; }

    // IUnknown: IPin and IAsyncReader.
    STDMETHODIMP QueryInterface(REFIID riid, void** object) noexcept override;
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return CPinProxy::AddRef(); }
    STDMETHODIMP_(ULONG) Release() noexcept override { return CPinProxy::Release(); }

    // IPin
    STDMETHODIMP Connect(IPin* receiver, const AM_MEDIA_TYPE* type) noexcept override;
    STDMETHODIMP BeginFlush() noexcept override;  // IAsyncReader's too
    STDMETHODIMP EndFlush() noexcept override;

    // IAsyncReader.  VFW_E_WRONG_STATE: reads are refused.  HRESULT 0x80070026 (end of file): too many empty ones.
    STDMETHODIMP RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                  IMemAllocator** actual) noexcept override;
    STDMETHODIMP Request(IMediaSample* sample, DWORD_PTR user) noexcept override;
    STDMETHODIMP WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept override;
    STDMETHODIMP SyncReadAligned(IMediaSample* sample) noexcept override;
    STDMETHODIMP SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept override;
    STDMETHODIMP Length(LONGLONG* total, LONGLONG* available) noexcept override;

private:
    static constexpr unsigned kMostEmptyReads = 100;
    static constexpr ULONGLONG kMostEmptyMs = 2'000;

    ~CCountingPin() override = default;

    [[nodiscard]] HRESULT CountShort(HRESULT hr, LONGLONG position) noexcept;
    void CountAsked(LONGLONG bytes) noexcept;
    void CountDelivered(LONG bytes) noexcept;

    Microsoft::WRL::ComPtr<IAsyncReader> m_reader;
    const Microsoft::WRL::ComPtr<ITKDSSourceControl> m_control;
    std::atomic<unsigned long long> m_reads{0};
    std::atomic<unsigned long long> m_bytes{0};
    std::atomic<unsigned long long> m_delivered{0};
    std::atomic<LONGLONG> m_shortAt{0};
    std::atomic<unsigned> m_emptyReads{0};  // in a row
    std::atomic<ULONGLONG> m_emptySinceMs{0};
    std::atomic<bool> m_hasSoughtEnd{false};
    std::atomic<bool> m_refused{false};
};

}  // namespace tvsource
