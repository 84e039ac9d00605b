#include "tvsource/trace/CTracingPin.h"

#include <algorithm>

namespace tvsource {

namespace {

// `work` makes the call; `tell` completes the record of it and gives the bytes that came.
template <class Work, class Tell>
HRESULT Record(CTraceRecorder& recorder, TraceCall call, Work&& work, Tell&& tell) noexcept {
    const CTraceRecorder::Start start = recorder.Begin();
    const HRESULT hr = work();
    call.result = hr;
    const BYTE* const bytes = tell(call);
    recorder.End(start, call, bytes);
    return hr;
}

const BYTE* NoBytes(TraceCall&) noexcept {
    return nullptr;
}

TraceCall CallWithSample(CallKind kind, IMediaSample* sample) noexcept {
    const ReadSpan span = SpanOf(sample);
    return {.kind = kind, .position = span.start, .length = span.length};
}

const BYTE* BytesOf(IMediaSample* sample, TraceCall& call) noexcept {
    BYTE* bytes = nullptr;
    if (FAILED(call.result) || !sample || FAILED(sample->GetPointer(&bytes)))
        return nullptr;
    call.bytes = std::max(sample->GetActualDataLength(), 0L);
    return bytes;
}

}  // namespace

STDMETHODIMP CTracingPin::RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                           IMemAllocator** actual) noexcept {
    const ALLOCATOR_PROPERTIES asked = properties ? *properties : ALLOCATOR_PROPERTIES{};
    const TraceCall call{.kind = CallKind::RequestAllocator,
                         .preferred = preferred != nullptr,
                         .buffers = asked.cBuffers,
                         .size = asked.cbBuffer,
                         .align = asked.cbAlign,
                         .prefix = asked.cbPrefix};
    return Record(
        *m_recorder, call, [&] { return CReaderProxy::RequestAllocator(preferred, properties, actual); }, NoBytes);
}

STDMETHODIMP CTracingPin::Request(IMediaSample* sample, DWORD_PTR user) noexcept {
    return Record(
        *m_recorder, CallWithSample(CallKind::Request, sample), [&] { return CReaderProxy::Request(sample, user); },
        NoBytes);
}

STDMETHODIMP CTracingPin::WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept {
    return Record(
        *m_recorder, {.kind = CallKind::WaitForNext, .timeoutMs = timeoutMs},
        [&] { return CReaderProxy::WaitForNext(timeoutMs, sample, user); },
        [&](TraceCall& call) -> const BYTE* {
            if (FAILED(call.result) || !sample)
                return nullptr;
            const ReadSpan span = SpanOf(*sample);
            call.position = span.start;
            call.length = span.length;
            return BytesOf(*sample, call);
        });
}

STDMETHODIMP CTracingPin::SyncReadAligned(IMediaSample* sample) noexcept {
    return Record(
        *m_recorder, CallWithSample(CallKind::SyncReadAligned, sample),
        [&] { return CReaderProxy::SyncReadAligned(sample); }, [&](TraceCall& call) { return BytesOf(sample, call); });
}

STDMETHODIMP CTracingPin::SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept {
    return Record(
        *m_recorder, {.kind = CallKind::SyncRead, .position = position, .length = length},
        [&] { return CReaderProxy::SyncRead(position, length, buffer); },
        [&](TraceCall& call) {
            call.bytes = BytesOfSyncRead(call.result, position, length, m_total);
            return buffer;
        });
}

STDMETHODIMP CTracingPin::Length(LONGLONG* total, LONGLONG* available) noexcept {
    return Record(
        *m_recorder, {.kind = CallKind::Length}, [&] { return CReaderProxy::Length(total, available); },
        [&](TraceCall& call) -> const BYTE* {
            if (SUCCEEDED(call.result) && total && available) {
                call.total = *total;
                call.available = *available;
            }
            return nullptr;
        });
}

STDMETHODIMP CTracingPin::BeginFlush() noexcept {
    return Record(
        *m_recorder, {.kind = CallKind::BeginFlush}, [&] { return CReaderProxy::BeginFlush(); }, NoBytes);
}

STDMETHODIMP CTracingPin::EndFlush() noexcept {
    return Record(
        *m_recorder, {.kind = CallKind::EndFlush}, [&] { return CReaderProxy::EndFlush(); }, NoBytes);
}

}  // namespace tvsource
