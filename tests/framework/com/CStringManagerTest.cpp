#include "framework/com/CStringManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using Utf8 = CStringManager<CP_UTF8>;

constexpr wchar_t kWide[] = L"na\u00EFve \U0001F3AC";
constexpr char kNarrow[] = "na\xC3\xAFve \xF0\x9F\x8E\xAC";

TEST(CStringManagerTest, GivesEveryFormWhicheverWasSetAndWhicheverIsAskedForFirst) {
    for (int setter = 0; setter < 3; ++setter)
        for (int order = 0; order < 3; ++order) {
            SCOPED_TRACE(::testing::Message() << "setter " << setter << ", order " << order);
            Utf8 string;
            string.SetWide(L"old");  // every form of it has to go
            EXPECT_STREQ("old", string.GetNarrow());
            EXPECT_STREQ(L"old", string.GetBstr());
            setter == 0 ? string.SetWide(kWide) : setter == 1 ? string.SetNarrow(kNarrow) : string.SetBstr(kWide);
            for (int form = order; form < order + 3; ++form) {
                if (form % 3 == 0)
                    EXPECT_STREQ(kWide, string.GetWide());
                else if (form % 3 == 1)
                    EXPECT_STREQ(kNarrow, string.GetNarrow());
                else
                    EXPECT_EQ(8u, ::SysStringLen(string.GetBstr()));
            }
            string.SetWide(string.GetWide());  // to its own string
            EXPECT_STREQ(kNarrow, string.GetNarrow());
        }
}

TEST(CStringManagerTest, TellsNoStringFromAnEmptyOneAndSpellsEvenWhatAFormCannotSay) {
    Utf8 string;
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(string.GetWide() || string.GetNarrow() || string.GetBstr());
        string.SetWide(L"");
        EXPECT_STREQ("", string.GetNarrow());
        EXPECT_STREQ(L"", string.GetBstr());
        string.SetWide(nullptr);
    }
    string.SetWide(L"a\xD800z");
    EXPECT_STREQ("a\xEF\xBF\xBDz", string.GetNarrow());
    EXPECT_STREQ(L"a\xD800z", string.GetWide());
    string.SetNarrow("a\xFFz");
    EXPECT_STREQ(L"a\xFFFDz", string.GetWide());
    CStringManager<CP_ACP> ansi;
    ansi.SetWide(L"\u6620\u05D0\U0001F3AC.avi");
    EXPECT_NE(nullptr, ansi.GetNarrow());
    EXPECT_STREQ(L"\u6620\u05D0\U0001F3AC.avi", ansi.GetBstr());
}

TEST(CStringManagerTest, GivesRacingReadersOneAndTheSameForm) {
    for (int round = 0; round < 200; ++round) {
        Utf8 string;
        string.SetNarrow("race");
        std::atomic<int> ready{0};
        const auto read = [&](std::pair<const wchar_t*, BSTR>& seen) {
            for (++ready; ready < 2;)
                std::this_thread::yield();
            seen = {string.GetWide(), string.GetBstr()};
        };
        std::pair<const wchar_t*, BSTR> here, there;
        std::thread other([&] { read(there); });
        read(here);
        other.join();
        ASSERT_EQ(here, there);
        ASSERT_STREQ(L"race", here.first);
    }
}

}  // namespace
