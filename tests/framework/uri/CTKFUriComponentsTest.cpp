// The components of URIs and paths.
#include "framework/uri/CTKFUri.h"

#include <gtest/gtest.h>

namespace {

using Segments = std::vector<std::wstring>;

struct Components {
    const wchar_t* text;
    const wchar_t* scheme;
    const wchar_t* userInfo;
    const wchar_t* host;
    TKFURI_HOSTNAME_TYPE hostType;
    std::optional<unsigned> port;
    const wchar_t* path;
    const wchar_t* query;
    const wchar_t* fragment;
};

constexpr auto NONE = TKFURI_HOSTNAME_NONE;
constexpr auto NAME = TKFURI_HOSTNAME_REGISTERED_NAME;
constexpr auto IPV4 = TKFURI_HOSTNAME_IPV4;
constexpr auto IPV6 = TKFURI_HOSTNAME_IPV6;
constexpr auto UNC = TKFURI_HOSTNAME_UNC_SERVER;
constexpr std::nullopt_t NO_PORT = std::nullopt;

void ExpectComponents(const Components& row) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.text)));
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

TEST(UriComponents, OfTheExamplesOfRfc3986) {
    const Components table[] = {
        {L"ftp://ftp.is.co.za/rfc/rfc1808.txt", L"ftp", L"", L"ftp.is.co.za", NAME, NO_PORT, L"/rfc/rfc1808.txt", L"",
         L""},
        {L"http://www.ietf.org/rfc/rfc2396.txt", L"http", L"", L"www.ietf.org", NAME, NO_PORT, L"/rfc/rfc2396.txt", L"",
         L""},
        {L"ldap://[2001:db8::7]/c=GB?objectClass?one", L"ldap", L"", L"2001:db8::7", IPV6, NO_PORT, L"/c=GB",
         L"objectClass?one", L""},
        {L"mailto:John.Doe@example.com", L"mailto", L"", L"", NONE, NO_PORT, L"John.Doe@example.com", L"", L""},
        {L"news:comp.infosystems.www.servers.unix", L"news", L"", L"", NONE, NO_PORT,
         L"comp.infosystems.www.servers.unix", L"", L""},
        {L"tel:+1-816-555-1212", L"tel", L"", L"", NONE, NO_PORT, L"+1-816-555-1212", L"", L""},
        {L"telnet://192.0.2.16:80/", L"telnet", L"", L"192.0.2.16", IPV4, 80u, L"/", L"", L""},
        {L"urn:oasis:names:specification:docbook:dtd:xml:4.1.2", L"urn", L"", L"", NONE, NO_PORT,
         L"oasis:names:specification:docbook:dtd:xml:4.1.2", L"", L""},
        {L"foo://example.com:8042/over/there?name=ferret#nose", L"foo", L"", L"example.com", NAME, 8042u,
         L"/over/there", L"name=ferret", L"nose"},
        {L"urn:example:animal:ferret:nose", L"urn", L"", L"", NONE, NO_PORT, L"example:animal:ferret:nose", L"", L""},
    };
    for (const Components& row : table)
        ExpectComponents(row);
}

TEST(UriComponents, OfUrisAtTheEdge) {
    const Components table[] = {
        {L"HTTP://Example.ORG", L"http", L"", L"Example.ORG", NAME, NO_PORT, L"", L"", L""},
        {L"http://u%40x:p:w@h:1/p", L"http", L"u%40x:p:w", L"h", NAME, 1u, L"/p", L"", L""},
        {L"http://@h", L"http", L"", L"h", NAME, NO_PORT, L"", L"", L""},
        {L"http://h:/p", L"http", L"", L"h", NAME, NO_PORT, L"/p", L"", L""},
        {L"http://h:00065535", L"http", L"", L"h", NAME, 65535u, L"", L"", L""},
        {L"http://h?q", L"http", L"", L"h", NAME, NO_PORT, L"", L"q", L""},
        {L"http://h#f?not-a-query#more", L"http", L"", L"h", NAME, NO_PORT, L"", L"", L"f?not-a-query#more"},
        {L"http://h/p?a@b:/c#d", L"http", L"", L"h", NAME, NO_PORT, L"/p", L"a@b:/c", L"d"},
        {L"http:///p", L"http", L"", L"", NONE, NO_PORT, L"/p", L"", L""},
        {L"http://h//p", L"http", L"", L"h", NAME, NO_PORT, L"//p", L"", L""},
        {L"http://1.2.3.4.5/", L"http", L"", L"1.2.3.4.5", NAME, NO_PORT, L"/", L"", L""},
        {L"http://256.1.1.1/", L"http", L"", L"256.1.1.1", NAME, NO_PORT, L"/", L"", L""},
        {L"http://255.249.199.0?q", L"http", L"", L"255.249.199.0", IPV4, NO_PORT, L"", L"q", L""},
        {L"http://[::ffff:192.0.2.1]:8080/p", L"http", L"", L"::ffff:192.0.2.1", IPV6, 8080u, L"/p", L"", L""},
        {L"http://b\u00fccher.example/a b|\"c\"", L"http", L"", L"b\u00fccher.example", NAME, NO_PORT, L"/a b|\"c\"",
         L"", L""},
        {L"a1+.-:x", L"a1+.-", L"", L"", NONE, NO_PORT, L"x", L"", L""},
        {L"foo:", L"foo", L"", L"", NONE, NO_PORT, L"", L"", L""},
        {L"data:,a%20b?c#d", L"data", L"", L"", NONE, NO_PORT, L",a%20b", L"c", L"d"},
    };
    for (const Components& row : table)
        ExpectComponents(row);
}

TEST(UriComponents, OfFileUrlsAndPaths) {
    const Components table[] = {
        // RFC 8089, with its appendices
        {L"file:///path/to/file", L"file", L"", L"", NONE, NO_PORT, L"/path/to/file", L"", L""},
        {L"file:/path/to/file", L"file", L"", L"", NONE, NO_PORT, L"/path/to/file", L"", L""},
        {L"file://host.example.com/path/to/file", L"file", L"", L"host.example.com", UNC, NO_PORT, L"/path/to/file",
         L"", L""},
        {L"file:c:/path/to/file", L"file", L"", L"", NONE, NO_PORT, L"c:/path/to/file", L"", L""},
        {L"file:///c:/path/to/file", L"file", L"", L"", NONE, NO_PORT, L"/c:/path/to/file", L"", L""},
        {L"file:////host.example.com/path/to/file", L"file", L"", L"host.example.com", UNC, NO_PORT, L"/path/to/file",
         L"", L""},
        {L"file://///host.example.com/path/to/file", L"file", L"", L"host.example.com", UNC, NO_PORT, L"/path/to/file",
         L"", L""},
        {L"file://localhost/c%20d?q#f", L"file", L"", L"localhost", NAME, NO_PORT, L"/c%20d", L"q", L"f"},
        {LR"(C:\a?b#c%20)", L"file", L"", L"", NONE, NO_PORT, LR"(C:\a?b#c%20)", L"", L""},
        {L"a/b#c", L"file", L"", L"", NONE, NO_PORT, L"a/b#c", L"", L""},
        {LR"(\\server\share\a#b)", L"file", L"", L"server", UNC, NO_PORT, LR"(\share\a#b)", L"", L""},
        {L"//192.0.2.1/share", L"file", L"", L"192.0.2.1", UNC, NO_PORT, L"/share", L"", L""},
        {LR"(\\server)", L"file", L"", L"server", UNC, NO_PORT, L"", L"", L""},
        {LR"(\\?\UNC\server\share)", L"file", L"", L"server", UNC, NO_PORT, LR"(\share)", L"", L""},
        {LR"(\\?\C:\x)", L"file", L"", L"", NONE, NO_PORT, LR"(C:\x)", L"", L""},
    };
    for (const Components& row : table)
        ExpectComponents(row);
}

TEST(UriComponents, PathSegmentsAreWhatStandsBetweenTheSeparators) {
    const struct {
        const wchar_t* text;
        Segments segments;
    } table[] = {
        {L"http://h", {}},
        {L"http://h/", {L""}},
        {L"http://h/a//b/", {L"a", L"", L"b", L""}},
        {L"http://h/a\\b/c%2Fd?e/f#g/h", {L"a\\b", L"c%2Fd"}},
        {L"urn:a/b", {L"a", L"b"}},
        {L"file:///C:/a\\b", {L"C:", L"a", L"b"}},
        {L"file:////server/share/x", {L"share", L"x"}},
        {LR"(C:\a/b?\)", {L"C:", L"a", L"b?", L""}},
        {LR"(\\server\share\x)", {L"share", L"x"}},
        {L"a//b/", {L"a", L"", L"b", L""}},
    };
    for (const auto& row : table) {
        const auto uri = CTKFUri::Parse(row.text);
        ASSERT_TRUE(uri) << ::testing::PrintToString(std::wstring(row.text));
        EXPECT_EQ(row.segments, uri->GetPathSegments()) << ::testing::PrintToString(std::wstring(row.text));
    }
}

TEST(UriComponents, Ipv6AddressesInEveryForm) {
    const wchar_t* const good[] = {
        L"1:2:3:4:5:6:7:8",
        L"1:2:3:4:5:6:192.0.2.1",
        L"::",
        L"::8",
        L"::7:8",
        L"::2:3:4:5:6:7:8",
        L"1::",
        L"1::8",
        L"1::3:4:5:6:7:8",
        L"1:2::4:5:6:7:8",
        L"1:2:3::5:6:7:8",
        L"1:2:3:4::6:7:8",
        L"1:2:3:4:5::7:8",
        L"1:2:3:4:5:6::8",
        L"1:2:3:4:5:6:7::",
        L"::192.0.2.1",
        L"1:2:3:4:5::192.0.2.1",
        L"FEDC:ba98::0:0001",
    };
    for (const wchar_t* address : good) {
        const auto uri = CTKFUri::Parse((L"http://[" + std::wstring(address) + L"]:1/").c_str());
        ASSERT_TRUE(uri) << ::testing::PrintToString(std::wstring(address));
        EXPECT_EQ(address, uri->GetHost());
        EXPECT_EQ(IPV6, uri->GetHostType());
    }
    const wchar_t* const bad[] = {
        L"",
        L":",
        L":::",
        L"1",
        L"1:2:3:4:5:6:7",
        L"1:2:3:4:5:6:7:8:9",
        L"1::2::3",
        L"12345::",
        L"g::",
        L"1:2:3:4:5:6:7::8",
        L"::1:2:3:4:5:6:7:8",
        L"::256.0.0.1",
        L"::1.2.3",
        L"192.0.2.1",
        L"::1%25eth0",
        L"v7.fe::1",
        L"::1 ",
    };
    for (const wchar_t* address : bad)
        EXPECT_FALSE(CTKFUri::Parse((L"http://[" + std::wstring(address) + L"]/").c_str()))
            << ::testing::PrintToString(std::wstring(address));
}

TEST(UriComponents, AMalformedAuthorityIsNoUri) {
    const wchar_t* const table[] = {
        L"http://h:65536/", L"http://h:99999999999999999999/",
        L"http://h:-1/",    L"http://h:80x/",
        L"http://h:80:80/", L"http://a b/",
        L"http://h\\p",     L"http://a<b>/",
        L"http://[::1/",    L"http://[::1]x/",
        L"http://::1]/",    L"http://u@v@h/",
        L"http://%zz/",     L"file://h:65536/x",
        L"http://h/\x01",   L"foo:a\x7f",
        L"http://h/?\r\n",
    };
    for (const wchar_t* text : table)
        EXPECT_FALSE(CTKFUri::Parse(text)) << ::testing::PrintToString(std::wstring(text));
}

}  // namespace
