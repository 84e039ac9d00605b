// What names consist of, the paths and URLs they lead to, and which are equal.
#include "framework/uri/CTKFUri.h"
#include "framework/uri/FormatHexBytes.h"

#include <gtest/gtest.h>

namespace {

constexpr auto kNone = TKFURI_HOSTNAME_NONE;
constexpr auto kName = TKFURI_HOSTNAME_REGISTERED_NAME;
constexpr auto kIpv4 = TKFURI_HOSTNAME_IPV4;
constexpr auto kIpv6 = TKFURI_HOSTNAME_IPV6;
constexpr auto kUnc = TKFURI_HOSTNAME_UNC_SERVER;

[[nodiscard]] std::string Shown(const std::wstring& text) {
    return ::testing::PrintToString(text);
}

TEST(CTKFUriTest, HasTheComponentsOfUrisAndPaths) {
    const struct {
        const wchar_t* text;
        std::wstring scheme, host;
        TKFURI_HOSTNAME_TYPE hostType;
        std::wstring path, query = {}, fragment = {};
        std::optional<unsigned> port = {};
        std::wstring userInfo = {};
    } table[] = {
        {L"x+y.z-1://u%40!$&'()*+,;=:p:~w@h-._~!$&'()*+,;=%2F:8042//a//b%2F:@!$&'()*+,;=/?n=/?%41#n?/", L"x+y.z-1",
         L"h-._~!$&'()*+,;=%2F", kName, L"//a//b%2F:@!$&'()*+,;=/", L"n=/?%41", L"n?/", 8042u, L"u%40!$&'()*+,;=:p:~w"},
        {L"ldap://[2001:db8::7]/c=GB?one?", L"ldap", L"2001:db8::7", kIpv6, L"/c=GB", L"one?"},
        {L"http://u@[v7F.fe::~]:1", L"http", L"[v7F.fe::~]", kName, L"", L"", L"", 1u, L"u"},
        {L"mailto:John.Doe@example.com", L"mailto", L"", kNone, L"John.Doe@example.com"},
        {L"a1+.-:,a%20b?c#d", L"a1+.-", L"", kNone, L",a%20b", L"c", L"d"},
        {L"HTTP://@Example.ORG:", L"http", L"Example.ORG", kName, L""},
        {L"http://h#f?not-a-query#more", L"http", L"h", kName, L"", L"", L"f?not-a-query#more"},
        {L"http:///p", L"http", L"", kNone, L"/p"},
        {L"http://a:b@1.2.3.4:00065535?q", L"http", L"1.2.3.4", kIpv4, L"", L"q", L"", 65535u, L"a:b"},
        {L"http://1.2.3.4.5/", L"http", L"1.2.3.4.5", kName, L"/"},
        {L"http://b\u00fccher.example/a b|\"c\"", L"http", L"b\u00fccher.example", kName, L"/a b|\"c\""},
        // RFC 8089 with its appendices; then paths
        {L"file:/path/to/file", L"file", L"", kNone, L"/path/to/file"},
        {L"file://///host.example.com/path", L"file", L"host.example.com", kUnc, L"/path"},
        {L"file://localhost/c%20d?q#f", L"file", L"localhost", kName, L"/c%20d", L"q", L"f"},
        {LR"(C:\a?b#c%20)", L"file", L"", kNone, LR"(C:\a?b#c%20)"},
        {LR"(\\server\share\a#b)", L"file", L"server", kUnc, LR"(\share\a#b)"},
        {LR"(\\?\UNC\server\share)", L"file", L"server", kUnc, LR"(\share)"},
        {LR"(\\?\C:\x)", L"file", L"", kNone, LR"(C:\x)"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(Shown(row.text));
        const auto uri = CTKFUri::Parse(row.text);
        ASSERT_TRUE(uri);
        EXPECT_EQ(std::tie(row.scheme, row.host, row.path, row.query, row.fragment),
                  std::tie(uri->GetScheme(), uri->GetHost(), uri->GetPath(), uri->GetQuery(), uri->GetFragment()));
        EXPECT_EQ(std::pair(row.hostType, row.port), std::pair(uri->GetHostType(), uri->GetPort()));
        EXPECT_EQ(row.userInfo, uri->GetUserInfo());
    }
    const std::pair<const wchar_t*, std::vector<std::wstring>> segmentsOf[] = {
        {L"http://h/", {L""}},
        {L"http://h/a\\b//c%2Fd?e/f#g/h", {L"a\\b", L"", L"c%2Fd"}},
        {L"file:////server/share\\x", {L"share", L"x"}},
        {LR"(C:\a/b?\)", {L"C:", L"a", L"b?", L""}},
    };
    for (const auto& [text, segments] : segmentsOf)
        EXPECT_EQ(segments, CTKFUri::Parse(text)->GetPathSegments()) << Shown(text);
}

TEST(CTKFUriTest, TakesIpv6AddressesInEveryForm) {
    for (const std::wstring address :
         {L"1:2:3:4:5:6:7:8", L"1:2:3:4:5:6:192.0.2.1", L"::", L"::8", L"::2:3:4:5:6:7:8", L"1::", L"1::3:4:5:6:7:8",
          L"1:2:3:4::6:7:8", L"1:2:3:4:5:6:7::", L"::192.0.2.1", L"1:2:3:4:5::192.0.2.1", L"FEDC:ba98::0:0001"}) {
        const auto uri = CTKFUri::Parse((L"http://[" + address + L"]:1/").c_str());
        ASSERT_TRUE(uri) << Shown(address);
        EXPECT_EQ(address, uri->GetHost());
        EXPECT_EQ(kIpv6, uri->GetHostType());
    }
}

TEST(CTKFUriTest, MalformedAuthoritiesDevicesAndPathsWithoutServerAreNoNames) {
    std::vector<std::wstring> names = {L"file://h:65536/x", L"file:////ser:ver/x", L"file:///C:/line\nfeed"};
    for (const wchar_t* path :
         {L"", LR"(\\)", L"//", LR"(\\\server)", LR"(\\.)", LR"(\\.\C:\x)", LR"(\\.\pipe\x)", LR"(\\?)", LR"(\\?\)",
          LR"(\\?\C:)", LR"(\\?\pipe\x)", LR"(\\?\GLOBALROOT\Device\x)", LR"(\\?\Volume{26a21bda})", LR"(\\?\UNC\)",
          LR"(\\?\UNC\.\pipe)", LR"(\??\C:\x)", L"//C:/x", LR"(\\ser:ver\x)"})
        names.push_back(path);
    for (const wchar_t* rest :
         {L"h:65536/", L"h:99999999999999999999/", L"h:-1/", L"h:80x/", L"h:80:80/", L"a b/", L"h\\p", L"a<b>/",
          L"[::1/", L"[::1]x/", L"::1]/", L"[v7.]/", L"u@v@h/", L"u v@h/", L"%zz/", L"h/\x01", L"h/\x7f", L"h/?\r\n"})
        names.push_back(std::wstring(L"http://") + rest);
    for (const wchar_t* address : {L"", L":", L":::", L"1", L"1:2:3:4:5:6:7", L"1:2:3:4:5:6:7:8:9", L"1::2::3",
                                   L"12345::", L"g::", L"1:2:3:4:5:6:7::8", L"::1:2:3:4:5:6:7:8", L"::256.0.0.1",
                                   L"::1.2.3", L"192.0.2.1", L"::1%25eth0", L"::1 ", L"v.x", L"vg.x", L"v7.a b"})
        names.push_back(L"http://[" + std::wstring(address) + L"]/");
    for (const std::wstring& name : names)
        EXPECT_FALSE(CTKFUri::Parse(name.c_str())) << Shown(name);
    EXPECT_FALSE(CTKFUri::Parse(nullptr));
}

// A file URI has a path, which is local unless it begins with a server.
void ExpectPath(const std::wstring& path, const CTKFUri& uri) {
    const bool isUnc = path.starts_with(LR"(\\)") && (!path.starts_with(LR"(\\?\)") || path.starts_with(LR"(\\?\U)"));
    EXPECT_EQ(path, uri.GetFilePath());
    EXPECT_EQ(isUnc ? L"" : path, uri.GetLocalPath());
    EXPECT_EQ(!isUnc && !path.empty(), uri.IsLocalFile());
}

TEST(CTKFUriTest, NamesOfOneFileLeadToItsPathAndUrl) {
    const std::wstring longName(40000, L'x');
    // A path, its URL and other names for it, or names that have no path. Those of one row are equal, and different
    // from those of every other row.
    std::vector<std::pair<std::wstring, std::vector<std::wstring>>> rows = {
        {LR"(C:\x)",
         {L"file:///C:/x", L"C:/x", L"c:/x", L"FILE:/C:/x", L"file:C:/x", L"file://localhost/C:/%78",
          L"file://user@localhost/C:/x", L"file:///C|/x", L"file:///C%3A/x", L"file://C:/x", L"file:////C:/x",
          L"file://localhost//C:/x", LR"(file:///C:\x)", LR"(file:\\C:\x)"}},
        {LR"(C:\X)", {L"file:///C:/X"}},
        {LR"(\\?\C:\x)", {L"file://%3F/C:/x", L"//?/C:/x", LR"(\\?\c:\x)", L"file://%3f/C:/x"}},
        {LR"(\C|x\y)", {L"file:///C%7Cx/y", L"file:///C|x/y"}},  // no drive
        {L"\\a b|c\u00e9\\x#y?z%\\\u4e2d\U0001F3B5\\%20\\%A%4g\\%C3A",
         {L"file:///a%20b%7Cc%C3%A9/x%23y%3Fz%25/%E4%B8%AD%F0%9F%8E%B5/%2520/%25A%254g/%25C3A",
          L"file:/a%20b|c\u00e9/x%23y%3fz%25/%e4%b8%ad%F0%9F%8E%B5/%2520/%%41%4g/%C3%41"}},
        {L"C:\\\U0001F3B5\U0001F3B5", {L"file:///C:/%F0%9F%8E%B5%F0%9F%8E%B5"}},
        {LR"(C:\a b#1%20.mp3)", {L"file:///C:/a%20b%231%2520.mp3"}},
        {LR"(C:)", {L"file:///C:"}},
        {LR"(C:\w?q=1&r=[2];x~y@z+!$'(),*)", {L"file:///C:/w%3Fq=1&r=%5B2%5D;x~y@z+!$'(),*"}},
        {L"C:\\half\xD83C.ogg", {L"file:///C:/half\xD83C.ogg"}},
        {LR"(C:\x%2Fy%5Cz%00)", {L"file:///C:/x%252Fy%255Cz%2500"}},
        {L"C:\\C|\\D:\\bell\a\t", {L"file:///C:/C%7C/D:/bell%07%09"}},
        {L"1:30 x", {L"file:1:30%20x"}},  // a scheme begins with a letter
        {LR"(..\a:b)", {L"file:../a:b"}},
        {LR"(\\server\s\f)",
         {L"file://server/s/f", L"//server/s/f", LR"(\\Server\s\f)", L"file:////SERVER/s/f", L"file://///server/s/f",
          LR"(file:\\server\s\f)", L"file://u:p@server/%73/f"}},
        {LR"(\\server\S\a#b?c)", {L"file://server/S/a%23b%3Fc"}},
        {LR"(\\server)", {L"file://server", L"file:////server"}},
        {LR"(\\?\UNC\server\s\f)", {L"file://%3F/UNC/server/s/f", L"file://%3f/unc/Server/s/f"}},
        {LR"(\\server\A%2f)", {L"file://server/A%252f", LR"(file:\\server\%41%2f)"}},
        {LR"(\\192.0.2.1\C:\\x)", {L"file://192.0.2.1/C://x"}},
        {LR"(\\C\C|\x)", {L"file://C/C%7C/x"}},
        {LR"(\\a%00b\x)", {L"file://a%2500b/x", L"file://a%00b/x"}},
        {LR"(\\a@SSL b%20[\x)", {L"file://a%40SSL%20b%2520%5B/x"}},
        {L"\\\\b\u00fccher\\x", {L"file://b%C3%BCcher/x"}},
        {LR"(\\LocalHost\C$\x)", {L"file:////LocalHost/C$/x"}},
        {LR"(\\%3F\C:\x)", {L"file://%253F/C:/x"}},
        {LR"(\\?\C:\a.\..\ b )", {L"file://%3F/C:/a./../%20b%20"}},
        {LR"(\\?\Volume{26a21bda}\x)", {L"file://%3F/Volume%7B26a21bda%7D/x"}},
        {LR"(\\?\C:\)" + longName, {L"file://%3F/C:/" + longName}},
        {L"", {L"http://h/a%20b-", L"HTTP://H/a b%2D", L"http://%68/%61%20b-", L"http://@h:/a%20b-"}},
        {L"", {L"http://h/a%20b-#q", L"http://h/a%20b-#%71"}},
        {L"", {L"http://h/?a=1%26b%3d2", L"http://h/?%61=1%26b%3D2"}},
        {L"", {L"http://a%3Ab@[v7.fe::1]/", L"http://a%3ab@[V7.FE::1]/"}},
        {L"", {L"file://./pipe/x", L"file://%2E/pipe/x"}},
        {L"", {L"http://h/a%2Fb", L"http://h/a%2fb"}},
        {L"", {L"http://h/%FF", L"http://h/%ff"}},
        {L"", {L"http://h/\xFFFD", L"http://h/%EF%BF%BD"}},
    };
    for (const wchar_t* url : {L"http://h/A%20b-", L"http://h:80/a%20b-", L"http://u@h/a%20b-", L"http://h/a%20b-?",
                               L"http://h/a%20b-#", L"http://h/a%20b-?#", L"http://h/a%20b-?q", L"http://h/?a=1&b=2",
                               L"http://a:b@[v7.fe::1]/", L"http://h/a/b", L"http://h/a%252Fb", L"http://h/a%252fb",
                               L"http://h/%FE", L"ab:/p", L"ab:///p", LR"(ab:\dir\x)", L"filex:///C:/x"})
        rows.push_back({L"", {url}});
    for (const wchar_t* url : {L"file:", L"file://", L"file://localhost", L"file://[::1]/C:/x", L"file://server:80/x",
                               L"file://localhost:80/C:/x", L"file://localhost//server/share", L"file:////./pipe/x",
                               L"file:///%3F%3F/pipe/x", L"file://?/C:/x", L"file://%3F/pipe/x", L"file://%3F/C:x",
                               L"file://%3F/UNC/./pipe", L"file://a%3Ab/x"})
        rows.push_back({L"", {url}});
    for (const wchar_t delimiter : std::wstring(L":/?#[]@!$&'()*+,;=%")) {
        rows.push_back({L"", {std::wstring(L"ab:#") + delimiter}});
        rows.push_back({L"", {L"ab:#%" + FormatHexBytes(&delimiter, 1)}});
    }

    std::vector<std::pair<size_t, boost::shared_ptr<CTKFUri>>> uris;
    for (size_t row = 0; row < rows.size(); ++row) {
        const auto& [path, names] = rows[row];
        SCOPED_TRACE(Shown(names.front().substr(0, 40)));
        for (const std::wstring& name : names)
            ASSERT_TRUE(uris.emplace_back(row, CTKFUri::Parse(name.c_str())).second) << Shown(name);
        const auto url = CTKFUri::Parse(names.front().c_str());
        ExpectPath(path, *url);
        EXPECT_EQ(names.front(), url->ToString());
        EXPECT_EQ(names.front().starts_with(L"file:"), url->IsFileUrl());
        EXPECT_FALSE(CTKFUri::FromFilePath(names.front().c_str()));
        if (!path.empty()) {
            const auto file = uris.emplace_back(row, CTKFUri::FromFilePath(path.c_str())).second;
            ASSERT_TRUE(file);
            ExpectPath(path, *file);
            EXPECT_EQ(names.front(), file->ToString());
        }
    }
    for (const auto& [rowA, a] : uris)
        for (const auto& [rowB, b] : uris)
            EXPECT_EQ(rowA == rowB, *a == *b) << Shown(a->ToString()) << " and " << Shown(b->ToString());
}

TEST(CTKFUriTest, WhatHasNoPlaceInAPathOrInAUrlStaysOutOfIt) {
    // Malformed, not UTF-8, overlong, a surrogate, beyond U+10FFFF; an early end of the name, other folders.
    for (const std::wstring kept : {L"100%", L"%FF%80x", L"%C3", L"%C0%AF", L"%ED%A0%80", L"%F4%90%80%80",
                                    L"x.wav%00.mp3", L"a%2F..%5Cb", L"%5C%5Cserver"})
        ExpectPath(LR"(\)" + kept, *CTKFUri::Parse((L"file:///" + kept + L"?a/b#c?d").c_str()));
    for (const wchar_t* path : {LR"(\C:\x)", LR"(C|\x)", LR"(\c:)"}) {  // a URL would mean the drive
        ExpectPath(path, *CTKFUri::FromFilePath(path));
        EXPECT_EQ(L"", CTKFUri::FromFilePath(path)->ToString());
    }
}

}  // namespace
