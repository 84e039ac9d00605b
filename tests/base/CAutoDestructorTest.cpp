#include "base/CAutoDestructor.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

std::vector<int> g_closed;

struct CNumberCloser {
    static int Invalid() noexcept { return 0; }
    static bool IsValid(int number) noexcept { return number != 0; }
    static void Close(int number) noexcept { g_closed.push_back(number), ::SetLastError(ERROR_GEN_FAILURE); }
};
using CAutoNumber = base::CAutoDestructor<int, CNumberCloser>;

TEST(AutoDestructorTest, ClosesWhatItOwnsExactlyOnce) {
    g_closed.clear();
    ::SetLastError(ERROR_DISK_FULL);
    {
        CAutoNumber first(1), second(std::move(first)), given(5);
        second.Reset(2);
        second = CAutoNumber(3);
        *second.Put() = 4;
        EXPECT_EQ(5, given.Detach());
    }
    EXPECT_EQ((std::vector{1, 2, 3, 4}), g_closed);
    EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
    EXPECT_FALSE(base::CAutoHandle(nullptr) || base::CAutoHandle(INVALID_HANDLE_VALUE));
}

}  // namespace
