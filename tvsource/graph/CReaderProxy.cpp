#include "tvsource/graph/CReaderProxy.h"

#include "baseclasses/SampleTimes.h"
#include "tvsource/source/MediaTypes.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <new>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

void MakeAnyOfNone(AM_MEDIA_TYPE& type) noexcept {
    if (StreamType{type.majortype, type.subtype}.IsUnknown())
        type.majortype = MEDIATYPE_Stream;
}

// The parser's input pin as the source sees it. It shows the parser the proxy in place of the source's pin.
class CReceiverStandIn final : public CPinProxy {
public:
    CReceiverStandIn(IPin* receiver, IPin* shown, bool isAnyForNone) noexcept
        : CPinProxy(receiver), m_shown(shown), m_isAnyForNone(isAnyForNone) {}

    STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE* type) noexcept override {
        if (!type || !m_isAnyForNone)
            return Pin()->ReceiveConnection(m_shown.Get(), type);
        AM_MEDIA_TYPE any = *type;  // the format block stays the caller's
        MakeAnyOfNone(any);
        return Pin()->ReceiveConnection(m_shown.Get(), &any);
    }

private:
    ~CReceiverStandIn() override = default;

    const ComPtr<IPin> m_shown;
    const bool m_isAnyForNone;
};

}  // namespace

ReadSpan SpanOf(IMediaSample* sample) noexcept {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    if (!sample || FAILED(sample->GetTime(&start, &stop)))
        return {};
    return {start / kSampleTimeUnitsPerByte, stop / kSampleTimeUnitsPerByte - start / kSampleTimeUnitsPerByte};
}

STDMETHODIMP CReaderProxy::QueryInterface(REFIID riid, void** object) noexcept {
    if (object && riid == __uuidof(IAsyncReader)) {
        *object = static_cast<IAsyncReader*>(this);
        AddRef();
        return S_OK;
    }
    return CPinProxy::QueryInterface(riid, object);
}

STDMETHODIMP CReaderProxy::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) noexcept {
    if (!receiver)
        return E_POINTER;
    ComPtr<IPin> standIn;
    *standIn.GetAddressOf() = new (std::nothrow) CReceiverStandIn(receiver, this, m_isAnyForNone);
    return standIn ? Pin()->Connect(standIn.Get(), type) : E_OUTOFMEMORY;
}

STDMETHODIMP CReaderProxy::ConnectionMediaType(AM_MEDIA_TYPE* type) noexcept {
    const HRESULT hr = CPinProxy::ConnectionMediaType(type);
    if (SUCCEEDED(hr) && m_isAnyForNone)
        MakeAnyOfNone(*type);
    return hr;
}

STDMETHODIMP CReaderProxy::BeginFlush() noexcept {
    return m_reader->BeginFlush();
}

STDMETHODIMP CReaderProxy::EndFlush() noexcept {
    return m_reader->EndFlush();
}

STDMETHODIMP CReaderProxy::RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                            IMemAllocator** actual) noexcept {
    return m_reader->RequestAllocator(preferred, properties, actual);
}

STDMETHODIMP CReaderProxy::Request(IMediaSample* sample, DWORD_PTR user) noexcept {
    return m_refused ? VFW_E_WRONG_STATE : m_reader->Request(sample, user);
}

STDMETHODIMP CReaderProxy::WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept {
    return m_reader->WaitForNext(timeoutMs, sample, user);
}

STDMETHODIMP CReaderProxy::SyncReadAligned(IMediaSample* sample) noexcept {
    return m_refused ? VFW_E_WRONG_STATE : m_reader->SyncReadAligned(sample);
}

STDMETHODIMP CReaderProxy::SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept {
    return m_refused ? VFW_E_WRONG_STATE : m_reader->SyncRead(position, length, buffer);
}

STDMETHODIMP CReaderProxy::Length(LONGLONG* total, LONGLONG* available) noexcept {
    return m_reader->Length(total, available);
}

}  // namespace tvsource
