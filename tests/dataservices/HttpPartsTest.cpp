// What needs no server: the URLs of http sources, and data URIs.
#include "dataservices/data/CDataUriStream.h"
#include "dataservices/http/CHttpUrl.h"
#include "tests/support/CTestApartment.h"

#include <objidl.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace dataservices;

namespace {

TEST(HttpUrlTest, AUrlIsTakenApartAsARequestNeedsIt) {
    const struct {
        const wchar_t *text, *host, *target, *printable, *authorization;
        int port;
    } rows[] = {
        {L"http://h", L"h", L"/", L"http://h/", L"", 80},
        {L"HTTPS://H:443/a/./b/../c/?q#f", L"H", L"/a/c/?q", L"https://H/a/c/?***", L"", 443},
        {L"http://h:443/..", L"h", L"/", L"http://h:443/", L"", 443},
        {L"https://h:80/a/.", L"h", L"/a/", L"https://h:80/a/", L"", 80},
        {L"http://h/p?", L"h", L"/p?", L"http://h/p?", L"", 80},
        {L"http://h/p?#f", L"h", L"/p?", L"http://h/p?", L"", 80},
        {L"http://h/p#?", L"h", L"/p", L"http://h/p", L"", 80},
        {L"http://h/p??", L"h", L"/p??", L"http://h/p?***", L"", 80},
        {L"http://[::1]:65535/", L"[::1]", L"/", L"http://[::1]:65535/", L"", 65535},
        {L"http://b\u00FCcher.example/\u00FC b", L"xn--bcher-kva.example", L"/%C3%BC%20b",
         L"http://xn--bcher-kva.example/%C3%BC%20b", L"", 80},
        {L"http://me@h/", L"h", L"/", L"http://h/", L"Basic bWU6", 80},
        {L"http://me:a:b@h/", L"h", L"/", L"http://h/", L"Basic bWU6YTpi", 80},
        {L"http://:pw@h/", L"h", L"/", L"http://h/", L"Basic OnB3", 80},
    };
    for (const auto& row : rows) {
        const auto url = dataservices::http::CHttpUrl::Parse(row.text);
        ASSERT_TRUE(url) << ::testing::PrintToString(row.text);
        EXPECT_EQ(row.host, url->Host());
        EXPECT_EQ(row.port, url->Port());
        EXPECT_EQ(row.target, url->Target());
        EXPECT_EQ(row.printable, url->Printable());
        EXPECT_EQ(row.authorization, url->Authorization());
        EXPECT_EQ(url->Printable().starts_with(L"https:"), url->IsSecure());
    }
    for (const wchar_t* const text : {L"", L"h/p", L"ftp://h/", L"http:", L"http:///p", L"http://:80/", L"http://h:0/",
                                      L"http://h:65536/", L"http://h%2F/", L"C:\\p", L"http://%00/"})
        EXPECT_FALSE(dataservices::http::CHttpUrl::Parse(text)) << ::testing::PrintToString(text);
    EXPECT_FALSE(dataservices::http::CHttpUrl::Parse(nullptr));
}

// RFC 3986, 5.2, as far as headers have it.
TEST(HttpUrlTest, ARedirectLeadsWhereItsReferenceSays) {
    const struct {
        const wchar_t *location, *target;
    } rows[] = {
        {L"?new", L"/a/b?new"},
        {L"?", L"/a/b?"},
        {L"", L"/a/b?old"},
        {L"#f", L"/a/b?old"},
        {L"c", L"/a/c"},
        {L"./", L"/a/"},
        {L"..", L"/"},
        {L"../../c?", L"/c?"},
        {L"c/d?e=/f", L"/a/c/d?e=/f"},
        {L"/c", L"/c"},
        {L"//h/c", L"/c"},
        {L"//h?x:y", L"/?x:y"},
        {L"http://h/c?", L"/c?"},
        {L"c?http://x", L"/a/c?http://x"},
        {L"HTTP://H", L"/"},
        {L"\u00E6\u2014\u00A5", L"/a/%E6%97%A5"},  // as code page 1252 has the bytes of UTF-8
        {L"\u00E6\u0097\u00A5", L"/a/%E6%97%A5"},  // as Latin-1 has them
        {L"\u00E9", L"/a/%C3%A9"},                 // no UTF-8: a character
        {L"\u65E5", L"/a/%E6%97%A5"},
        {L"\u2014\u65E5", L"/a/%E2%80%94%E6%97%A5"},
    };
    for (const auto& [location, target] : rows) {
        const auto url = dataservices::http::CHttpUrl::Parse(L"http://me:pw@h/a/b?old")->Resolve(location);
        ASSERT_TRUE(url) << ::testing::PrintToString(location);
        EXPECT_EQ(target, url->Target()) << ::testing::PrintToString(location);
        EXPECT_EQ(L"Basic bWU6cHc=", url->Authorization());
    }
    const auto secure = dataservices::http::CHttpUrl::Parse(L"https://me:pw@host/a/b?c"),
               plain = dataservices::http::CHttpUrl::Parse(L"http://me:pw@host/");
    EXPECT_FALSE(secure->Resolve(L"http://host/a"));
    EXPECT_TRUE(secure->Resolve(L"//host/a")->IsSecure());
    EXPECT_FALSE(plain->Resolve(L"//host/a")->IsSecure());
    EXPECT_FALSE(plain->Resolve(L"ftp://host/a"));
    for (const wchar_t* const elsewhere : {L"https://host:444/a", L"//other", L"//host:80/"})
        EXPECT_EQ(L"", secure->Resolve(elsewhere)->Authorization()) << ::testing::PrintToString(elsewhere);
    EXPECT_EQ(L"", plain->Resolve(L"https://host:80/a")->Authorization());
    EXPECT_EQ(L"Basic eDp5", plain->Resolve(L"http://x:y@host/a")->Authorization());
}

TEST(DataUriTest, GivesTheBytesThatAreWrittenInIt) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const struct {
        const wchar_t* uri;
        std::string bytes;
    } rows[] = {
        {L"data:,a%20b%zz%4", "a b%zz%4"},
        {L"data:text/plain;charset=x,\u00E9#f", "\xC3\xA9"},
        {L"data:,", ""},
        {L"data:,a,b", "a,b"},
        {L"DATA:;BASE64 ,QUJD", "ABC"},
        {L"data:;base64x,QUJD", "QUJD"},
        {L"data:;base64,", ""},
        {L"data:;base64,+/+/", "\xFB\xFF\xBF"},
        {L"data:;base64,QUI=", "AB"},
        {L"data:;base64,QUI", "AB"},
        {L"data:;base64,QQ%3D=", "A"},
        {L"data:;base64,QQ", "A"},
        {L"data:;base64,Q U%0D%0A%09J%0CD ", "ABC"},
        {L"data:;base64,QUJDREVG", "ABCDEF"},
    };
    Microsoft::WRL::ComPtr<IStream> stream;
    for (const auto& [uri, bytes] : rows) {
        SCOPED_TRACE(::testing::PrintToString(uri));
        ASSERT_EQ(S_OK, CreateDataUriStream(ParseDataUri(uri), stream.ReleaseAndGetAddressOf()));
        char got[16]{};
        ULONG count = 0;
        EXPECT_EQ(S_FALSE, stream->Read(got, sizeof got, &count));
        EXPECT_EQ(bytes, std::string(got, count));
    }
    for (const wchar_t* const uri :
         {L"data:;base64,QUJD=", L"data:;base64,QUJD====", L"data:;base64,====", L"data:;base64,=", L"data:;base64,QQ=",
          L"data:;base64,QQ===", L"data:;base64,QUI==", L"data:;base64,QQ==QQ==", L"data:;base64,Q",
          L"data:;base64,Q-_Q", L"data:x", L"date:,x"})
        EXPECT_EQ(E_INVALIDARG, CreateDataUriStream(ParseDataUri(uri), stream.ReleaseAndGetAddressOf()))
            << ::testing::PrintToString(uri);
}

}  // namespace
