#include "threading/CBoostThreadRunner.h"

#include <gtest/gtest.h>

#include <future>

namespace {

TEST(CBoostThreadRunnerTest, RunsItsCallableThoughASecondStartIsRefused) {
    std::promise<int> result;
    const auto answer = result.get_future().share();
    CBoostThreadRunner runner("runner");
    EXPECT_THROW(runner.Run(), std::exception);
    ASSERT_TRUE(runner.Start([&] { return answer.get(); }));
    EXPECT_FALSE(runner.Start([] { return 2; }) || runner.Join(0));
    EXPECT_EQ(WAIT_TIMEOUT, ::WaitForSingleObject(runner.GetHandle(), 0));
    result.set_value(-5);
    ASSERT_TRUE(runner.Join(10'000));
    DWORD exitCode = 99;
    EXPECT_TRUE(runner.GetExitCode(&exitCode));
    EXPECT_EQ(-5, static_cast<int>(exitCode));
    EXPECT_EQ(-5, runner.Run()) << "the refused callable has not come in its place";
}

}  // namespace
