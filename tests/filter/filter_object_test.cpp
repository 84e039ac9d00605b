// The filter object through its COM interfaces alone.
#include "tests/filter/CFilterHost.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

TEST(FilterObject, IsMadeThroughTheClassFactory) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CFilterHost host;
    ASSERT_EQ(S_OK, host.Create());
    EXPECT_TRUE(host.Reader());
    EXPECT_EQ(0u, host.Release());
}
