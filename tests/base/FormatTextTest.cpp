#include "base/FormatText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

TEST(FormatTextTest, FormatsAsTheWindowsWidePrintfDoesWithoutALengthLimit) {
    const std::wstring longName(1000000, L'\u6587');
    EXPECT_EQ(L"", base::FormatText(L""));
    EXPECT_EQ(L"wide narrow -7 0x0000ABCD 100%",
              base::FormatText(L"%s %S %d 0x%08X 100%%", L"wide", "narrow", -7, 0xABCDu));
    EXPECT_EQ(L"9223372036854775807", base::FormatText(L"%I64d", INT64_MAX));
    EXPECT_EQ(L"<" + longName + L">", base::FormatText(L"<%s>", longName.c_str()));
}

}  // namespace
