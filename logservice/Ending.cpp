#include "logservice/Ending.h"

#include <atomic>
#include <new>

namespace logservice {

namespace {

constexpr DWORD kGraceMs = 4000;  // the system ends a program five seconds after its console

// Never closed: the handler may run to the very end.
std::atomic<HANDLE> g_ending{nullptr};
std::atomic<HANDLE> g_ended{nullptr};

BOOL WINAPI OnConsoleControl(DWORD control) {
    const bool isKey = control == CTRL_C_EVENT || control == CTRL_BREAK_EVENT;
    // Whoever presses it again doesn't want to wait for the outputs.
    if (isKey && ::WaitForSingleObject(g_ending, 0) == WAIT_OBJECT_0)
        return FALSE;
    ::SetEvent(g_ending);
    // From the return on, the system ends a program whose console closes.
    if (!isKey)
        ::WaitForSingleObject(g_ended, kGraceMs);
    return TRUE;
}

}  // namespace

HANDLE EndingEvent() {
    g_ended = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_ending = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!g_ended || !g_ending)
        throw std::bad_alloc();
    ::SetConsoleCtrlHandler(OnConsoleControl, TRUE);
    return g_ending;
}

void SetEnded() noexcept {
    if (g_ended)
        ::SetEvent(g_ended);
}

}  // namespace logservice
