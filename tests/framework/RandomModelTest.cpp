// Random texts and names against rules that hold for all of them. Each text ends where its memory ends, so that a
// read beyond it is a fault.
#include "framework/uri/CTKFUri.h"
#include "framework/uri/UriEscapes.h"
#include "framework/uri/Utf8Text.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <memory>
#include <random>

namespace {

class RandomUriTest : public ::testing::Test {
protected:
    size_t Below(size_t limit) { return m_random() % limit; }
    std::wstring OneOf(std::initializer_list<const wchar_t*> choices) { return choices.begin()[Below(choices.size())]; }
    // Up to `most` of the choices, one after the other.
    std::wstring SomeOf(size_t most, std::initializer_list<const wchar_t*> choices) {
        std::wstring text;
        for (size_t left = Below(most + 1); left > 0; --left)
            text += OneOf(choices);
        return text;
    }
    std::wstring AnyText() {
        return SomeOf(
            12, {L"%",      L"%4", L"%41", L"%2f",   L"%25",     L"%C3%A9",    L"%e2%82", L"%FF",        L"a",
                 L"Z",      L"0",  L"/",   L"\\",    L":",       L"?",         L"#",      L"@",          L"[",
                 L"]",      L"|",  L".",   L"~",     L" ",       L"\x01",      L"\u00e9", L"\U0001F3B5", L"\xD83C",
                 L"\xDFB5", L"C:", L"//",  L"file:", L"http://", L"localhost", L"UNC",    L"\\\\?\\",    L"::1"});
    }
    // A copy of `text` at the very end of a page that nothing follows.
    const wchar_t* AtTheEdge(const std::wstring& text) {
        const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
        EXPECT_LE(bytes, kPage);
        return static_cast<wchar_t*>(memcpy(m_page.get() + kPage - bytes, text.c_str(), bytes));
    }

private:
    static constexpr size_t kPage = 0x10000;
    struct Free {
        void operator()(BYTE* pages) const { ::VirtualFree(pages, 0, MEM_RELEASE); }
    };
    std::mt19937 m_random{4711};
    std::unique_ptr<BYTE, Free> m_page{[] {
        void* const pages = ::VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE, PAGE_NOACCESS);
        return static_cast<BYTE*>(::VirtualAlloc(pages, kPage, MEM_COMMIT, PAGE_READWRITE));
    }()};
};

TEST_F(RandomUriTest, WhatIsEscapedComesBackAndNothingIsEscapedTwice) {
    for (int step = 0; step < 200'000; ++step) {
        const std::wstring text = AnyText();
        const wchar_t* const edge = AtTheEdge(text);
        const std::wstring plain = WideOfUtf8(Utf8OfWide(text));  // without halves of surrogate pairs
        const std::wstring component = EscapeUriComponent(edge);
        ASSERT_EQ(plain, UnescapeUri(component.c_str()));
        ASSERT_EQ(plain, UnescapeUri(EscapeUri(edge, false).c_str()));
        ASSERT_EQ(plain, UnescapeUri(NormalizeUriEscapesOf(component.c_str()).c_str()));
        const std::wstring kept = EscapeUri(edge, true);
        ASSERT_EQ(kept, EscapeUri(AtTheEdge(kept), true));
        ASSERT_EQ(UnescapeUri(AtTheEdge(text)), UnescapeUri(kept.c_str()));
    }
}

TEST_F(RandomUriTest, APathThatAnyNameLeadsToComesBackFromItsUrl) {
    int paths = 0;
    for (int step = 0; step < 20'000; ++step) {
        const std::wstring text =
            OneOf({L"", L"C:\\", L"\\\\s", L"\\\\?\\C:\\", L"file:", L"file://", L"file:///"}) + AnyText();
        const auto uri = CTKFUri::Parse(AtTheEdge(text));
        if (!uri || uri->GetFilePath().empty())
            continue;
        const auto path = CTKFUri::FromFilePath(AtTheEdge(uri->GetFilePath()));
        // The path of a URL may read as another kind of name ("file:ab:c"), but not as another path.
        if (!path || path->ToString().empty())
            continue;
        ++paths;
        ASSERT_EQ(uri->GetFilePath(), path->GetFilePath());
        ASSERT_EQ(uri->IsLocalFile(), path->IsLocalFile());
        const auto url = CTKFUri::Parse(AtTheEdge(path->ToString()));
        ASSERT_TRUE(url);
        ASSERT_EQ(path->GetFilePath(), url->GetFilePath());
        ASSERT_TRUE(*path == *url);
    }
    EXPECT_GT(paths, 3'000);
}

}  // namespace
