#include "dataservices/store/CSourceStream.h"

#include "base/CTaskMem.h"
#include "dataservices/com/Results.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace dataservices::store {

namespace {

constexpr ULONGLONG kUnknownSize = ULONGLONG{1} << 63;
constexpr DWORD kLeastSilenceMs = 100, kMostSilenceMs = 60'000;

}  // namespace

CSourceStream::CSourceStream(std::shared_ptr<ISourceDescription> description, std::shared_ptr<CRangeSource> source,
                             ULONGLONG position) noexcept
    : m_description(std::move(description)), m_source(std::move(source)), m_position(position) {}

HRESULT CSourceStream::QueryInterface(REFIID iid, void** object) noexcept {
    if (iid != __uuidof(ITKDSSourceControl) || !object)
        return CReadOnlyStream::QueryInterface(iid, object);
    *object = static_cast<ITKDSSourceControl*>(this);
    AddRef();
    return S_OK;
}

std::optional<ULONGLONG> CSourceStream::Length() const noexcept {
    const auto length = m_source->Facts().length;
    return length ? std::optional<ULONGLONG>(*length) : std::nullopt;
}

HRESULT CSourceStream::Read(void* buffer, ULONG cb, ULONG* bytesRead) noexcept {
    if (bytesRead)
        *bytesRead = 0;
    return ComMethod<IStream>([&]() -> HRESULT {
        if (!buffer)
            return STG_E_INVALIDPOINTER;
        const CReadGate::Pass pass(m_gate);  // before the lock, for which this one may have to wait as well
        const std::lock_guard guard(m_lock);
        std::size_t got = 0;
        const HRESULT hr =
            m_source->Read(m_position, {static_cast<BYTE*>(buffer), cb}, &got, pass, m_description->ReadLimitMs());
        const ULONG count = static_cast<ULONG>(got);
        m_position += count;
        if (bytesRead)
            *bytesRead = count;
        return hr == E_PENDING ? m_description->TimedOut() : hr;
    });
}

HRESULT CSourceStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) noexcept {
    return ComMethod<IStream>([&] {
        const std::lock_guard guard(m_lock);
        ULONGLONG target = 0;
        HRESULT hr = SeekTarget(move, origin, m_position, Length(), &target);
        if (SUCCEEDED(hr) && !m_source->CanReach(target))
            hr = kCannotSeek;
        if (SUCCEEDED(hr))
            m_position = target;
        if (newPosition)
            newPosition->QuadPart = m_position;
        return hr;
    });
}

HRESULT CSourceStream::Stat(STATSTG* stat, DWORD flag) noexcept {
    return ComMethod<IStream>([&]() -> HRESULT {
        if (!stat)
            return STG_E_INVALIDPOINTER;
        *stat = {};
        if (!(flag & STATFLAG_NONAME)) {
            stat->pwcsName = base::TaskMemCopyOf(m_description->Name()).Detach();
            if (!stat->pwcsName)
                return STG_E_INSUFFICIENTMEMORY;
        }
        const SourceFacts facts = m_source->Facts();
        stat->type = STGTY_STREAM;
        stat->cbSize.QuadPart = facts.length.value_or(kUnknownSize);
        m_description->Describe(stat);
        stat->grfStateBits =
            (facts.length && !facts.hasRanges && !m_source->IsAllHere()) ? TKDS_STATE_SEEKS_READ_THROUGH : 0;
        return S_OK;
    });
}

HRESULT CSourceStream::Clone(IStream** clone) noexcept {
    return ComMethod<IStream>(clone, [&]() -> HRESULT {
        const std::lock_guard guard(m_lock);
        if (!Length())
            return kCannotSeek;
        Microsoft::WRL::ComPtr<CSourceStream> made;
        const HRESULT hr =
            framework::MakeComObject<CSourceStream>(made.GetAddressOf(), m_description, m_source, m_position);
        *clone = static_cast<CReadOnlyStream*>(made.Detach());
        return hr;
    });
}

// ---- ITKDSSourceControl

HRESULT CSourceStream::AbortReads() noexcept {
    m_gate.Close();
    m_source->Wake();
    return S_OK;
}

HRESULT CSourceStream::AllowReads() noexcept {
    m_gate.Open();
    return S_OK;
}

HRESULT CSourceStream::Await(ULONGLONG position, ULONGLONG bytes, DWORD milliseconds, ULONGLONG* available) noexcept {
    if (!available)
        return E_POINTER;
    Position here = 0;
    const HRESULT hr =
        m_source->Await(position, bytes, &here, m_gate, std::min(milliseconds, m_description->ReadLimitMs()));
    *available = here;
    return hr == E_PENDING && milliseconds >= m_description->ReadLimitMs() ? m_description->TimedOut() : hr;
}

HRESULT CSourceStream::GetStatus(TKDS_SOURCE_STATUS* status) noexcept {
    if (!status)
        return E_POINTER;
    *status = {};
    return base::ComBoundary([&] {
        const CRangeSource::Status now = m_source->GetStatus();
        *status = {.length = now.facts.length.value_or(~Position{0}),
                   .held = now.held,
                   .ahead = now.ahead,
                   .wanted = now.wanted,
                   .bytesPerSecond = now.perSecond,
                   .received = now.received,
                   .receivedAgain = now.receivedAgain,
                   .requests = now.requests,
                   .stalls = now.stalls,
                   .longestWait = now.longestWaitMs,
                   .rangeCount = static_cast<DWORD>(now.ranges),
                   .silenceLimit = m_description->SilenceLimitMs()};
        return S_OK;
    });
}

HRESULT CSourceStream::GetRanges(DWORD capacity, TKDS_RANGE* ranges, DWORD* count) noexcept {
    if (count)
        *count = 0;
    if (!count || (!ranges && capacity > 0))
        return E_POINTER;
    return base::ComBoundary([&] {
        for (const Range& range : m_source->Ranges()) {
            if (*count == capacity)
                break;
            ranges[(*count)++] = {range.begin, range.end};
        }
        return S_OK;
    });
}

HRESULT CSourceStream::SetSilenceLimit(DWORD milliseconds) noexcept {
    if (milliseconds < kLeastSilenceMs || milliseconds > kMostSilenceMs)
        return E_INVALIDARG;
    m_description->SetSilenceLimitMs(milliseconds);
    return S_OK;
}

}  // namespace dataservices::store
