#include "framework/com/CStringManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

using Utf8 = CStringManager<CP_UTF8>;

constexpr wchar_t kWide[] = L"na\u00EFve \U0001F3AC";
constexpr char kNarrow[] = "na\xC3\xAFve \xF0\x9F\x8E\xAC";

TEST(CStringManagerTest, GivesEveryFormWhicheverWasSetAndWhicheverIsAskedForFirst) {
    void (*const setters[])(Utf8&) = {
        [](Utf8& string) { string.SetWide(kWide); },
        [](Utf8& string) { string.SetNarrow(kNarrow); },
        [](Utf8& string) { string.SetBstr(kWide); },
    };
    void (*const checks[])(Utf8&) = {
        [](Utf8& string) { EXPECT_STREQ(kWide, string.GetWide()); },
        [](Utf8& string) { EXPECT_STREQ(kNarrow, string.GetNarrow()); },
        [](Utf8& string) {
            EXPECT_STREQ(kWide, string.GetBstr());
            EXPECT_EQ(8u, ::SysStringLen(string.GetBstr()));
        },
    };
    for (size_t set = 0; set < 3; ++set)
        for (size_t order = 0; order < 3; ++order) {
            SCOPED_TRACE(::testing::Message() << "setter " << set << ", order " << order);
            Utf8 string;
            string.SetWide(L"old");  // every form of it has to go
            EXPECT_STREQ("old", string.GetNarrow());
            EXPECT_STREQ(L"old", string.GetBstr());
            setters[set](string);
            for (size_t i = 0; i < 3; ++i)
                checks[(order + i) % 3](string);
            string.SetWide(string.GetWide());  // to its own string
            checks[1](string);
        }
}

TEST(CStringManagerTest, TellsNoStringFromAnEmptyOne) {
    Utf8 string;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(nullptr, string.GetWide());
        EXPECT_EQ(nullptr, string.GetNarrow());
        EXPECT_EQ(nullptr, string.GetBstr());
        string.SetWide(L"");
        EXPECT_STREQ("", string.GetNarrow());
        EXPECT_STREQ(L"", string.GetBstr());
        string.SetWide(nullptr);
    }
}

TEST(CStringManagerTest, GivesASpellingEvenOfTextThatAFormCannotSay) {
    CStringManager<CP_ACP> ansi;
    ansi.SetWide(L"\u6620\u05D0\U0001F3AC.avi");
    EXPECT_NE(nullptr, ansi.GetNarrow());
    EXPECT_STREQ(L"\u6620\u05D0\U0001F3AC.avi", ansi.GetBstr());
    Utf8 string;
    string.SetWide(L"a\xD800z");
    EXPECT_STREQ("a\xEF\xBF\xBDz", string.GetNarrow());
    EXPECT_STREQ(L"a\xD800z", string.GetWide());
    string.SetNarrow("a\xFFz");
    EXPECT_STREQ(L"a\xFFFDz", string.GetWide());
}

TEST(CStringManagerTest, GivesRacingReadersOneAndTheSameForm) {
    for (int round = 0; round < 200; ++round) {
        Utf8 string;
        string.SetNarrow("race");
        std::atomic<int> ready{0};
        const wchar_t* seen[2][2]{};
        const auto read = [&](int reader) {
            ++ready;
            while (ready < 2)
                std::this_thread::yield();
            seen[reader][0] = string.GetWide();
            seen[reader][1] = string.GetBstr();
        };
        std::thread other(read, 0);
        read(1);
        other.join();
        ASSERT_EQ(seen[0][0], seen[1][0]);
        ASSERT_EQ(seen[0][1], seen[1][1]);
        ASSERT_STREQ(L"race", string.GetWide());
    }
}

}  // namespace
