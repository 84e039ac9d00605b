#include "tvsource/graph/CPlayControls.h"

#include "base/ForeignCalls.h"
#include "tvsource/graph/PlayKeys.h"

namespace tvsource {

CPlayControls::CPlayControls(IFilterGraph& graph) noexcept {
    static_cast<void>(base::QueryFor(graph, m_control.GetAddressOf()));
    static_cast<void>(base::QueryFor(graph, m_seeking.GetAddressOf()));
}

bool CPlayControls::Press(WORD key) noexcept {
    const std::optional<PlayWish> wish = WishOf(key);
    if (!wish)
        return true;
    switch (wish->kind) {
        case PlayWish::Kind::Pause:
            Pause();
            return true;
        case PlayWish::Kind::Seek:
            Seek(wish->step);
            return true;
        case PlayWish::Kind::End:
            break;
    }
    return false;
}

void CPlayControls::Pause() noexcept {
    if (m_control && SUCCEEDED(m_isPaused ? m_control->Run() : m_control->Pause()))
        m_isPaused = !m_isPaused;
}

void CPlayControls::Seek(LONGLONG step) noexcept {
    DWORD needed = AM_SEEKING_CanSeekAbsolute;
    LONGLONG position = 0, duration = 0;
    if (!m_seeking || m_seeking->CheckCapabilities(&needed) != S_OK || FAILED(m_seeking->GetDuration(&duration)) ||
        FAILED(m_seeking->GetCurrentPosition(&position)))
        return;
    if (std::optional<LONGLONG> target = SeekTarget(position, step, duration))
        m_seeking->SetPositions(&*target, AM_SEEKING_AbsolutePositioning, nullptr, AM_SEEKING_NoPositioning);
}

}  // namespace tvsource
