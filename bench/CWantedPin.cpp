#include "bench/CWantedPin.h"

#include "base/ComBoundary.h"

#include <algorithm>
#include <mutex>

namespace bench {

LONGLONG CWantedPin::Wanted() const {
    const std::lock_guard guard(m_lock);
    LONGLONG wanted = 0, end = 0;
    for (const auto& [from, to] : m_wanted) {
        wanted += std::max(0LL, to - std::max(from, end));
        end = std::max(end, to);
    }
    return wanted;
}

void CWantedPin::Note(const tvsource::ReadSpan& span) noexcept {
    LONGLONG end = span.start + span.length, total = 0, available = 0;
    if (SUCCEEDED(Length(&total, &available)))
        end = std::min(end, total);
    const std::lock_guard guard(m_lock);
    base::RunQuietly([&] {
        LONGLONG& known = m_wanted[span.start];
        known = std::max(known, end);
    });
}

STDMETHODIMP CWantedPin::Request(IMediaSample* sample, DWORD_PTR user) noexcept {
    Note(tvsource::SpanOf(sample));
    return CReaderProxy::Request(sample, user);
}

STDMETHODIMP CWantedPin::SyncReadAligned(IMediaSample* sample) noexcept {
    Note(tvsource::SpanOf(sample));
    return CReaderProxy::SyncReadAligned(sample);
}

STDMETHODIMP CWantedPin::SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept {
    Note({position, length});
    return CReaderProxy::SyncRead(position, length, buffer);
}

}  // namespace bench
