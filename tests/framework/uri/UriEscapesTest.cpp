// Escaping, unescaping and the formatting of addresses.
#include "framework/uri/UriEscapes.h"

#include "framework/uri/CTKFUri.h"
#include "framework/uri/FormatHexBytes.h"
#include "framework/uri/FormatMacAddress.h"
#include "tests/support/CImportHook.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(UriEscapes, OfWholeUrisAndOfComponents) {
    const struct {
        const wchar_t *text, *escaped, *keepingEscapes, *component;
    } table[] = {
        {nullptr, L"", L"", L""},
        {L"", L"", L"", L""},
        {L"a b", L"a%20b", L"a%20b", L"a%20b"},
        {L"%41", L"%2541", L"%41", L"%2541"},
        {L"%4", L"%254", L"%254", L"%254"},
        {L"%", L"%25", L"%25", L"%25"},
        {L"%%41%zz%", L"%25%2541%25zz%25", L"%25%41%25zz%25", L"%25%2541%25zz%25"},
        {L"%c3%A9", L"%25c3%25A9", L"%c3%A9", L"%25c3%25A9"},
        {L"%4\u0661", L"%254%D9%A1", L"%254%D9%A1", L"%254%D9%A1"},  // a digit, but not a hexadecimal one
        {L"\u00e9", L"%C3%A9", L"%C3%A9", L"%C3%A9"},
        {L"\u20ac\U0001F3B5", L"%E2%82%AC%F0%9F%8E%B5", L"%E2%82%AC%F0%9F%8E%B5", L"%E2%82%AC%F0%9F%8E%B5"},
        {L"\xD83Cx\xDFB5", L"%EF%BF%BDx%EF%BF%BD", L"%EF%BF%BDx%EF%BF%BD", L"%EF%BF%BDx%EF%BF%BD"},
        {L"a/b:c", L"a/b:c", L"a/b:c", L"a%2Fb%3Ac"},
        {L"azAZ09", L"azAZ09", L"azAZ09", L"azAZ09"},
        {L"$-_.+!*'(),", L"$-_.+!*'(),", L"$-_.+!*'(),", L"$-_.+!*'(),"},
        {L"/:@;?&=|#", L"/:@;?&=|#", L"/:@;?&=|#", L"%2F%3A%40%3B%3F%26%3D%7C%23"},
        {L"[~]\\\"<>^`{}\x7f\x01", L"%5B%7E%5D%5C%22%3C%3E%5E%60%7B%7D%7F%01",
         L"%5B%7E%5D%5C%22%3C%3E%5E%60%7B%7D%7F%01", L"%5B%7E%5D%5C%22%3C%3E%5E%60%7B%7D%7F%01"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(::testing::PrintToString(row.text));
        EXPECT_EQ(row.escaped, EscapeUri(row.text, false));
        EXPECT_EQ(row.keepingEscapes, EscapeUri(row.text, true));
        EXPECT_EQ(row.component, EscapeUriComponent(row.text));
    }
}

TEST(UriEscapes, AreResolvedOnceAsUtf8AndDelimitersOnlyByUnescaping) {
    const struct {
        const wchar_t *text, *unescaped, *normalized;
    } table[] = {
        {nullptr, L"", L""},
        {L"", L"", L""},
        {L"%e2%82%ac", L"\u20ac", L"\u20ac"},
        {L"a%2Fb%41%3f", L"a/bA?", L"a%2FbA%3f"},
        {L"%23%2f%3F%25", L"#/?%", L"%23%2f%3F%25"},
        {L"%2541", L"%41", L"%2541"},
        {L"%3A%40%26%5c", L":@&\\", L":@&\\"},
        {L"%", L"%", L"%"},
        {L"x%4", L"x%4", L"x%4"},
        {L"%zz%%41%4g", L"%zz%A%4g", L"%zz%A%4g"},
        {L"\u00e9%C3%A9", L"\u00e9\u00e9", L"\u00e9\u00e9"},
        {L"%FFx", L"\uFFFDx", L"\uFFFDx"},                         // no UTF-8
        {L"%C3x", L"\uFFFDx", L"\uFFFDx"},                         // half a character
        {L"\u00e9%A9", L"\u00e9\uFFFD", L"\u00e9\uFFFD"},          // and the other half
        {L"\xD83C%41\xDFB5", L"\uFFFDA\uFFFD", L"\uFFFDA\uFFFD"},  // halves of a surrogate pair
    };
    for (const auto& row : table) {
        SCOPED_TRACE(::testing::PrintToString(row.text));
        EXPECT_EQ(row.unescaped, UnescapeUri(row.text));
        EXPECT_EQ(row.normalized, NormalizeUriEscapesOf(row.text));
    }
    EXPECT_EQ(std::wstring(L"a\0b", 3), UnescapeUri(L"a%00b"));
    EXPECT_EQ(L"http://h/a%2FbA%3f?\u20ac", CTKFUri::Parse(L"http://h/a%2Fb%41%3f?%e2%82%ac")->NormalizeUriEscapes());
}

constexpr BYTE kAddress[] = {0x00, 0x1A, 0xFF, 0x02, 0x10, 0xAB};
ULONG g_length;
DWORD g_result;

DWORD WINAPI AnswerArp(ULONG destination, ULONG, PVOID address, PULONG length) {
    EXPECT_EQ(0x0100007Fu, destination);
    EXPECT_EQ(sizeof(kAddress), *length);
    std::copy(std::begin(kAddress), std::end(kAddress), static_cast<BYTE*>(address));
    *length = g_length;
    return g_result;
}

TEST(UriEscapes, HardwareAddressesAreSixBytesOrNothing) {
    const CImportHook hook("SendARP", &AnswerArp);
    ASSERT_TRUE(hook.IsSet());
    const struct {
        DWORD result;
        ULONG length;
        const wchar_t* text;
    } table[] = {{NO_ERROR, 6, L"00-1a-ff-02-10-ab"}, {NO_ERROR, 0, L""}, {ERROR_NOT_SUPPORTED, 6, L""}};
    for (const auto& row : table) {
        g_result = row.result;
        g_length = row.length;
        EXPECT_EQ(row.text, FormatMacAddress(0x0100007F));
    }
    EXPECT_EQ(L"00-1A-FF", FormatHexBytes(kAddress, 3));
    EXPECT_EQ(L"", FormatHexBytes(nullptr, 3));
}

}  // namespace
