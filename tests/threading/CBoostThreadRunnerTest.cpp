#include "threading/CBoostThreadRunner.h"

#include "diagnostics/CAutoDestructor.h"

#include <gtest/gtest.h>

namespace {

TEST(CBoostThreadRunnerTest, RunsItsCallableThoughASecondStartIsRefused) {
    const CAutoHandle go(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    CBoostThreadRunner runner("runner");
    EXPECT_THROW(runner.Run(), std::exception);
    ASSERT_TRUE(runner.Start([&] {
        ::WaitForSingleObject(go.Get(), INFINITE);
        return -5;
    }));
    EXPECT_FALSE(runner.Start([] { return 2; }));
    ::SetEvent(go.Get());
    ASSERT_TRUE(runner.Join(10'000));
    DWORD exitCode = 99;
    EXPECT_TRUE(runner.GetExitCode(&exitCode));
    EXPECT_EQ(-5, static_cast<int>(exitCode));
}

}  // namespace
