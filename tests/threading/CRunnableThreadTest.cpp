#include "threading/CRunnableThread.h"

#include "diagnostics/CAutoDestructor.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct CWaitingRunnable final : IThreadRunnable {
    int Run() override {
        m_threadId = ::GetCurrentThreadId();
        ++m_runs;
        ::SetEvent(m_begun.Get());
        ::WaitForSingleObject(m_end.Get(), INFINITE);
        return m_result;
    }

    CAutoHandle m_begun{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    CAutoHandle m_end{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    DWORD m_threadId = 0;
    int m_runs = 0;
    int m_result = 0;
};

struct CRunnableThreadTest : ::testing::Test {
    void TearDown() override {
        if (thread.IsRunning()) {
            ::SetEvent(runnable.m_end.Get());
            EXPECT_TRUE(thread.Join(INFINITE));
        }
    }
    void StartAndWaitUntilItRuns() {
        ASSERT_TRUE(thread.Start());
        ASSERT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(runnable.m_begun.Get(), 10'000));
    }

    CWaitingRunnable runnable;
    CRunnableThread thread;
};

TEST_F(CRunnableThreadTest, HoldsNothingUntilStarted) {
    thread.Init(&runnable, "worker", 0);
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_EQ(nullptr, thread.GetHandle());
    EXPECT_FALSE(thread.Join(0));
    DWORD exitCode = 99;
    EXPECT_TRUE(thread.GetExitCode(&exitCode));
    EXPECT_EQ(0u, exitCode);
}

TEST_F(CRunnableThreadTest, RunsTheBodyElsewhereAndKeepsItsResultAfterTheJoin) {
    thread.Init(&runnable, "worker", 0);
    runnable.m_result = E_UNEXPECTED;
    StartAndWaitUntilItRuns();
    EXPECT_NE(::GetCurrentThreadId(), runnable.m_threadId);
    EXPECT_EQ(runnable.m_threadId, ::GetThreadId(thread.GetHandle()));

    DWORD exitCode = 99;
    EXPECT_FALSE(thread.GetExitCode(&exitCode));
    EXPECT_EQ(99u, exitCode);

    ::SetEvent(runnable.m_end.Get());
    EXPECT_TRUE(thread.Join(10'000));
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_TRUE(thread.GetExitCode(&exitCode));
    EXPECT_EQ(static_cast<DWORD>(E_UNEXPECTED), exitCode);
}

TEST_F(CRunnableThreadTest, RefusesASecondStartAndLeavesTheFirstThreadAlone) {
    thread.Init(&runnable, "worker", 0);
    StartAndWaitUntilItRuns();
    const HANDLE first = thread.GetHandle();
    EXPECT_FALSE(thread.Start());
    EXPECT_EQ(first, thread.GetHandle());
    EXPECT_EQ(WAIT_TIMEOUT, ::WaitForSingleObject(first, 0));
}

TEST_F(CRunnableThreadTest, StaysJoinableAfterAJoinThatTimedOut) {
    thread.Init(&runnable, nullptr, 0);
    StartAndWaitUntilItRuns();
    EXPECT_FALSE(thread.Join(0));
    EXPECT_TRUE(thread.IsRunning());

    ::SetEvent(runnable.m_end.Get());
    ASSERT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(thread.GetHandle(), 10'000));
    EXPECT_TRUE(thread.Join(0));
}

TEST_F(CRunnableThreadTest, StartsAgainAfterAJoin) {
    thread.Init(&runnable, "worker", 0);
    for (const int result : {7, 8}) {
        SCOPED_TRACE(result);
        runnable.m_result = result;
        StartAndWaitUntilItRuns();
        ::SetEvent(runnable.m_end.Get());
        EXPECT_TRUE(thread.Join(10'000));
        DWORD exitCode = 99;
        EXPECT_TRUE(thread.GetExitCode(&exitCode));
        EXPECT_EQ(static_cast<DWORD>(result), exitCode);
    }
    EXPECT_EQ(2, runnable.m_runs);
}

TEST_F(CRunnableThreadTest, GivesTheThreadTheStackThatWasAskedFor) {
    struct CBigFrame final : IThreadRunnable {
        int Run() override {
            volatile char frame[4 << 20];
            for (size_t i = 0; i < sizeof(frame); i += 4096)
                frame[i] = 1;
            return frame[0];
        }
    } bigFrame;
    thread.Init(&bigFrame, nullptr, 8 << 20);
    ASSERT_TRUE(thread.Start());
    EXPECT_TRUE(thread.Join(INFINITE));
}

// What a debugger would see of the new thread.
struct SeenException {
    DWORD threadId = 0;
    ULONG_PTR words[4]{};
    DWORD wordCount = 0;
    std::string name;
} g_seen;

LONG CALLBACK WatchThreadNames(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode == 0x406D1388) {
        g_seen.threadId = ::GetCurrentThreadId();
        g_seen.wordCount = record.NumberParameters;
        std::copy_n(record.ExceptionInformation, 4, g_seen.words);
        g_seen.name = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

TEST_F(CRunnableThreadTest, AnnouncesItsNameToADebuggerBeforeTheBodyRuns) {
    g_seen = {};
    void* const watch = ::AddVectoredExceptionHandler(1, WatchThreadNames);
    thread.Init(&runnable, "MTA worker", 0);
    StartAndWaitUntilItRuns();
    ::RemoveVectoredExceptionHandler(watch);

    EXPECT_EQ(runnable.m_threadId, g_seen.threadId);
    EXPECT_EQ("MTA worker", g_seen.name);
    EXPECT_EQ(4u, g_seen.wordCount);
    EXPECT_EQ(0x1000u, g_seen.words[0]);
    EXPECT_EQ(0xFFFFFFFFu, g_seen.words[2]);
    EXPECT_EQ(0u, g_seen.words[3]);
}

TEST_F(CRunnableThreadTest, AnnouncesNothingWithoutAName) {
    g_seen = {};
    void* const watch = ::AddVectoredExceptionHandler(1, WatchThreadNames);
    thread.Init(&runnable, nullptr, 0);
    StartAndWaitUntilItRuns();
    ::RemoveVectoredExceptionHandler(watch);
    EXPECT_EQ(0u, g_seen.threadId);
}

}  // namespace
