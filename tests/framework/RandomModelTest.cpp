// Random texts and names against rules that hold for all of them.
#include "framework/uri/CTKFUri.h"
#include "framework/uri/UriEscapes.h"
#include "framework/uri/Utf8Text.h"

#include <gtest/gtest.h>

#include <random>

namespace {

struct RandomUriTest : ::testing::Test {
    std::mt19937 random{4711};

    std::wstring AnyText() {
        static constexpr const wchar_t* kParts[] = {
            L"%",      L"%4", L"%41", L"%2f",   L"%25",     L"%C3%A9",    L"%e2%82", L"%FF",        L"a",
            L"Z",      L"0",  L"/",   L"\\",    L":",       L"?",         L"#",      L"@",          L"[",
            L"]",      L"|",  L".",   L"~",     L" ",       L"\x01",      L"\u00e9", L"\U0001F3B5", L"\xD83C",
            L"\xDFB5", L"C:", L"//",  L"file:", L"http://", L"localhost", L"UNC",    L"\\\\?\\",    L"::1"};
        std::wstring text;
        for (size_t left = random() % 13; left > 0; --left)
            text += kParts[random() % std::size(kParts)];
        return text;
    }
};

TEST_F(RandomUriTest, WhatIsEscapedComesBackAndNothingIsEscapedTwice) {
    for (int step = 0; step < 50'000; ++step) {
        const std::wstring text = AnyText();
        const std::wstring plain = WideOfUtf8(Utf8OfWide(text));  // without halves of surrogate pairs
        const std::wstring component = EscapeUriComponent(text.c_str());
        ASSERT_EQ(plain, UnescapeUri(component.c_str()));
        ASSERT_EQ(plain, UnescapeUri(EscapeUri(text.c_str(), false).c_str()));
        ASSERT_EQ(plain, UnescapeUri(NormalizeUriEscapesOf(component.c_str()).c_str()));
        const std::wstring kept = EscapeUri(text.c_str(), true);
        ASSERT_EQ(kept, EscapeUri(kept.c_str(), true));
        ASSERT_EQ(UnescapeUri(text.c_str()), UnescapeUri(kept.c_str()));
    }
}

TEST_F(RandomUriTest, APathThatAnyNameLeadsToComesBackFromItsUrl) {
    static constexpr const wchar_t* kStarts[] = {L"",      L"C:\\",    L"\\\\s",   L"\\\\?\\C:\\",
                                                 L"file:", L"file://", L"file:///"};
    int paths = 0;
    for (int step = 0; step < 20'000; ++step) {
        const std::wstring text = kStarts[random() % std::size(kStarts)] + AnyText();
        const auto uri = CTKFUri::Parse(text.c_str());
        if (!uri || uri->GetFilePath().empty())
            continue;
        const auto path = CTKFUri::FromFilePath(uri->GetFilePath().c_str());
        // The path of a URL may read as another kind of name ("file:ab:c"), but not as another path.
        if (!path || path->ToString().empty())
            continue;
        ++paths;
        ASSERT_EQ(uri->GetFilePath(), path->GetFilePath());
        ASSERT_EQ(uri->IsLocalFile(), path->IsLocalFile());
        const auto url = CTKFUri::Parse(path->ToString().c_str());
        ASSERT_TRUE(url);
        ASSERT_EQ(path->GetFilePath(), url->GetFilePath());
        ASSERT_TRUE(*path == *url);
    }
    EXPECT_GT(paths, 3'000);
}

}  // namespace
