#include "bench/CWantedPin.h"

#include "base/ComBoundary.h"
#include "baseclasses/SampleTimes.h"

#include <vfwmsgs.h>

#include <algorithm>
#include <mutex>
#include <new>

namespace bench {

using Microsoft::WRL::ComPtr;

namespace {

// The parser's input pin as the source sees it.
class CReceiver final : public tvsource::CPinProxy {
public:
    CReceiver(IPin* receiver, IPin* shown) noexcept : CPinProxy(receiver), m_shown(shown) {}

    STDMETHODIMP ReceiveConnection(IPin*, const AM_MEDIA_TYPE* type) noexcept override {
        return Pin()->ReceiveConnection(m_shown.Get(), type);
    }

private:
    ~CReceiver() override = default;

    ComPtr<IPin> m_shown;
};

}  // namespace

LONGLONG CWantedPin::Wanted() const {
    const std::lock_guard guard(m_lock);
    LONGLONG wanted = 0, end = 0;
    for (const auto& [from, to] : m_wanted) {
        wanted += std::max(0LL, to - std::max(from, end));
        end = std::max(end, to);
    }
    return wanted;
}

void CWantedPin::Note(LONGLONG begin, LONGLONG end) noexcept {
    LONGLONG total = 0, available = 0;
    if (SUCCEEDED(m_reader->Length(&total, &available)))
        end = std::min(end, total);
    const std::lock_guard guard(m_lock);
    base::RunQuietly([&] {
        LONGLONG& known = m_wanted[begin];
        known = std::max(known, end);
    });
}

void CWantedPin::Note(IMediaSample* sample) noexcept {
    REFERENCE_TIME start = 0, stop = 0;
    if (SUCCEEDED(sample->GetTime(&start, &stop)))
        Note(start / kSampleTimeUnitsPerByte, stop / kSampleTimeUnitsPerByte);
}

STDMETHODIMP CWantedPin::QueryInterface(REFIID riid, void** object) noexcept {
    if (object && riid == __uuidof(IAsyncReader)) {
        *object = static_cast<IAsyncReader*>(this);
        AddRef();
        return S_OK;
    }
    return CPinProxy::QueryInterface(riid, object);
}

STDMETHODIMP CWantedPin::Connect(IPin* receiver, const AM_MEDIA_TYPE* type) noexcept {
    ComPtr<IPin> standIn;
    *standIn.GetAddressOf() = new (std::nothrow) CReceiver(receiver, this);
    return standIn ? Pin()->Connect(standIn.Get(), type) : E_OUTOFMEMORY;
}

STDMETHODIMP CWantedPin::RequestAllocator(IMemAllocator* preferred, ALLOCATOR_PROPERTIES* properties,
                                          IMemAllocator** actual) noexcept {
    return m_reader->RequestAllocator(preferred, properties, actual);
}

STDMETHODIMP CWantedPin::Request(IMediaSample* sample, DWORD_PTR user) noexcept {
    if (m_isRefusing)
        return VFW_E_WRONG_STATE;
    Note(sample);
    return m_reader->Request(sample, user);
}

STDMETHODIMP CWantedPin::WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept {
    return m_reader->WaitForNext(timeoutMs, sample, user);
}

STDMETHODIMP CWantedPin::SyncReadAligned(IMediaSample* sample) noexcept {
    if (m_isRefusing)
        return VFW_E_WRONG_STATE;
    Note(sample);
    return m_reader->SyncReadAligned(sample);
}

STDMETHODIMP CWantedPin::SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept {
    if (m_isRefusing)
        return VFW_E_WRONG_STATE;
    Note(position, position + length);
    return m_reader->SyncRead(position, length, buffer);
}

STDMETHODIMP CWantedPin::Length(LONGLONG* total, LONGLONG* available) noexcept {
    return m_reader->Length(total, available);
}

}  // namespace bench
