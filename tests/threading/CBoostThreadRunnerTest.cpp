#include "threading/CBoostThreadRunner.h"

#include <gtest/gtest.h>

#include <future>

namespace {

TEST(CBoostThreadRunnerTest, RunsItsCallableThoughASecondStartIsRefused) {
    std::promise<int> result;
    CBoostThreadRunner runner("runner");
    EXPECT_THROW(runner.Run(), std::exception);
    ASSERT_TRUE(runner.Start([&] { return result.get_future().get(); }));
    EXPECT_FALSE(runner.Start([] { return 2; }));
    result.set_value(-5);
    ASSERT_TRUE(runner.Join(10'000));
    DWORD exitCode = 99;
    EXPECT_TRUE(runner.GetExitCode(&exitCode));
    EXPECT_EQ(-5, static_cast<int>(exitCode));
}

}  // namespace
