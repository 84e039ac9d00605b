// The window in which a graph shows its video: a size that fits the screen, a title, and the keys that are pressed in
// it.
//
// Threads: one, which handles its messages (CPlayGraph::Run does); the window itself is the renderer's.  Lifetime: from
// before the graph runs until its run is over; must go before the graph.  Errors: none; a renderer that can't do
// something isn't made to.
#pragma once

#include <windows.h>

#include <objbase.h>
#include <strmif.h>
#include <wrl/client.h>

#include <control.h>

#include <string>
#include <vector>

namespace tvsource {

class CVideoWindow final {
public:
    CVideoWindow(IFilterGraph& graph, const std::wstring& title);
    CVideoWindow(const CVideoWindow&) = delete;
    CVideoWindow& operator=(const CVideoWindow&) = delete;
    ~CVideoWindow();

    // Whether the graph shows anything.
    [[nodiscard]] bool IsThere() const noexcept { return m_window != nullptr; }

    // The virtual keys that have been pressed since the last call.
    [[nodiscard]] std::vector<WORD> TakeKeys() noexcept;

    // The person closed it.
    [[nodiscard]] bool IsClosed() noexcept;

private:
    static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM first, LPARAM second) noexcept;
    void Place(IFilterGraph& graph) noexcept;

    Microsoft::WRL::ComPtr<IVideoWindow> m_window;
    HWND m_keyboard = nullptr;  // a hidden window that the renderer hands the keys to
    std::vector<WORD> m_keys;
    bool m_wasVisible = false;
};

}  // namespace tvsource
