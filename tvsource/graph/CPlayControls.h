// Does to a running graph what the keys of a person mean (PlayKeys.h).
//
// Threads: that of the graph's run.  Lifetime: no longer than the graph.  Errors: none; what can't be done isn't done.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <strmif.h>
#include <wrl/client.h>

#include <control.h>

namespace tvsource {

class CPlayControls final {
public:
    explicit CPlayControls(IFilterGraph& graph) noexcept;

    // False: the run is to end. Keys without a meaning are ignored.
    [[nodiscard]] bool Press(WORD key) noexcept;

    [[nodiscard]] bool IsPaused() const noexcept { return m_isPaused; }

private:
    void Pause() noexcept;
    void Seek(LONGLONG step) noexcept;

    Microsoft::WRL::ComPtr<IMediaControl> m_control;
    Microsoft::WRL::ComPtr<IMediaSeeking> m_seeking;
    bool m_isPaused = false;
};

}  // namespace tvsource
