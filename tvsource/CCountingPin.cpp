#include "tvsource/CCountingPin.h"

#include "baseclasses/SampleTimes.h"

#include <vfwmsgs.h>

#include <new>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

// The parser's input pin as the source sees it. It shows the parser the counting pin in place of the source's pin.
class CReceiverStandIn final : public CPinProxy {
public:
    CReceiverStandIn(IPin* receiver, IPin* countingPin) noexcept : CPinProxy(receiver), m_countingPin(countingPin) {}

    STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE* type) noexcept override {
        return Pin()->ReceiveConnection(m_countingPin.Get(), type);
    }

private:
    ~CReceiverStandIn() override = default;

    ComPtr<IPin> m_countingPin;
};

struct Span {
    LONGLONG start = 0, length = 0;  // in bytes
};

Span SpanOf(IMediaSample* sample) noexcept {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    if (!sample || FAILED(sample->GetTime(&start, &stop)))
        return {};
    return {start / kSampleTimeUnitsPerByte, stop / kSampleTimeUnitsPerByte - start / kSampleTimeUnitsPerByte};
}

}  // namespace

STDMETHODIMP CCountingPin::QueryInterface(REFIID riid, void** object) noexcept {
    if (object && riid == __uuidof(IAsyncReader)) {
        *object = static_cast<IAsyncReader*>(this);
        AddRef();
        return S_OK;
    }
    return CPinProxy::QueryInterface(riid, object);
}

STDMETHODIMP CCountingPin::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) noexcept {
    if (!receiver)
        return E_POINTER;
    ComPtr<IPin> standIn;
    *standIn.GetAddressOf() = new (std::nothrow) CReceiverStandIn(receiver, this);
    return standIn ? Pin()->Connect(standIn.Get(), type) : E_OUTOFMEMORY;
}

STDMETHODIMP CCountingPin::BeginFlush() noexcept {
    return m_reader->BeginFlush();
}

STDMETHODIMP CCountingPin::EndFlush() noexcept {
    return m_reader->EndFlush();
}

STDMETHODIMP CCountingPin::RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                            IMemAllocator** actual) noexcept {
    return m_reader->RequestAllocator(preferred, properties, actual);
}

STDMETHODIMP CCountingPin::Request(IMediaSample* sample, DWORD_PTR user) noexcept {
    if (m_refused)
        return VFW_E_WRONG_STATE;
    const Span span = SpanOf(sample);
    CountAsked(span.length);
    return CountShort(m_reader->Request(sample, user), span.start);
}

STDMETHODIMP CCountingPin::WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept {
    const HRESULT hr = m_reader->WaitForNext(timeoutMs, sample, user);
    if (SUCCEEDED(hr) && *sample)
        CountDelivered((*sample)->GetActualDataLength());
    return hr;
}

STDMETHODIMP CCountingPin::SyncReadAligned(IMediaSample* sample) noexcept {
    if (m_refused)
        return VFW_E_WRONG_STATE;
    const Span span = SpanOf(sample);
    CountAsked(span.length);
    const HRESULT hr = m_reader->SyncReadAligned(sample);
    if (SUCCEEDED(hr))
        CountDelivered(sample->GetActualDataLength());
    return CountShort(hr, span.start);
}

STDMETHODIMP CCountingPin::SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept {
    if (m_refused)
        return VFW_E_WRONG_STATE;
    CountAsked(length);
    const HRESULT hr = m_reader->SyncRead(position, length, buffer);
    if (hr == S_OK)
        CountDelivered(length);
    return CountShort(hr, position);
}

STDMETHODIMP CCountingPin::Length(LONGLONG* total, LONGLONG* available) noexcept {
    return m_reader->Length(total, available);
}

HRESULT CCountingPin::CountShort(HRESULT hr, LONGLONG position) noexcept {
    if (hr != S_OK)
        m_shortAt = position;
    MIDL_uhyper available = 0;
    const bool isEmpty = hr == S_FALSE && m_control && position >= 0 &&
                         m_control->Await(static_cast<MIDL_uhyper>(position), 1, 0, &available) == S_FALSE;
    m_emptyReads = isEmpty ? m_emptyReads + 1 : 0;
    if (m_emptyReads <= 1)
        m_emptySinceMs = ::GetTickCount64();
    LONGLONG total = 0;
    LONGLONG known = 0;
    if (m_emptyReads <= kMostEmptyReads || ::GetTickCount64() - m_emptySinceMs < kMostEmptyMs ||
        m_reader->Length(&total, &known) != VFW_S_ESTIMATED)
        return hr;
    m_hasSoughtEnd = true;
    return HRESULT_FROM_WIN32(ERROR_HANDLE_EOF);
}

void CCountingPin::CountAsked(LONGLONG bytes) noexcept {
    ++m_reads;
    if (bytes > 0)
        m_bytes += static_cast<unsigned long long>(bytes);
}

void CCountingPin::CountDelivered(LONG bytes) noexcept {
    if (bytes > 0)
        m_delivered += static_cast<unsigned long long>(bytes);
}

}  // namespace tvsource
