#include "framework/uri/CTKFUri.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

constexpr auto NONE = TKFURI_HOSTNAME_NONE;
constexpr auto NAME = TKFURI_HOSTNAME_REGISTERED_NAME;
constexpr auto IPV4 = TKFURI_HOSTNAME_IPV4;
constexpr auto IPV6 = TKFURI_HOSTNAME_IPV6;
constexpr auto UNC = TKFURI_HOSTNAME_UNC_SERVER;

[[nodiscard]] std::string Shown(const std::wstring& text) {
    return ::testing::PrintToString(text);
}

TEST(CTKFUriTest, HasTheComponentsOfUrisAndPaths) {
    const struct {
        const wchar_t *text, *scheme, *host;
        TKFURI_HOSTNAME_TYPE hostType;
        const wchar_t *path, *query = L"", *fragment = L"";
        std::optional<unsigned> port = {};
        const wchar_t* userInfo = L"";
    } table[] = {
        // RFC 3986
        {L"ftp://ftp.is.co.za/rfc/rfc1808.txt", L"ftp", L"ftp.is.co.za", NAME, L"/rfc/rfc1808.txt"},
        {L"ldap://[2001:db8::7]/c=GB?objectClass?one", L"ldap", L"2001:db8::7", IPV6, L"/c=GB", L"objectClass?one"},
        {L"mailto:John.Doe@example.com", L"mailto", L"", NONE, L"John.Doe@example.com"},
        {L"telnet://192.0.2.16:80/", L"telnet", L"192.0.2.16", IPV4, L"/", L"", L"", 80u},
        {L"foo://h.com:8042/over?name=ferret#nose", L"foo", L"h.com", NAME, L"/over", L"name=ferret", L"nose", 8042u},
        // the edges
        {L"HTTP://Example.ORG", L"http", L"Example.ORG", NAME, L""},
        {L"http://u%40x:p:w@h:1/p", L"http", L"h", NAME, L"/p", L"", L"", 1u, L"u%40x:p:w"},
        {L"http://@h:/p", L"http", L"h", NAME, L"/p"},
        {L"http://h:00065535?q", L"http", L"h", NAME, L"", L"q", L"", 65535u},
        {L"http://h#f?not-a-query#more", L"http", L"h", NAME, L"", L"", L"f?not-a-query#more"},
        {L"http:///p", L"http", L"", NONE, L"/p"},
        {L"http://1.2.3.4.5/", L"http", L"1.2.3.4.5", NAME, L"/"},
        {L"http://[::ffff:192.0.2.1]:8080", L"http", L"::ffff:192.0.2.1", IPV6, L"", L"", L"", 8080u},
        {L"http://b\u00fccher.example/a b|\"c\"", L"http", L"b\u00fccher.example", NAME, L"/a b|\"c\""},
        {L"a1+.-:,a%20b?c#d", L"a1+.-", L"", NONE, L",a%20b", L"c", L"d"},
        // RFC 8089 with its appendices; then paths
        {L"file:/path/to/file", L"file", L"", NONE, L"/path/to/file"},
        {L"file://host.example.com/path", L"file", L"host.example.com", UNC, L"/path"},
        {L"file:c:/path", L"file", L"", NONE, L"c:/path"},
        {L"file:////host.example.com/path", L"file", L"host.example.com", UNC, L"/path"},
        {L"file://///host.example.com/path", L"file", L"host.example.com", UNC, L"/path"},
        {L"file://localhost/c%20d?q#f", L"file", L"localhost", NAME, L"/c%20d", L"q", L"f"},
        {LR"(C:\a?b#c%20)", L"file", L"", NONE, LR"(C:\a?b#c%20)"},
        {LR"(\\server\share\a#b)", L"file", L"server", UNC, LR"(\share\a#b)"},
        {LR"(\\?\UNC\server\share)", L"file", L"server", UNC, LR"(\share)"},
        {LR"(\\?\C:\x)", L"file", L"", NONE, LR"(C:\x)"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(Shown(row.text));
        const auto uri = CTKFUri::Parse(row.text);
        ASSERT_TRUE(uri);
        EXPECT_EQ(row.scheme, uri->GetScheme());
        EXPECT_EQ(row.userInfo, uri->GetUserInfo());
        EXPECT_EQ(row.host, uri->GetHost());
        EXPECT_EQ(row.hostType, uri->GetHostType());
        EXPECT_EQ(row.port, uri->GetPort());
        EXPECT_EQ(row.path, uri->GetPath());
        EXPECT_EQ(row.query, uri->GetQuery());
        EXPECT_EQ(row.fragment, uri->GetFragment());
    }
}

TEST(CTKFUriTest, PathSegmentsAreWhatStandsBetweenTheSeparators) {
    const std::pair<const wchar_t*, std::vector<std::wstring>> table[] = {
        {L"http://h/", {L""}},
        {L"http://h/a//b/", {L"a", L"", L"b", L""}},
        {L"http://h/a\\b/c%2Fd?e/f#g/h", {L"a\\b", L"c%2Fd"}},
        {L"file:///C:/a\\b", {L"C:", L"a", L"b"}},
        {L"file:////server/share/x", {L"share", L"x"}},
        {LR"(C:\a/b?\)", {L"C:", L"a", L"b?", L""}},
    };
    for (const auto& [text, segments] : table)
        EXPECT_EQ(segments, CTKFUri::Parse(text)->GetPathSegments()) << Shown(text);
}

TEST(CTKFUriTest, TakesIpv6AddressesInEveryForm) {
    for (const std::wstring address :
         {L"1:2:3:4:5:6:7:8", L"1:2:3:4:5:6:192.0.2.1", L"::", L"::8", L"::2:3:4:5:6:7:8", L"1::", L"1::3:4:5:6:7:8",
          L"1:2:3:4::6:7:8", L"1:2:3:4:5:6:7::", L"::192.0.2.1", L"1:2:3:4:5::192.0.2.1", L"FEDC:ba98::0:0001"}) {
        const auto uri = CTKFUri::Parse((L"http://[" + address + L"]:1/").c_str());
        ASSERT_TRUE(uri) << Shown(address);
        EXPECT_EQ(address, uri->GetHost());
        EXPECT_EQ(IPV6, uri->GetHostType());
    }
    for (const std::wstring address : {L"", L":", L":::", L"1", L"1:2:3:4:5:6:7", L"1:2:3:4:5:6:7:8:9", L"1::2::3",
                                       L"12345::", L"g::", L"1:2:3:4:5:6:7::8", L"::1:2:3:4:5:6:7:8", L"::256.0.0.1",
                                       L"::1.2.3", L"192.0.2.1", L"::1%25eth0", L"v7.fe::1", L"::1 "})
        EXPECT_FALSE(CTKFUri::Parse((L"http://[" + address + L"]/").c_str())) << Shown(address);
}

TEST(CTKFUriTest, ALocalFileHasThePathToOpen) {
    const auto expectPath = [](const std::wstring& name, const std::wstring& path) {
        SCOPED_TRACE(Shown(name));
        const auto uri = CTKFUri::Parse(name.c_str());
        ASSERT_TRUE(uri);
        EXPECT_TRUE(uri->IsFileUrl() && uri->IsLocalFile());
        EXPECT_EQ(path, uri->GetLocalPath());
    };
    // Paths mean what they say, character for character; a scheme begins with a letter.
    for (const wchar_t* path : {LR"(C:\dir\a b#1%20.mp3)", LR"(C:\what?query=1#fragment)", L"C:", L"C:clip.wav",
                                LR"(C:\x.wav:alternate)", L"C:\\caf\u00e9\u4e2d\U0001F3B5.ogg", L"C:\\bell\a\ttab.wav",
                                L"clip.wav", L" leading blank.wav", L"100%.wav", L"?", LR"(..\x)", LR"(.\a:b)",
                                L"1:30.wav", LR"(\dir\x)", LR"(\\?\C:\long\..\x)", LR"(\\?\Volume{26a21bda}\x)"})
        expectPath(path, path);
    for (const wchar_t* url :
         {L"file:///C:/x", L"FILE:/C:/x", L"file:C:/x", L"file://localhost/C:/x", L"file://user@localhost/C:/x",
          L"file:///C|/x", L"file:///C%3A/x", L"file://C:/x", L"file:////C:/x", L"file://localhost//C:/x",
          LR"(file:///C:\x)", LR"(file:\\C:\x)", L"file:///C:/x#t=10", L"file:///C:/x?a/b#c?d", L"C:/x"})
        expectPath(url, LR"(C:\x)");
    expectPath(L"//?/C:/x", LR"(\\?\C:\x)");
    expectPath(L"file:///C:", L"C:");
    expectPath(L"file:///C|x/y", LR"(\C|x\y)");  // no drive
    expectPath(L"file:///dir/x", LR"(\dir\x)");
    expectPath(L"file:clip.wav", L"clip.wav");

    // Escapes are UTF-8 and resolved once.
    expectPath(L"file:///C:/a%20b|c\u00e9/x%23y%3fz%25/%C3%A9%e4%b8%ad%F0%9F%8E%B5/%2520/%%41%4g/%C3%41",
               L"C:\\a b|c\u00e9\\x#y?z%\\\u00e9\u4e2d\U0001F3B5\\%20\\%A%4g\\%C3A");
    // They stay where they are malformed, not UTF-8, overlong, a surrogate, beyond U+10FFFF, or where they would end
    // the name early or lead to another folder.
    for (const std::wstring kept : {L"100%", L"%FF%80x", L"%C3", L"%C0%AF", L"%ED%A0%80", L"%F4%90%80%80",
                                    L"x.wav%00.mp3", L"a%2F..%5Cb", L"%5C%5Cserver"})
        expectPath(L"file:///" + kept, LR"(\)" + kept);
    expectPath(L"file:%2f%2Fserver/x", LR"(%2f%2Fserver\x)");
}

TEST(CTKFUriTest, WhatLeadsOffTheMachineIsNotLocal) {
    const auto expectNotLocal = [](const wchar_t* name, bool isFileUrl) {
        SCOPED_TRACE(Shown(name));
        const auto uri = CTKFUri::Parse(name);
        ASSERT_TRUE(uri);
        EXPECT_EQ(isFileUrl, uri->IsFileUrl());
        EXPECT_FALSE(uri->IsLocalFile());
        EXPECT_EQ(L"", uri->GetLocalPath());
    };
    for (const wchar_t* path : {LR"(\\server\share\f)", L"//server/share/f", LR"(\\server)", LR"(\\localhost\C$\x)",
                                LR"(\\server@SSL\DavWWWRoot\x)", LR"(\\?\unc\server\share)"})
        expectNotLocal(path, true);
    for (const wchar_t* path :
         {L"//server/share/x", L"//192.0.2.1/C:/x", L"//[::1]/C:/x", L"//localhost:80/C:/x", LR"(\\server\share\x)",
          L"////server/share", L"/////server/share", L"////localhost/share", L"//localhost//server/share",
          L"////./pipe/x", L"//./pipe/x", L"///%3F%3F/pipe/x", L"//?/C:/x", L"", L"//", L"//localhost"})
        expectNotLocal((std::wstring(L"file:") + path).c_str(), true);
    for (const wchar_t* name :
         {L"http://localhost/C:/x", L"data:audio/wav;base64,UklGRg==", LR"(ab:\dir\x)", L"filex:///C:/x"})
        expectNotLocal(name, false);
}

TEST(CTKFUriTest, MalformedAuthoritiesDevicesAndServerPathsWithoutServerAreNoNames) {
    const auto expectNone = [](const wchar_t* text) { EXPECT_FALSE(CTKFUri::Parse(text)) << Shown(text); };
    for (const std::wstring rest :
         {L"h:65536/", L"h:99999999999999999999/", L"h:-1/", L"h:80x/", L"h:80:80/", L"a b/", L"h\\p", L"a<b>/",
          L"[::1/", L"[::1]x/", L"::1]/", L"u@v@h/", L"%zz/", L"h/\x01", L"h/\x7f", L"h/?\r\n"})
        expectNone((L"http://" + rest).c_str());
    for (const wchar_t* path :
         {L"", LR"(\\)", L"//", LR"(\\\server)", LR"(\\.)", LR"(\\.\C:\x)", LR"(\\.\pipe\x)", LR"(\\?)", LR"(\\?\)",
          LR"(\\?\C:)", LR"(\\?\pipe\x)", LR"(\\?\GLOBALROOT\Device\x)", LR"(\\?\Volume{26a21bda})", LR"(\\?\UNC\)",
          LR"(\\?\UNC\.\pipe)", LR"(\??\C:\x)", L"//C:/x", LR"(\\ser:ver\x)"})
        expectNone(path);
    for (const wchar_t* url : {L"file://h:65536/x", L"file:////ser:ver/x", L"file:///C:/line\nfeed"})
        expectNone(url);
    EXPECT_FALSE(CTKFUri::Parse(nullptr));
}

TEST(CTKFUriTest, LongNamesTakeTimeInProportionToTheirLength) {
    for (const std::wstring start :
         {L"", LR"(C:\)", LR"(\\)", L"file:///", L"http://h/", L"http://", L"http://[", L"%"})
        for (const std::wstring filler : {L"a", L"/", LR"(\)", L":", L"@", L"%C3%A9", L"%C3", L"0", L".", L"?#"}) {
            std::wstring name = start;
            while (name.size() < 32000)
                name += filler;
            // A millisecond is usual; what grows with the square of the length takes many seconds.
            const auto begin = std::chrono::steady_clock::now();
            static_cast<void>(CTKFUri::Parse(name.c_str()));
            EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2)) << Shown(start + filler);
        }
}

}  // namespace
