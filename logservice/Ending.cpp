#include "logservice/Ending.h"

#include "base/CAutoDestructor.h"
#include "base/CDeadline.h"
#include "logservice/CService.h"

#include <atomic>
#include <new>

namespace logservice {

namespace {

constexpr wchar_t kStop[] = L"Local\\TKRuntimeLogger.Stop";
constexpr DWORD kPauseMs = 20;
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

base::CAutoHandle StopEvent() noexcept {
    return base::CAutoHandle(::CreateEventW(nullptr, TRUE, FALSE, kStop));
}

void SetEnded() noexcept {
    if (g_ended)
        ::SetEvent(g_ended);
}

HRESULT EndRunningService(DWORD limitMs) noexcept {
    const HRESULT runs = AwaitEndOfService(0);
    if (runs != HRESULT_FROM_WIN32(ERROR_TIMEOUT))
        return runs == S_OK ? S_FALSE : runs;
    const base::CDeadline limit(limitMs);
    base::CAutoHandle stop;
    // A service that is just starting makes it soon.
    while (!stop) {
        stop.Reset(::OpenEventW(EVENT_MODIFY_STATE, FALSE, kStop));
        if (!stop && (::GetLastError() != ERROR_FILE_NOT_FOUND || limit.IsOver()))
            return HRESULT_FROM_WIN32(::GetLastError());
        if (!stop)
            ::Sleep(kPauseMs);
    }
    if (!::SetEvent(stop.Get()))
        return HRESULT_FROM_WIN32(::GetLastError());
    return AwaitEndOfService(limit.Left());
}

}  // namespace logservice
