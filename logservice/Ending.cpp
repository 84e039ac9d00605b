#include "logservice/Ending.h"

#include "base/CAutoDestructor.h"
#include "base/CDeadline.h"
#include "logservice/CService.h"

#include <atomic>

namespace logservice {

namespace {

constexpr wchar_t kStop[] = L"Local\\TKRuntimeLogger.Stop";
constexpr DWORD kGraceMs = 4000;  // the system ends a program five seconds after its console

// Never closed: the handler may run to the very end.
std::atomic<HANDLE> g_ending{nullptr};
std::atomic<HANDLE> g_ended{nullptr};

BOOL WINAPI OnConsoleControl(DWORD control) {
    ::SetEvent(g_ending);
    // From the return on, the system ends a program whose console closes.
    if (control != CTRL_C_EVENT && control != CTRL_BREAK_EVENT)
        ::WaitForSingleObject(g_ended, kGraceMs);
    return TRUE;
}

}  // namespace

HANDLE EndingEvent() noexcept {
    g_ended = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_ending = ::CreateEventW(nullptr, TRUE, FALSE, kStop);
    // One that is signalled already is left over from a service that is about to end.
    if (g_ending)
        ::ResetEvent(g_ending);
    if (g_ended && g_ending)
        ::SetConsoleCtrlHandler(OnConsoleControl, TRUE);
    return g_ending;
}

void SetEnded() noexcept {
    if (g_ended)
        ::SetEvent(g_ended);
}

HRESULT EndRunningService(DWORD limitMs) noexcept {
    if (!IsServiceRunning())
        return S_FALSE;
    const base::CAutoHandle stop(::OpenEventW(EVENT_MODIFY_STATE, FALSE, kStop));
    if (!stop || !::SetEvent(stop.Get()))
        return HRESULT_FROM_WIN32(::GetLastError());
    for (const base::CDeadline limit(limitMs); IsServiceRunning(); ::Sleep(20)) {
        if (limit.IsOver())
            return HRESULT_FROM_WIN32(ERROR_TIMEOUT);
    }
    return S_OK;
}

}  // namespace logservice
