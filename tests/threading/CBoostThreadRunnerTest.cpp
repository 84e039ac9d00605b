#include "threading/CBoostThreadRunner.h"

#include "diagnostics/CAutoDestructor.h"

#include <gtest/gtest.h>
#include <boost/bind/bind.hpp>

namespace {

int WaitAndAnswer(HANDLE event, int answer) {
    ::WaitForSingleObject(event, INFINITE);
    return answer;
}

TEST(CBoostThreadRunnerTest, RunsTheCallableAndGivesItsResult) {
    const CAutoHandle go(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    CBoostThreadRunner runner("runner");
    EXPECT_EQ(nullptr, runner.GetHandle());
    ASSERT_TRUE(runner.Start(boost::bind(&WaitAndAnswer, go.Get(), -5)));
    EXPECT_NE(nullptr, runner.GetHandle());
    DWORD exitCode = 99;
    EXPECT_FALSE(runner.GetExitCode(&exitCode));

    ::SetEvent(go.Get());
    ASSERT_TRUE(runner.Join(10'000));
    ASSERT_TRUE(runner.GetExitCode(&exitCode));
    EXPECT_EQ(-5, static_cast<int>(exitCode));
}

TEST(CBoostThreadRunnerTest, KeepsTheRunningCallableWhenASecondStartIsRefused) {
    const CAutoHandle go(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    CBoostThreadRunner runner(nullptr);
    ASSERT_TRUE(runner.Start(boost::bind(&WaitAndAnswer, go.Get(), 1)));
    EXPECT_FALSE(runner.Start([] { return 2; }));
    ::SetEvent(go.Get());
    ASSERT_TRUE(runner.Join(10'000));
    EXPECT_EQ(1, runner.Run());

    ASSERT_TRUE(runner.Start([] { return 2; }));
    ASSERT_TRUE(runner.Join(10'000));
    DWORD exitCode = 99;
    EXPECT_TRUE(runner.GetExitCode(&exitCode));
    EXPECT_EQ(2u, exitCode);
}

TEST(CBoostThreadRunnerTest, ThrowsWhenThereIsNothingToCall) {
    CBoostThreadRunner runner("never set");
    try {
        runner.Run();
        FAIL() << "nothing was thrown";
    } catch (const std::exception& exception) {
        EXPECT_STREQ("call to empty boost::function", exception.what());
    }
}

}  // namespace
