// Counts what a parser reads.
//
// Where a source doesn't know its length, some parsers look for its end, take each short read for a full one, and never
// stop. After kMostEmptyReads in a row of which nothing came, and kMostEmptyMs of these, reads fail until something
// comes again. (A parser that has read all of a short source may need that time to connect.) Only a source that tells
// what is here is watched in this way.
//
// Threads: as the pin behind it; the counts may be read at any time.  Lifetime: as CReaderProxy.
#pragma once

#include "TKDataServices.h"
#include "tvsource/graph/CReaderProxy.h"

#include <chrono>

namespace tvsource {

class CCountingPin final : public CReaderProxy {
public:
    struct Counts {
        // Calls of SyncRead, SyncReadAligned and Request, without those that failed because reads were refused.
        unsigned long long reads;
        unsigned long long bytes;      // that these asked for
        unsigned long long delivered;  // how many of those came; what a short SyncRead gave isn't counted
        unsigned underWay;             // calls of these that have not come back yet
        LONGLONG longestUs;            // how long a read took at most that gave something
        LONGLONG shortAt;              // where the last short or failed read began; 0: there was none
    };

    // `pin` and `reader` are two interfaces of the one pin that reads are passed on to. Neither may be null.
    // `control`: of the source, null if it has none.
    CCountingPin(IPin* pin, IAsyncReader* reader, ITKDSSourceControl* control) noexcept
        : CReaderProxy(pin, reader), m_control(control) {}

    // Reads have failed because a parser looked for an end that isn't known.
    [[nodiscard]] bool HasSoughtEnd() const noexcept { return m_hasSoughtEnd; }

    [[nodiscard]] Counts Read() const noexcept {
        return {m_reads, m_bytes, m_delivered, m_underWay, m_longestUs, m_shortAt};
    }

    // IAsyncReader.  HRESULT 0x80070026 (end of file): too many empty reads.
    STDMETHODIMP Request(IMediaSample* sample, DWORD_PTR user) noexcept override;
    STDMETHODIMP WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept override;
    STDMETHODIMP SyncReadAligned(IMediaSample* sample) noexcept override;
    STDMETHODIMP SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept override;

private:
    using Clock = std::chrono::steady_clock;

    static constexpr unsigned kMostEmptyReads = 100;
    static constexpr ULONGLONG kMostEmptyMs = 2'000;

    ~CCountingPin() override = default;

    [[nodiscard]] HRESULT CountShort(HRESULT hr, ReadSpan span) noexcept;
    [[nodiscard]] HRESULT AskSource(LONGLONG* total, LONGLONG* available) noexcept;
    void CountAsked(LONGLONG bytes) noexcept;
    void CountDelivered(LONG bytes, Clock::time_point since) noexcept;

    const Microsoft::WRL::ComPtr<ITKDSSourceControl> m_control;
    std::atomic<unsigned long long> m_reads{0};
    std::atomic<unsigned long long> m_bytes{0};
    std::atomic<unsigned long long> m_delivered{0};
    std::atomic<unsigned> m_underWay{0};
    std::atomic<LONGLONG> m_longestUs{0};
    std::atomic<LONGLONG> m_shortAt{0};
    std::atomic<unsigned> m_emptyReads{0};  // in a row
    std::atomic<ULONGLONG> m_emptySinceMs{0};
    std::atomic<bool> m_hasSoughtEnd{false};
};

}  // namespace tvsource
