#include "tvsource/report/Interrupt.h"

#include "console/CConsole.h"
#include "threading/CCallQueue.h"
#include "tvsource/report/CLogLines.h"
#include "tvsource/report/CProgressLine.h"

#include <atomic>

namespace tvsource {

namespace {

constexpr DWORD kStepLimitMs = 5000;

std::function<void(const console::CCommandError&)> g_say;
std::atomic<HANDLE> g_event{nullptr};  // never closed: the handler may run to the very end
std::atomic<DWORD> g_graceMs{0};

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
        ::Sleep(g_graceMs);
    }
    EndProcess(kInterrupted);
    return TRUE;
}

}  // namespace

void EndOnInterrupt() {
    ::SetConsoleCtrlHandler(OnConsoleControl, TRUE);
}

HANDLE InterruptEvent(DWORD graceMs) {
    const HANDLE event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!event)
        throw console::CCommandError(L"Cannot create an event", HRESULT_FROM_WIN32(::GetLastError()));
    g_graceMs = graceMs;
    g_event = event;
    return event;
}

void SetLastWords(std::function<void(const console::CCommandError&)> say) {
    g_say = std::move(say);
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
    static std::atomic_flag isEnding;
    if (isEnding.test_and_set())
        ::Sleep(INFINITE);  // another thread says it, and ends the process
    const console::CCommandError error(L"a read of the source does not end; the program ends without it");
    try {
        if (g_say)
            g_say(error);
        else
            console::Complain(L"tvsource: " + error.Text() + L"\n");
    } catch (const console::COutputError&) {
        // Nobody hears it.
    }
    CLogLines::CatchUp();
    EndProcess(1);
}

}  // namespace tvsource
