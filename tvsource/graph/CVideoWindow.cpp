#include "tvsource/graph/CVideoWindow.h"

#include "base/CBstr.h"
#include "base/ComBoundary.h"
#include "tvsource/graph/PlayKeys.h"

#include <utility>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

constexpr wchar_t kKeyboardClass[] = L"TavelSourceHostKeyboard";

// By the identifier's name: not every compiler's headers tie one to these interfaces.
template <class Interface>
ComPtr<Interface> InterfaceOf(IFilterGraph& graph, REFIID identifier) noexcept {
    void* answer = nullptr;
    ComPtr<Interface> object;
    if (SUCCEEDED(graph.QueryInterface(identifier, &answer)))
        *object.GetAddressOf() = static_cast<Interface*>(answer);
    return object;
}

}  // namespace

CVideoWindow::CVideoWindow(IFilterGraph& graph, const std::wstring& title) {
    const auto window = InterfaceOf<IVideoWindow>(graph, IID_IVideoWindow);
    long isVisible = 0;
    // A graph has the interface whether it shows anything or not.
    if (!window || FAILED(window->get_Visible(&isVisible)))
        return;
    m_window = window;
    m_window->put_Caption(base::CBstr(title).Get());
    Place(graph);

    WNDCLASSW keyboard{};
    keyboard.lpfnWndProc = OnMessage;
    keyboard.hInstance = ::GetModuleHandleW(nullptr);
    keyboard.lpszClassName = kKeyboardClass;
    ::RegisterClassW(&keyboard);  // there already: of an earlier source
    m_keyboard = ::CreateWindowExW(0, kKeyboardClass, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, keyboard.hInstance,
                                   nullptr);
    if (!m_keyboard)
        return;
    ::SetWindowLongPtrW(m_keyboard, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    m_window->put_MessageDrain(reinterpret_cast<OAHWND>(m_keyboard));
}

CVideoWindow::~CVideoWindow() {
    if (m_keyboard) {
        m_window->put_MessageDrain(0);
        ::DestroyWindow(m_keyboard);
    }
}

void CVideoWindow::Place(IFilterGraph& graph) noexcept {
    const auto video = InterfaceOf<IBasicVideo>(graph, IID_IBasicVideo);
    SIZE size{};
    long style = 0, extended = 0;
    RECT workArea{}, frame{};
    if (!video || FAILED(video->GetVideoSize(&size.cx, &size.cy)) || FAILED(m_window->get_WindowStyle(&style)) ||
        FAILED(m_window->get_WindowStyleEx(&extended)) || !::SystemParametersInfoW(SPI_GETWORKAREA, 0, &workArea, 0) ||
        !::AdjustWindowRectEx(&frame, static_cast<DWORD>(style), FALSE, static_cast<DWORD>(extended)))
        return;
    const RECT place = WindowPlace(size, frame, workArea);
    m_window->SetWindowPosition(place.left, place.top, place.right - place.left, place.bottom - place.top);
}

std::vector<WORD> CVideoWindow::TakeKeys() noexcept {
    return std::exchange(m_keys, {});
}

bool CVideoWindow::IsClosed() noexcept {
    long isVisible = 0;
    if (!m_window || FAILED(m_window->get_Visible(&isVisible)))
        return false;
    const bool wasVisible = std::exchange(m_wasVisible, isVisible != 0);
    return wasVisible && !m_wasVisible;
}

LRESULT CALLBACK CVideoWindow::OnMessage(HWND window, UINT message, WPARAM first, LPARAM second) noexcept {
    auto* const self = reinterpret_cast<CVideoWindow*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self && message == WM_KEYDOWN) {
        base::RunQuietly([&] { self->m_keys.push_back(static_cast<WORD>(first)); });
        return 0;
    }
    return ::DefWindowProcW(window, message, first, second);
}

}  // namespace tvsource
