#include "framework/com/CStringManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using Utf8 = CStringManager<CP_UTF8>;

// Sets the string in one form; each row of a table sets it in another.
struct Setter {
    const char* form;
    void (*set)(Utf8&);
};
const Setter kSetters[] = {
    {"wide", [](Utf8& string) { string.SetWide(L"na\u00EFve \U0001F3AC"); }},
    {"narrow", [](Utf8& string) { string.SetNarrow("na\xC3\xAFve \xF0\x9F\x8E\xAC"); }},
    {"BSTR", [](Utf8& string) { string.SetBstr(L"na\u00EFve \U0001F3AC"); }},
};

TEST(CStringManagerTest, GivesEveryFormWhicheverWasSet) {
    for (const Setter& setter : kSetters) {
        SCOPED_TRACE(setter.form);
        for (int order = 0; order < 3; ++order) {  // which form is asked for first decides what is made from what
            SCOPED_TRACE(order);
            Utf8 string;
            setter.set(string);
            for (int i = 0; i < 3; ++i) {
                switch ((order + i) % 3) {
                    case 0:
                        EXPECT_STREQ(L"na\u00EFve \U0001F3AC", string.GetWide());
                        break;
                    case 1:
                        EXPECT_STREQ("na\xC3\xAFve \xF0\x9F\x8E\xAC", string.GetNarrow());
                        break;
                    default:
                        EXPECT_STREQ(L"na\u00EFve \U0001F3AC", string.GetBstr());
                        EXPECT_EQ(8u, ::SysStringLen(string.GetBstr()));
                }
            }
        }
    }
}

TEST(CStringManagerTest, ReplacesEveryFormWhenOneIsSet) {
    for (const Setter& setter : kSetters) {
        SCOPED_TRACE(setter.form);
        Utf8 string;
        string.SetWide(L"old");
        EXPECT_STREQ("old", string.GetNarrow());
        EXPECT_STREQ(L"old", string.GetBstr());
        setter.set(string);
        EXPECT_STREQ(L"na\u00EFve \U0001F3AC", string.GetBstr());
        EXPECT_STREQ("na\xC3\xAFve \xF0\x9F\x8E\xAC", string.GetNarrow());
        EXPECT_STREQ(L"na\u00EFve \U0001F3AC", string.GetWide());
    }
}

TEST(CStringManagerTest, TellsNoStringFromAnEmptyOne) {
    Utf8 string;
    EXPECT_EQ(nullptr, string.GetWide());
    EXPECT_EQ(nullptr, string.GetNarrow());
    EXPECT_EQ(nullptr, string.GetBstr());

    string.SetWide(L"");
    EXPECT_STREQ("", string.GetNarrow());
    EXPECT_STREQ(L"", string.GetBstr());

    string.SetWide(nullptr);
    EXPECT_EQ(nullptr, string.GetWide());
    EXPECT_EQ(nullptr, string.GetNarrow());
    EXPECT_EQ(nullptr, string.GetBstr());
}

TEST(CStringManagerTest, MakesAFormOnceAndKeepsIt) {
    Utf8 string;
    string.SetNarrow("clip");
    const wchar_t* const wide = string.GetWide();
    EXPECT_EQ(wide, string.GetWide());
    EXPECT_EQ(string.GetBstr(), string.GetBstr());
}

TEST(CStringManagerTest, CanBeSetToItsOwnString) {
    Utf8 string;
    string.SetNarrow("clip");
    string.SetWide(string.GetWide());
    EXPECT_STREQ(L"clip", string.GetWide());
    EXPECT_STREQ("clip", string.GetNarrow());
}

TEST(CStringManagerTest, KeepsAWideNameThatTheAnsiCodePageCannotSpell) {
    CStringManager<CP_ACP> string;
    const std::wstring name = L"C:\\\u6620\u753B\\\u05D0\U0001F3AC.avi";
    string.SetWide(name.c_str());
    EXPECT_NE(nullptr, string.GetNarrow());
    EXPECT_EQ(name, string.GetWide());
    EXPECT_EQ(name, string.GetBstr());
}

TEST(CStringManagerTest, GivesASpellingEvenOfBrokenText) {
    Utf8 string;
    string.SetWide(L"a\xD800z");
    EXPECT_STREQ("a\xEF\xBF\xBDz", string.GetNarrow());
    EXPECT_STREQ(L"a\xD800z", string.GetWide());
    string.SetNarrow("a\xFFz");
    EXPECT_STREQ(L"a\xFFFDz", string.GetWide());
}

TEST(CStringManagerTest, GivesRacingReadersOneAndTheSameForm) {
    constexpr int kThreads = 2;
    for (int round = 0; round < 200; ++round) {
        Utf8 string;
        string.SetNarrow("race");
        std::atomic<int> ready{0};
        const wchar_t* wide[kThreads]{};
        BSTR bstr[kThreads]{};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back([&, i] {
                ++ready;
                while (ready < kThreads)
                    std::this_thread::yield();
                wide[i] = string.GetWide();
                bstr[i] = string.GetBstr();
            });
        for (std::thread& thread : threads)
            thread.join();
        for (int i = 0; i < kThreads; ++i) {
            ASSERT_EQ(string.GetWide(), wide[i]);
            ASSERT_EQ(string.GetBstr(), bstr[i]);
        }
        ASSERT_STREQ(L"race", wide[0]);
    }
}

}  // namespace
