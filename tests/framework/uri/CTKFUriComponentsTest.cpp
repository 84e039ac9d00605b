// The components of URIs and paths.
#include "framework/uri/CTKFUri.h"

#include <gtest/gtest.h>

namespace {

using Segments = std::vector<std::wstring>;

constexpr auto NONE = TKFURI_HOSTNAME_NONE;
constexpr auto NAME = TKFURI_HOSTNAME_REGISTERED_NAME;
constexpr auto IPV4 = TKFURI_HOSTNAME_IPV4;
constexpr auto IPV6 = TKFURI_HOSTNAME_IPV6;
constexpr auto UNC = TKFURI_HOSTNAME_UNC_SERVER;

[[nodiscard]] std::string Shown(const std::wstring& text) {
    return ::testing::PrintToString(text);
}

TEST(UriComponents, OfUrisAndPaths) {
    const struct {
        const wchar_t *text, *scheme, *host;
        TKFURI_HOSTNAME_TYPE hostType;
        const wchar_t *path, *query = L"", *fragment = L"";
        std::optional<unsigned> port = {};
        const wchar_t* userInfo = L"";
    } table[] = {
        // RFC 3986
        {L"ftp://ftp.is.co.za/rfc/rfc1808.txt", L"ftp", L"ftp.is.co.za", NAME, L"/rfc/rfc1808.txt"},
        {L"http://www.ietf.org/rfc/rfc2396.txt", L"http", L"www.ietf.org", NAME, L"/rfc/rfc2396.txt"},
        {L"ldap://[2001:db8::7]/c=GB?objectClass?one", L"ldap", L"2001:db8::7", IPV6, L"/c=GB", L"objectClass?one"},
        {L"mailto:John.Doe@example.com", L"mailto", L"", NONE, L"John.Doe@example.com"},
        {L"news:comp.infosystems.www.servers.unix", L"news", L"", NONE, L"comp.infosystems.www.servers.unix"},
        {L"tel:+1-816-555-1212", L"tel", L"", NONE, L"+1-816-555-1212"},
        {L"telnet://192.0.2.16:80/", L"telnet", L"192.0.2.16", IPV4, L"/", L"", L"", 80u},
        {L"urn:oasis:names:specification:docbook:dtd:xml:4.1.2", L"urn", L"", NONE,
         L"oasis:names:specification:docbook:dtd:xml:4.1.2"},
        {L"foo://example.com:8042/over/there?name=ferret#nose", L"foo", L"example.com", NAME, L"/over/there",
         L"name=ferret", L"nose", 8042u},
        {L"urn:example:animal:ferret:nose", L"urn", L"", NONE, L"example:animal:ferret:nose"},
        // the edges
        {L"HTTP://Example.ORG", L"http", L"Example.ORG", NAME, L""},
        {L"http://u%40x:p:w@h:1/p", L"http", L"h", NAME, L"/p", L"", L"", 1u, L"u%40x:p:w"},
        {L"http://@h", L"http", L"h", NAME, L""},
        {L"http://h:/p", L"http", L"h", NAME, L"/p"},
        {L"http://h:00065535", L"http", L"h", NAME, L"", L"", L"", 65535u},
        {L"http://h?q", L"http", L"h", NAME, L"", L"q"},
        {L"http://h#f?not-a-query#more", L"http", L"h", NAME, L"", L"", L"f?not-a-query#more"},
        {L"http://h/p?a@b:/c#d", L"http", L"h", NAME, L"/p", L"a@b:/c", L"d"},
        {L"http:///p", L"http", L"", NONE, L"/p"},
        {L"http://1.2.3.4.5/", L"http", L"1.2.3.4.5", NAME, L"/"},
        {L"http://255.249.199.0?q", L"http", L"255.249.199.0", IPV4, L"", L"q"},
        {L"http://[::ffff:192.0.2.1]:8080/p", L"http", L"::ffff:192.0.2.1", IPV6, L"/p", L"", L"", 8080u},
        {L"http://b\u00fccher.example/a b|\"c\"", L"http", L"b\u00fccher.example", NAME, L"/a b|\"c\""},
        {L"a1+.-:x", L"a1+.-", L"", NONE, L"x"},
        {L"data:,a%20b?c#d", L"data", L"", NONE, L",a%20b", L"c", L"d"},
        // RFC 8089, with its appendices; then paths
        {L"file:///path/to/file", L"file", L"", NONE, L"/path/to/file"},
        {L"file:/path/to/file", L"file", L"", NONE, L"/path/to/file"},
        {L"file://host.example.com/path/to/file", L"file", L"host.example.com", UNC, L"/path/to/file"},
        {L"file:c:/path/to/file", L"file", L"", NONE, L"c:/path/to/file"},
        {L"file:///c:/path/to/file", L"file", L"", NONE, L"/c:/path/to/file"},
        {L"file:////host.example.com/path/to/file", L"file", L"host.example.com", UNC, L"/path/to/file"},
        {L"file://///host.example.com/path/to/file", L"file", L"host.example.com", UNC, L"/path/to/file"},
        {L"file://localhost/c%20d?q#f", L"file", L"localhost", NAME, L"/c%20d", L"q", L"f"},
        {LR"(C:\a?b#c%20)", L"file", L"", NONE, LR"(C:\a?b#c%20)"},
        {L"a/b#c", L"file", L"", NONE, L"a/b#c"},
        {LR"(\\server\share\a#b)", L"file", L"server", UNC, LR"(\share\a#b)"},
        {L"//192.0.2.1/share", L"file", L"192.0.2.1", UNC, L"/share"},
        {LR"(\\server)", L"file", L"server", UNC, L""},
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
    for (const auto& row : table)
        EXPECT_EQ(row.segments, CTKFUri::Parse(row.text)->GetPathSegments()) << Shown(row.text);
}

TEST(UriComponents, Ipv6AddressesInEveryForm) {
    for (const std::wstring address :
         {L"1:2:3:4:5:6:7:8", L"1:2:3:4:5:6:192.0.2.1", L"::", L"::8", L"::7:8", L"::2:3:4:5:6:7:8", L"1::", L"1::8",
          L"1::3:4:5:6:7:8", L"1:2::4:5:6:7:8", L"1:2:3::5:6:7:8", L"1:2:3:4::6:7:8", L"1:2:3:4:5::7:8",
          L"1:2:3:4:5:6::8", L"1:2:3:4:5:6:7::", L"::192.0.2.1", L"1:2:3:4:5::192.0.2.1", L"FEDC:ba98::0:0001"}) {
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

TEST(UriComponents, AMalformedAuthorityIsNoUri) {
    for (const wchar_t* text :
         {L"http://h:65536/", L"http://h:99999999999999999999/", L"http://h:-1/", L"http://h:80x/", L"http://h:80:80/",
          L"http://a b/", L"http://h\\p", L"http://a<b>/", L"http://[::1/", L"http://[::1]x/", L"http://::1]/",
          L"http://u@v@h/", L"http://%zz/", L"file://h:65536/x", L"http://h/\x01", L"foo:a\x7f", L"http://h/?\r\n"})
        EXPECT_FALSE(CTKFUri::Parse(text)) << Shown(text);
}

}  // namespace
