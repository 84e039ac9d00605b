#include "tvsource/Interrupt.h"

#include "threading/CCallQueue.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/CProgressLine.h"

#include <atomic>

namespace tvsource {

namespace {

constexpr DWORD kGraceMs = 500;
constexpr DWORD kStepLimitMs = 5000;

std::atomic<HANDLE> g_event{nullptr};  // never closed: the handler may run to the very end

// Unlike ExitProcess, this notifies no library: one that waits for its threads would wait for whatever those threads
// wait for.
void EndProcess(int code) {
    CProgressLine::WipeForGood();
    ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(code));
}

// The system calls it on a thread of its own.
BOOL WINAPI OnConsoleControl(DWORD) {
    if (const HANDLE event = g_event) {
        ::SetEvent(event);
        ::Sleep(kGraceMs);
    }
    EndProcess(kInterrupted);
    return TRUE;
}

}  // namespace

void EndOnInterrupt() {
    ::SetConsoleCtrlHandler(OnConsoleControl, TRUE);
}

HANDLE InterruptEvent() {
    const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!event)
        throw CHostError(L"Cannot create an event", HRESULT_FROM_WIN32(::GetLastError()));
    g_event = event;
    return event;
}

void RunOrEndProcess(const std::function<void()>& step) {
    threading::CCallQueue queue("Step with a limit", COINIT_MULTITHREADED);
    std::atomic<bool> hasBegun = false;
    const bool hasEnded = queue.Call(
        [&] {
            if (!hasBegun.exchange(true))
                step();
        },
        kStepLimitMs);
    if (hasEnded)
        return;
    if (!hasBegun.exchange(true))
        return step();  // no thread can be had
    Complain(L"tvsource: a read of the source does not end; the program ends without it\n");
    EndProcess(1);
}

}  // namespace tvsource
