#include "framework/com/CStringManager.h"

#include <gtest/gtest.h>

namespace {

using Utf8 = CStringManager<CP_UTF8>;

constexpr wchar_t kWide[] = L"na\u00EFve \U0001F3AC";
constexpr char kNarrow[] = "na\xC3\xAFve \xF0\x9F\x8E\xAC";

TEST(CStringManagerTest, GivesEveryFormWhicheverWasSet) {
    for (int setter = 0; setter < 3; ++setter)
        for (int order = 0; order < 3; ++order) {
            SCOPED_TRACE(::testing::Message() << "setter " << setter << ", order " << order);
            Utf8 string;
            string.SetWide(L"old");  // every form of it has to go
            EXPECT_STREQ("old", string.GetNarrow());
            EXPECT_STREQ(L"old", string.GetBstr());
            setter == 0 ? string.SetWide(kWide) : setter == 1 ? string.SetNarrow(kNarrow) : string.SetBstr(kWide);
            for (int form = order; form < order + 3; ++form)
                EXPECT_TRUE(form % 3 == 0   ? !std::wcscmp(kWide, string.GetWide())
                            : form % 3 == 1 ? !std::strcmp(kNarrow, string.GetNarrow())
                                            : ::SysStringLen(string.GetBstr()) == 8);
            string.SetWide(string.GetWide());  // to its own string
            EXPECT_STREQ(kNarrow, string.GetNarrow());
        }
}

TEST(CStringManagerTest, TellsNoStringFromAnEmptyOne) {
    Utf8 string;
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(string.GetWide() || string.GetNarrow() || string.GetBstr());
        string.SetWide(L"");
        EXPECT_STREQ("", string.GetNarrow());
        string.SetWide(nullptr);
    }
}

TEST(CStringManagerTest, KeepsWhatACodePageCannotSay) {
    Utf8 string;
    string.SetWide(L"a\xD800z");
    EXPECT_STREQ("a\xEF\xBF\xBDz", string.GetNarrow());
    EXPECT_STREQ(L"a\xD800z", string.GetWide());
}

}  // namespace
