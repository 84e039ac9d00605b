// Escaping, unescaping and the formatting of addresses.
#include "framework/uri/UriEscapes.h"

#include "framework/uri/CTKFUri.h"
#include "framework/uri/FormatHexBytes.h"
#include "framework/uri/FormatMacAddress.h"
#include "framework/uri/NameForLog.h"
#include "tests/support/CImportHook.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(NameForLog, HidesExactlyTheCredentialsOfUrls) {
    const std::pair<const wchar_t*, const wchar_t*> table[] = {
        {nullptr, L""},
        {L"http://me:pass@h/a@b", L"http://***@h/a@b"},
        {L"http://me:pa/s@s@h/a", L"http://***@h/a"},
        {LR"(HTTP:\\me:pw@h)", LR"(HTTP:\\***@h)"},
        {L"https:///me:pw@h", L"https:///***@h"},
        {L"http:me:pw@h", L"http:***@h"},
        {L"data:,a@b", L"data:,a@b"},
        {L"http://me@h:80?q=a@b", L"http://***@h:80?q=a@b"},
        {L"http://me:x@[broken", L"http://***@[broken"},
        {L"http://h/a@b", L"http://h/a@b"},
        {L"http://h?a@b", L"http://h?a@b"},
        {L"C:\\a://b@c\\d", L"C:\\a://b@c\\d"},
        {L"a@b.wav", L"a@b.wav"},
        {L"view-source:http://me:pw@h/a@b", L"view-source:http://***@h/a@b"},
        {L"feed:HTTPS:/me:pw@h", L"feed:HTTPS:/***@h"},
        {L"view-source:http://h/a@b", L"view-source:http://h/a@b"},
        {L"me:pw@h/a@b", L"***@h/a@b"},
        {L"me:p/w@h:80", L"***@h:80"},
        {L"htp:/me:pw@h", L"***@h"},
        {L"x:pw@h/a", L"***@h/a"},
        {L"//me:pw@h/a@b", L"//***@h/a@b"},
        {L"/me:pw@h", L"/me:pw@h"},
        {L"///a:b@c", L"///a:b@c"},
        {L"C:\\a:b@c.avi", L"C:\\a:b@c.avi"},
        {L"\\\\server@80\\a:b@c", L"\\\\server@80\\a:b@c"},
        {L"file:///C:/a@b.avi", L"file:///C:/a@b.avi"},
        {L"FILE://me:pw@h/a@b", L"FILE://***@h/a@b"},
        {L"mail@file.avi:x", L"mail@file.avi:x"},
        {L"http://", L"http://"},
    };
    for (const auto& [name, shown] : table)
        EXPECT_EQ(shown, framework::NameForLog(name));
}

TEST(UriEscapes, KeepDelimitersOnlyOutsideComponents) {
    const struct {
        const wchar_t *text, *escaped, *keepingEscapes, *component;
    } table[] = {
        {nullptr, L"", L"", L""},
        {L"a b%41", L"a%20b%2541", L"a%20b%41", L"a%20b%2541"},
        {L"%%c3%zz%4", L"%25%25c3%25zz%254", L"%25%c3%25zz%254", L"%25%25c3%25zz%254"},
        {L"%4\u0661%", L"%254%D9%A1%25", L"%254%D9%A1%25", L"%254%D9%A1%25"},  // a digit, but not a hexadecimal one
        {L"\u00e9\u20ac\U0001F3B5", L"%C3%A9%E2%82%AC%F0%9F%8E%B5", L"%C3%A9%E2%82%AC%F0%9F%8E%B5",
         L"%C3%A9%E2%82%AC%F0%9F%8E%B5"},
        {L"\xD83Cx\xDFB5", L"%EF%BF%BDx%EF%BF%BD", L"%EF%BF%BDx%EF%BF%BD", L"%EF%BF%BDx%EF%BF%BD"},
        {L"azAZ09$-_.+!*'(),", L"azAZ09$-_.+!*'(),", L"azAZ09$-_.+!*'(),", L"azAZ09$-_.+!*'(),"},
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

TEST(UriEscapes, AreResolvedOnceAsUtf8) {
    const struct {
        const wchar_t *text, *unescaped, *normalized;
    } table[] = {
        {nullptr, L"", L""},
        {L"%e2%82%ac\u00e9%C3%A9", L"\u20ac\u00e9\u00e9", L"\u20ac\u00e9\u00e9"},
        {L"a%2Fb%41%3f%23%2f%3F%25", L"a/bA?#/?%", L"a%2FbA%3f%23%2f%3F%25"},
        {L"%3A%40%26%5c%2541", L":@&\\%41", L":@&\\%2541"},
        {L"%zz%%41%4gx%4", L"%zz%A%4gx%4", L"%zz%A%4gx%4"},
        {L"%FFx", L"\uFFFDx", L"\uFFFDx"},                         // no UTF-8
        {L"%C3x", L"\uFFFDx", L"\uFFFDx"},                         // half a character
        {L"\u00e9%A9", L"\u00e9\uFFFD", L"\u00e9\uFFFD"},          // and the other half
        {L"\xD83C%41\xDFB5", L"\uFFFDA\uFFFD", L"\uFFFDA\uFFFD"},  // halves of a surrogate pair
    };
    for (const auto& row : table) {
        SCOPED_TRACE(::testing::PrintToString(row.text));
        EXPECT_EQ(row.unescaped, UnescapeUri(row.text));
        EXPECT_EQ(row.normalized, framework::NormalizeUriEscapesOf(row.text));
    }
    EXPECT_EQ(std::wstring(L"a\0b", 3), UnescapeUri(L"a%00b"));
    EXPECT_EQ(L"http://h/a%2FbA%3f?\u20ac", CTKFUri::Parse(L"http://h/a%2Fb%41%3f?%e2%82%ac")->NormalizeUriEscapes());
}

constexpr BYTE kAddress[] = {0x00, 0x1A, 0xFF, 0x02, 0x10, 0xAB};
std::pair<DWORD, ULONG> g_answer;  // result and length

DWORD WINAPI AnswerArp(ULONG destination, ULONG, PVOID address, PULONG length) {
    EXPECT_EQ(0x0100007Fu, destination);
    EXPECT_EQ(sizeof(kAddress), *length);
    std::copy(std::begin(kAddress), std::end(kAddress), static_cast<BYTE*>(address));
    *length = g_answer.second;
    return g_answer.first;
}

TEST(UriEscapes, HardwareAddressesAreSixBytesOrNothing) {
    const CImportHook hook("SendARP", &AnswerArp);
    for (const auto& answer : {std::pair(NO_ERROR, 6ul), {NO_ERROR, 0ul}, {ERROR_NOT_SUPPORTED, 6ul}}) {
        g_answer = answer;
        EXPECT_EQ(answer == std::pair(NO_ERROR, 6ul) ? L"00-1a-ff-02-10-ab" : L"", FormatMacAddress(0x0100007F));
    }
    EXPECT_EQ(L"00-1A-FF", FormatHexBytes(kAddress, 3));
    EXPECT_EQ(L"", FormatHexBytes(nullptr, 3));
}

}  // namespace
