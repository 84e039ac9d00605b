#include "framework/uri/FormatHexBytes.h"

#include <gtest/gtest.h>

namespace {

TEST(FormatHexBytes, WritesTwoUpperCaseDigitsForEachByte) {
    const unsigned char bytes[] = {0x00, 0x1A, 0xFF, 0xA1};
    EXPECT_EQ(L"00-1A-FF-A1", FormatHexBytes(bytes, 4));
    EXPECT_EQ(L"00", FormatHexBytes(bytes, 1));
    EXPECT_EQ(L"", FormatHexBytes(bytes, 0));
    EXPECT_EQ(L"", FormatHexBytes(nullptr, 4));
}

}  // namespace
