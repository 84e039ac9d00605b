#include "tvsource/graph/CCountingPin.h"

#include <vfwmsgs.h>

#include <algorithm>

namespace tvsource {

STDMETHODIMP CCountingPin::Request(IMediaSample* sample, DWORD_PTR user) noexcept {
    const ReadSpan span = SpanOf(sample);
    CountAsked(span.length);
    // Our filter reads here; what is waited for afterwards is there already.
    ++m_underWay;
    const Clock::time_point since = Clock::now();
    const HRESULT hr = CReaderProxy::Request(sample, user);
    --m_underWay;
    if (SUCCEEDED(hr))
        CountDelivered(0, since);
    return CountShort(hr, span);
}

STDMETHODIMP CCountingPin::WaitForNext(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) noexcept {
    const Clock::time_point since = Clock::now();
    const HRESULT hr = CReaderProxy::WaitForNext(timeoutMs, sample, user);
    if (SUCCEEDED(hr) && *sample)
        CountDelivered((*sample)->GetActualDataLength(), since);
    return hr;
}

STDMETHODIMP CCountingPin::SyncReadAligned(IMediaSample* sample) noexcept {
    const ReadSpan span = SpanOf(sample);
    CountAsked(span.length);
    ++m_underWay;
    const Clock::time_point since = Clock::now();
    const HRESULT hr = CReaderProxy::SyncReadAligned(sample);
    --m_underWay;
    if (SUCCEEDED(hr))
        CountDelivered(sample->GetActualDataLength(), since);
    return CountShort(hr, span);
}

STDMETHODIMP CCountingPin::SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept {
    CountAsked(length);
    ++m_underWay;
    const Clock::time_point since = Clock::now();
    const HRESULT hr = CReaderProxy::SyncRead(position, length, buffer);
    --m_underWay;
    if (hr == S_OK)
        CountDelivered(length, since);
    return CountShort(hr, {position, length});
}

HRESULT CCountingPin::CountShort(HRESULT hr, ReadSpan span) noexcept {
    if (hr != S_OK && RefusesReads()) {
        --m_reads;
        m_bytes -= static_cast<unsigned long long>(std::max(span.length, 0LL));
        return hr;
    }
    const LONGLONG position = span.start;
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
        AskSource(&total, &known) != VFW_S_ESTIMATED)
        return hr;
    m_hasSoughtEnd = true;
    return HRESULT_FROM_WIN32(ERROR_HANDLE_EOF);
}

// Past `reader`, who may take a question of this object's own for one of the parser.
HRESULT CCountingPin::AskSource(LONGLONG* total, LONGLONG* available) noexcept {
    Microsoft::WRL::ComPtr<IAsyncReader> source;
    const HRESULT hr = Pin()->QueryInterface(IID_PPV_ARGS(&source));
    return FAILED(hr) ? hr : source->Length(total, available);
}

void CCountingPin::CountAsked(LONGLONG bytes) noexcept {
    ++m_reads;
    if (bytes > 0)
        m_bytes += static_cast<unsigned long long>(bytes);
}

void CCountingPin::CountDelivered(LONG bytes, Clock::time_point since) noexcept {
    const LONGLONG took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - since).count();
    LONGLONG longest = m_longestUs;
    while (took > longest && !m_longestUs.compare_exchange_weak(longest, took)) {
    }
    if (bytes > 0)
        m_delivered += static_cast<unsigned long long>(bytes);
}

}  // namespace tvsource
