// Records every call on the pin's IAsyncReader.
//
// Threads, errors: as the pin behind it.  Lifetime: as CReaderProxy; shares the recorder.
#pragma once

#include "tvsource/graph/CReaderProxy.h"
#include "tvsource/trace/CTraceRecorder.h"

#include <memory>
#include <optional>

namespace tvsource {

class CTracingPin final : public CReaderProxy {
public:
    // `pin` and `reader` as for CReaderProxy. `total`: the source's length, or empty if it isn't known.
    CTracingPin(IPin* pin, IAsyncReader* reader, std::optional<LONGLONG> total,
                std::shared_ptr<CTraceRecorder> recorder) noexcept
        : CReaderProxy(pin, reader), m_total(total), m_recorder(std::move(recorder)) {}

    // IAsyncReader
    STDMETHODIMP RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                  IMemAllocator** actual) noexcept override;
    STDMETHODIMP Request(IMediaSample* sample, DWORD_PTR user) noexcept override;
    STDMETHODIMP WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept override;
    STDMETHODIMP SyncReadAligned(IMediaSample* sample) noexcept override;
    STDMETHODIMP SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept override;
    STDMETHODIMP Length(LONGLONG* total, LONGLONG* available) noexcept override;

    // IAsyncReader and IPin
    STDMETHODIMP BeginFlush() noexcept override;
    STDMETHODIMP EndFlush() noexcept override;

private:
    ~CTracingPin() override = default;

    const std::optional<LONGLONG> m_total;
    const std::shared_ptr<CTraceRecorder> m_recorder;
};

}  // namespace tvsource
