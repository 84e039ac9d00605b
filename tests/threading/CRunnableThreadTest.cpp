#include "threading/CRunnableThread.h"

#include "diagnostics/CAutoDestructor.h"
#include "tests/support/CImportHook.h"

#include <gtest/gtest.h>

namespace {

const char* g_name;  // the last that a debugger would have seen

LONG CALLBACK WatchThreadNames(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode == 0x406D1388 && record.NumberParameters == 4)
        g_name = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    return EXCEPTION_CONTINUE_SEARCH;
}

// Needs more stack than threads have by default.
struct CWaitingRunnable final : IThreadRunnable {
    int Run() override {
        volatile char frame[4 << 20];
        for (size_t i = 0; i < sizeof frame; i += 4096)
            frame[i] = 1;
        ::SignalObjectAndWait(begun.Get(), end.Get(), INFINITE, FALSE);
        return E_UNEXPECTED;
    }
    CAutoHandle begun{::CreateEventW(nullptr, FALSE, FALSE, nullptr)},
        end{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

TEST(CRunnableThreadTest, RunsNamedBodiesOneAfterAnother) {
    void* const watch = ::AddVectoredExceptionHandler(1, WatchThreadNames);
    CWaitingRunnable runnable;
    CRunnableThread thread;
    thread.Init(&runnable, "MTA worker", 8 << 20);
    EXPECT_FALSE(thread.Join(0)) << "not started";
    for (const int round : {1, 2}) {
        SCOPED_TRACE(round);
        ASSERT_TRUE(thread.Start());
        ::WaitForSingleObject(runnable.begun.Get(), INFINITE);
        const HANDLE handle = thread.GetHandle();
        EXPECT_STREQ("MTA worker", g_name);
        DWORD exitCode = 99;
        EXPECT_FALSE(thread.Start() || thread.Join(0) || thread.GetExitCode(&exitCode));
        EXPECT_EQ(handle, thread.GetHandle());
        ::SetEvent(runnable.end.Get());
        EXPECT_TRUE(thread.Join(INFINITE) && !thread.IsRunning() && thread.GetExitCode(&exitCode));
        EXPECT_EQ(static_cast<DWORD>(E_UNEXPECTED), exitCode);
    }
    ::RemoveVectoredExceptionHandler(watch);
}

uintptr_t __cdecl NoThread(void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned, unsigned*) {
    return ::SetLastError(ERROR_NOT_ENOUGH_MEMORY), 0;
}
DWORD WINAPI NoWait(HANDLE, DWORD) {
    return ::SetLastError(ERROR_ACCESS_DENIED), WAIT_FAILED;
}

TEST(CRunnableThreadTest, AFailedStartOrJoinTellsItsReasonAndCanBeTriedAgain) {
    struct CEmptyRunnable final : IThreadRunnable {
        int Run() override { return 7; }
    } runnable;
    CRunnableThread thread;
    thread.Init(&runnable, nullptr, 0);
    DWORD exitCode = 99;
    EXPECT_TRUE(thread.GetExitCode(&exitCode) && exitCode == 0) << "none was joined";
    EXPECT_EQ(0u, thread.GetLastError());
    {
        const CImportHook hook("_beginthreadex", &NoThread);
        ASSERT_TRUE(hook.IsSet());
        EXPECT_FALSE(thread.Start() || thread.IsRunning() || thread.Join(0));
    }
    EXPECT_EQ(DWORD{ERROR_NOT_ENOUGH_MEMORY}, thread.GetLastError());
    ASSERT_TRUE(thread.Start());
    const HANDLE handle = thread.GetHandle();
    {
        const CImportHook hook("WaitForSingleObject", &NoWait);
        ASSERT_TRUE(hook.IsSet());
        EXPECT_FALSE(thread.Join(INFINITE) || thread.GetExitCode(&exitCode));
    }
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, thread.GetLastError());
    EXPECT_EQ(handle, thread.GetHandle());
    EXPECT_TRUE(thread.Join(INFINITE) && thread.GetExitCode(&exitCode) && exitCode == 7);
    DWORD flags = 0;
    EXPECT_FALSE(::GetHandleInformation(handle, &flags)) << "the handle stays open";
    thread.Init(&runnable, nullptr, 0);
    EXPECT_TRUE(thread.GetExitCode(&exitCode) && exitCode == 0 && thread.GetLastError() == 0);
}

}  // namespace
