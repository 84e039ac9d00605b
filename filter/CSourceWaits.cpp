#include "filter/CSourceWaits.h"

#include "base/ComBoundary.h"
#include "baseclasses/CAutoLock.h"

#include <algorithm>

namespace filter {

HRESULT CSourceWaits::Wait::Ask(LONGLONG position, LONG length, DWORD milliseconds) noexcept {
    available = 0;
    const auto ask = [&] {
        return control->Await(static_cast<MIDL_uhyper>(position), static_cast<MIDL_uhyper>(length), milliseconds,
                              &available);
    };
    result = position < 0 ? S_FALSE : base::ComBoundary(ask);
    return result;
}

// A slow source is no silent one: it is asked anew as long as bytes come.
void CSourceWaits::Wait::GoOn(LONGLONG position, LONG length) noexcept {
    for (int withoutBytes = 0; result == E_PENDING;) {
        const MIDL_uhyper had = available;
        if (*ends != endsBefore) {
            result = E_ABORT;
        } else if (withoutBytes == kMostPiecesWithoutBytes) {
            result = HRESULT_FROM_WIN32(ERROR_TIMEOUT);
        } else {
            Ask(position, length, kPieceMs);
            withoutBytes = available > had ? 0 : withoutBytes + 1;
        }
    }
}

ULONG CSourceWaits::Wait::Readable(ULONG length) const noexcept {
    return result == S_OK ? length : static_cast<ULONG>(std::min<MIDL_uhyper>(length, available));
}

CSourceWaits::Wait CSourceWaits::Begin() const noexcept {
    const std::lock_guard lock(m_sourceLock);
    return {.control = m_control, .source = m_source, .ends = &m_ends, .endsBefore = m_ends};
}

bool CSourceWaits::IsOver(Wait& wait) const noexcept {
    const std::lock_guard lock(m_sourceLock);
    if (wait.source == m_source)
        return true;
    wait.available = 0;
    return wait.IsGivenUp(wait.result);
}

CSourceWaits::Control CSourceWaits::SourceControl() const noexcept {
    return Begin().control;
}

void CSourceWaits::EndWaits() noexcept {
    CAutoLock order(&m_orderLock);
    if (const Control control = SourceControl()) {
        GiveUp(*control.Get());
        Apply();
    }
}

void CSourceWaits::Abort() noexcept {
    CAutoLock order(&m_orderLock);
    m_isAborted = true;
    Apply();
}

void CSourceWaits::Resume() noexcept {
    CAutoLock order(&m_orderLock);
    m_isAborted = false;
    Apply();
}

void CSourceWaits::SetFlushing(bool isFlushing) noexcept {
    CAutoLock order(&m_orderLock);
    m_isFlushing = isFlushing;
    Apply();
}

bool CSourceWaits::IsFlushing() noexcept {
    CAutoLock order(&m_orderLock);
    return m_isFlushing;
}

void CSourceWaits::Leave() noexcept {
    CAutoLock order(&m_orderLock);
    ++m_leaving;
    Apply();
}

void CSourceWaits::Arrive(Control control) noexcept {
    CAutoLock order(&m_orderLock);
    --m_leaving;
    m_isAborted = false;
    {
        const std::lock_guard lock(m_sourceLock);
        m_control.Swap(control);
        ++m_source;
    }
    Apply();
}

void CSourceWaits::Stay() noexcept {
    CAutoLock order(&m_orderLock);
    --m_leaving;
    Apply();
}

// Tells the source how its reads stand.
void CSourceWaits::Apply() noexcept {
    if (const Control control = SourceControl()) {
        if (m_isFlushing || m_isAborted || m_leaving > 0)
            GiveUp(*control.Get());
        else
            static_cast<void>(base::ComBoundary([&] { return control->AllowReads(); }));
    }
}

// Counted first: a reader that the source doesn't end any more, since it asks only later, sees the count.
void CSourceWaits::GiveUp(ITKDSSourceControl& control) noexcept {
    ++m_ends;
    static_cast<void>(base::ComBoundary([&] { return control.AbortReads(); }));
}

std::optional<bool> CSourceWaits::NextToTell() noexcept {
    const std::lock_guard lock(m_longWaitsLock);
    const bool areLong = m_longWaits > 0;
    m_isTelling = std::exchange(m_areTold, areLong) != areLong;
    return m_isTelling ? std::optional(areLong) : std::nullopt;
}

}  // namespace filter
