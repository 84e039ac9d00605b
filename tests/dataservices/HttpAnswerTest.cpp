// What is asked of web servers, and what is made of their answers.
#include "TavelVersion.h"
#include "base/CTaskMem.h"
#include "dataservices/http/HttpResults.h"
#include "dataservices/properties/StreamUri.h"
#include "tests/dataservices/HttpTest.h"
#include "tests/dataservices/WinHttpEntries.h"
#include "tests/support/Await.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>

using namespace dataservices;

namespace {

using HttpAnswerTest = HttpStreamTest;

TEST_F(HttpAnswerTest, AnAnswerThatIsNoSourceHasACodeOfItsOwn) {
    for (const int status : {400, 401, 403, 404, 407, 410, 429, 500, 503})
        EXPECT_EQ(dataservices::http::ResultOfHttpStatus(static_cast<DWORD>(status)), OpenServed({.status = status}))
            << status;
    // What may be an idle connection's fault is asked for once more. The library takes some resets, as the threads run,
    // for the end of an answer that has no status line.
    using dataservices::http::kHttpConnectionError, dataservices::http::kHttpInvalidResponse;
    const std::pair<Fault, std::vector<HRESULT>> broken[] = {
        {Fault::Garbage, {kHttpInvalidResponse}}, {Fault::Reset, {kHttpConnectionError, kHttpInvalidResponse}}};
    for (const auto& [fault, results] : broken)
        for (const size_t times : {1u, 2u}) {
            const CHttpServer::Resource resource{.bytes = bytes, .script = InTurn(Faults(times, {fault, -1}))};
            HRESULT opened = E_PENDING;
            EXPECT_EQ(2u, RequestsOf([&] { opened = OpenServed(resource); }));
            const auto& expected = times == 1 ? std::vector<HRESULT>{S_OK} : results;
            EXPECT_EQ(1, std::count(expected.begin(), expected.end(), opened)) << opened;
        }
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_WINHTTP_NAME_NOT_RESOLVED), Open(L"http://nowhere.invalid/"));
    const std::wstring gone = std::make_unique<CHttpServer>()->Url(L"/");
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_WINHTTP_CANNOT_CONNECT), Open(gone));
    const size_t before = server.Requests().size();
    std::wstring secure = server.Url(L"/a", L"me:secret@");
    EXPECT_TRUE(FAILED(Open(secure.insert(4, L"s"))));
    EXPECT_EQ(nullptr, stream.Get());
    EXPECT_EQ(before, server.Requests().size()) << "nothing is asked without TLS";
}

TEST_F(HttpAnswerTest, RedirectsAreFollowedWithinHttpUpToTen) {
    server.Serve("/d/end", {.bytes = bytes});
    const auto redirect = [&](const char* path, int status, const std::string& to) {
        server.Serve(path, {.status = status, .headers = to.empty() ? "" : "Location: " + to + "\r\n"});
    };
    redirect("/1", 301, "/2");
    redirect("/2", 302, "d/3#part");
    redirect("/d/3", 303, "//127.0.0.1:" + std::to_string(server.Port()) + "/d/4?q");
    redirect("/d/4", 307, "./5");
    redirect("/d/5", 308, "../d/end");
    EXPECT_EQ(6u, RequestsOf([&] { ASSERT_EQ(S_OK, Open(server.Url(L"/1"))); }));
    EXPECT_TRUE(IsRightAt(0));
    for (const char* const to : {"/circle", "ftp://127.0.0.1/", "file:///c:/", ""}) {
        redirect("/circle", 302, to);
        EXPECT_EQ(*to == '/' ? 11u : 1u, RequestsOf([&] {
            EXPECT_EQ(dataservices::http::kHttpRedirectFailed, Open(server.Url(L"/circle"))) << to;
        }));
    }
    for (int left = 1; left <= 11; ++left)  // ten are followed
        redirect(("/left" + std::to_string(left)).c_str(), 302,
                 left == 1 ? "/d/end" : "left" + std::to_string(left - 1));
    EXPECT_EQ(11u, RequestsOf([&] { EXPECT_EQ(S_OK, Open(server.Url(L"/left10"))); }));
    EXPECT_EQ(11u,
              RequestsOf([&] { EXPECT_EQ(dataservices::http::kHttpRedirectFailed, Open(server.Url(L"/left11"))); }));
    // The bytes of this name are no characters of Latin-1 in some systems' eyes.
    server.Serve("/%E6%97%A5%E6%9C%AC.avi", {.bytes = bytes});
    redirect("/1", 302, "/\xE6\x97\xA5\xE6\x9C\xAC.avi");
    EXPECT_EQ(S_OK, Open(server.Url(L"/1")));
}

TEST_F(HttpAnswerTest, TheUrlIsAskedAgainOnlyWhenItsRedirectsTargetIsGone) {
    const CHttpServer::Resource good{.bytes = bytes, .script = InTurn({{Fault::Close, 300'000}})};
    const CHttpServer::Resource gone[] = {{.status = 400}, {.script = InTurn({{Fault::Reset, -1}})}};
    for (const auto& last : gone) {  // refused, or not reached
        const size_t first = server.Requests().size();
        server.ServeInTurn("/old", {good, good, last});
        server.Serve("/new", {.bytes = bytes});
        server.ServeInTurn(
            "/a", {{.status = 302, .headers = "Location: /old\r\n"}, {.status = 302, .headers = "Location: /new\r\n"}});
        ASSERT_EQ(S_OK, Open(server.Url(L"/a")));
        EXPECT_TRUE(IsRightAt(0));
        std::string asked;
        const auto requests = server.Requests();
        for (size_t i = first; i < requests.size(); ++i)
            asked += requests[i].target + " ";
        EXPECT_EQ("/a /old /old /old /a /new ", asked);
    }
}

// What is sent, what Stat tells of the last change, and what an answer is bound to: only a tag or a time that names one
// version alone, and that every system sends back as it came.
TEST_F(HttpAnswerTest, ARequestAsksForPlainBytesOfTheSameVersion) {
    const std::string date = "Mon, 01 Jan 2024 00:00:00 GMT", strange = "\"\xC3\xA9\"";
    const struct {
        std::string tag, time, validator;
    } rows[] = {{"\"a\"", "", "\"a\""},  {"\"a\"", date, "\"a\""}, {"W/\"a\"", "", ""},
                {"W/\"a\"", date, date}, {"", date, date},         {"", "", ""},
                {strange, "", ""},       {strange, date, date},    {"", date + strange, ""},
                {"\"a\x02\"", "", ""}};
    for (const auto& [tag, time, validator] : rows) {
        const size_t first = server.Requests().size();
        CHttpServer::Resource resource{.bytes = bytes, .etag = tag, .script = InTurn({{Fault::Close, 400'000}})};
        resource.headers = time.empty() ? "" : "Last-Modified: " + time + "\r\n";
        ASSERT_EQ(S_OK, OpenServed(resource));
        EXPECT_TRUE(IsRightAt(0)) << tag << time;
        STATSTG stat{};
        EXPECT_EQ(S_OK, stream->Stat(&stat, STATFLAG_NONAME));
        EXPECT_EQ(time.empty() ? 0 : 0x01DA3C45'7689C000,
                  LONGLONG{stat.mtime.dwHighDateTime} << 32 | stat.mtime.dwLowDateTime);
        EXPECT_EQ(static_cast<DWORD>(STGM_READ | STGM_SHARE_DENY_NONE), stat.grfMode);
        const auto requests = server.Requests();
        ASSERT_EQ(first + 2, requests.size());
        for (size_t i = first; i < requests.size(); ++i) {
            EXPECT_EQ(i == first ? "bytes=0-" : "bytes=400000-", requests[i].Header("range"));
            EXPECT_EQ(i == first ? "" : validator, requests[i].Header("if-range")) << tag << time;
            EXPECT_EQ("identity", requests[i].Header("accept-encoding"));
            EXPECT_EQ("*/*", requests[i].Header("accept"));
            EXPECT_EQ("", requests[i].Header("authorization"));
        }
    }
}

TEST_F(HttpAnswerTest, ARangeIsBelievedOnlyIfItFitsItsBody) {
    const std::pair<HRESULT, std::vector<const char*>> rows[] = {
        {S_OK, {"bytes 0-9/10", " BYTES  0 - 9 / 10 "}},
        {dataservices::http::kHttpInvalidResponse,
         {"bytes 0-9/9223372036854775807", "", "bytes 0-9/9", "0-9/10", "bytes 0-9/x", "bytes 0-9", "octet 0-9/10",
          "bytes 0-8/10", "bytes 0-10/11", "bytes 1-10/11", "bytes 9-0/10", "bytes 0-/10", "bytes -9/10", "bytes 9/10",
          "bytes */10", "bytes 0-9/", "bytes 0-9/-10"}}};
    for (const auto& [result, ranges] : rows)
        for (const std::string range : ranges) {
            CHttpServer::Resource of10{
                .bytes = "0123456789", .status = 206, .headers = "Content-Range: " + range + "\r\n"};
            EXPECT_EQ(1u, RequestsOf([&, expected = result] { EXPECT_EQ(expected, OpenServed(of10)); })) << range;
        }
    // Chunks that go on behind their range are no part of the source.
    CHttpServer::Resource more = Part(bytes.substr(300'000) + "more", "300000-999999/1000000");
    more.live = true;
    ASSERT_EQ(S_OK, OpenThen({.bytes = bytes}, {more}));
    EXPECT_TRUE(Read(bytes.size() + 10) == std::pair(S_FALSE, bytes));
    // A detour is given more than it was asked for, to the end of the source or all of it: none of that is received.
    for (const bool isWhole : {false, true}) {
        const CHttpServer::Resource slow{.bytes = bytes, .script = InTurn({{Fault::Stall, 50'000}})};
        const CHttpServer::Resource later =
            isWhole
                ? CHttpServer::Resource{.bytes = bytes, .ranges = false, .script = InTurn({{Fault::Stall, 840'000}})}
                : Part(bytes.substr(700'000), "700000-999999/1000000");
        server.ServeInTurn("/a", {slow, later});
        ASSERT_EQ(S_OK, Open(server.Url(L"/a")));
        EXPECT_TRUE(IsRightAt(700'000, 10));
        ComPtr<ITKDSSourceControl> control;
        ASSERT_EQ(S_OK, stream.As(&control));
        ULONGLONG available = 0;
        if (!isWhole) {
            EXPECT_EQ(S_OK, control->Await(700'000, 0x40000, kLongMs, &available));
        }
        EXPECT_EQ(E_PENDING, control->Await(962'144, 1, 0, &available));
    }
    // The page that comes with a refusal is no content.
    EXPECT_EQ(S_OK, OpenServed({.bytes = "a page", .status = 416, .headers = "Content-Range: bytes */0\r\n"}));
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(std::pair(S_FALSE, std::string()), Read(4));
    // A range that ends with the source doesn't prove that more follows.
    EXPECT_EQ(dataservices::http::kHttpInvalidResponse, OpenServed(Part("01234", "0-4/4")));
    EXPECT_EQ(2u,
              RequestsOf([&] { EXPECT_EQ(dataservices::http::ResultOfHttpStatus(416), OpenServed({.status = 416})); }));
    EXPECT_EQ(dataservices::http::ResultOfHttpStatus(416),
              OpenServed({.status = 416, .headers = "Content-Range: bytes */5\r\n"}));
}

TEST_F(HttpAnswerTest, AServerThatPromisesRangesIsAskedForThemUntilItGivesNone) {
    const struct {
        const char* promise;
        bool ranges, asksRange, readsThrough;
    } rows[] = {{"bytes", true, true, false},
                {" Bytes ", true, true, false},
                {"bytes", false, true, true},
                {"none", true, false, true},
                {"", true, false, true}};
    for (const auto& [promise, ranges, asksRange, readsThrough] : rows) {
        SCOPED_TRACE(std::string(promise) + (ranges ? " kept" : " broken"));
        CHttpServer::Resource first{.bytes = bytes, .ranges = false, .etag = ""};
        first.headers = *promise ? std::string("Accept-Ranges: ") + promise + "\r\n" : "";
        CHttpServer::Resource later = first;
        later.ranges = ranges;
        later.script =
            InTurn({{Fault::Stall, 540'000}});  // so that it isn't all here soon; behind the last block that is wanted
        ASSERT_EQ(S_OK, OpenThen(first, {later}));
        EXPECT_EQ(1u, RequestsOf([&] { EXPECT_TRUE(IsRightAt(0, 400'000)); }));
        EXPECT_EQ(asksRange ? "bytes=300000-" : "", server.Requests().back().Header("range"));
        EXPECT_EQ(readsThrough ? TKDS_STATE_SEEKS_READ_THROUGH : 0, StateBits());
    }
    // A 200 in place of a later range is no change if its tag is the same.
    ASSERT_EQ(S_OK, OpenThen({.bytes = bytes}, {{.bytes = bytes, .ranges = false}}));
    EXPECT_EQ(0u, StateBits());
    EXPECT_EQ(S_OK, Read(bytes.size()).first);
    EXPECT_EQ(0u, StateBits()) << "all of it is here";
    const CHttpServer::Resource whole{.bytes = bytes, .ranges = false, .script = InTurn({{Fault::Stall, 300'000}})};
    ASSERT_EQ(S_OK, OpenServed(whole));
    ComPtr<IStream> buffered;
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(stream.Get(), &buffered));
    EXPECT_EQ(TKDS_STATE_SEEKS_READ_THROUGH, StateBits());
    stream = buffered;
    EXPECT_EQ(TKDS_STATE_SEEKS_READ_THROUGH, StateBits()) << "a buffer passes it on";
}

TEST_F(HttpAnswerTest, OnlyAnAnswerThatMayChangeOrMakesNoSenseIsAskedForAgain) {
    const auto read = [&](const CHttpServer::Resource& answer, HRESULT expected, bool ranges = true) {
        const CHttpServer::Resource good{.bytes = bytes, .ranges = ranges};
        ASSERT_EQ(S_OK, OpenThen(good, {answer, good}));
        EXPECT_EQ(SUCCEEDED(expected) ? 2u : 1u, RequestsOf([&] {
                      EXPECT_EQ(std::pair(expected, bytes.substr(0, SUCCEEDED(expected) ? bytes.npos : 300'000)),
                                Read(bytes.size()))
                          << answer.status << answer.headers;
                  }));
    };
    for (const int status : {408, 429, 500, 599})
        read({.status = status}, S_OK);
    for (const int status : {204, 304, 305, 400, 401, 403, 404, 407, 410, 499})
        read({.status = status}, dataservices::http::ResultOfHttpStatus(static_cast<DWORD>(status)));
    read({.bytes = bytes, .ranges = false, .headers = "Content-Length: 5\r\n"}, S_OK, false);
    read({.bytes = "??", .status = 206, .live = true, .headers = "Content-Range: bytes 300000-0/1000000\r\n"}, S_OK);
}

TEST_F(HttpAnswerTest, ABusyServerIsLeftAloneForAsLongAsItAsks) {
    const CPublishedLogger logger;
    std::wstring told;
    const auto pauseOf = [&](int status, const std::string& retryAfter) {
        const size_t before = logger->Messages().size();
        OnNewThread([&] {
            CHttpServer::Resource busy{.status = status, .headers = "Retry-After: " + retryAfter + "\r\n"};
            EXPECT_EQ(S_OK, OpenThen({.bytes = bytes}, {busy, {.bytes = bytes}}));
            EXPECT_TRUE(IsRightAt(0));
            stream.Reset();
        });
        told.clear();
        for (size_t i = before; i < logger->Messages().size(); ++i)
            told += logger->Messages()[i];
        // The first pause is that after the broken answer: none if the answer had rested meanwhile.
        const std::wstring asking = L"asking again in ";
        const size_t second = told.find(asking, told.find(asking) + 1);
        return second == told.npos ? -1 : std::stoi(told.substr(second + asking.size()));
    };
    EXPECT_EQ(1'000, pauseOf(503, "1"));
    EXPECT_EQ(1'000, pauseOf(429, " 1 "));
    const auto hasOwnPause = [&](int status, const std::string& retryAfter) {
        const int pauseMs = pauseOf(status, retryAfter);
        return pauseMs == 100 || pauseMs == 200;
    };
    EXPECT_TRUE(hasOwnPause(500, "9")) << told;
    for (const char* const nothing : {"Mon, 01 Jan 2024 00:00:00 GMT", "soon", "-7", "0"})
        EXPECT_TRUE(hasOwnPause(503, nothing)) << nothing << told;
}

decltype(&::WinHttpQueryHeaders) g_queryHeaders = nullptr;
std::atomic<int> g_queries = 0;
BOOL WINAPI CountedQuery(HINTERNET request, DWORD what, const wchar_t* name, void* buffer, DWORD* size, DWORD* index) {
    ++g_queries;
    return g_queryHeaders(request, what, name, buffer, size, index);
}

decltype(&::WinHttpSetOption) g_setOption = nullptr;
DWORD g_disabled = 0;
BOOL WINAPI NotedOption(HINTERNET handle, DWORD option, void* value, DWORD size) {
    if (option == WINHTTP_OPTION_DISABLE_FEATURE)
        g_disabled = *static_cast<const DWORD*>(value);
    return g_setOption(handle, option, value, size);
}

TEST_F(HttpAnswerTest, TheLibraryLogsInNowhere) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));  // the function is known from now on
    g_setOption = std::exchange(__imp_WinHttpSetOption, &NotedOption);
    EXPECT_EQ(S_OK, OpenServed({.bytes = bytes}));
    __imp_WinHttpSetOption = g_setOption;
    EXPECT_TRUE(g_disabled & WINHTTP_DISABLE_AUTHENTICATION) << "with the user's own name, where the server invites it";
}

TEST_F(HttpAnswerTest, AllHeadersAreTakenInOneGo) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));  // the function is known from now on
    CHttpServer::Resource resource{.bytes = bytes, .ranges = false};
    for (int i = 0; i < 4'000; ++i)
        resource.headers += "Content-Length: 1000000\r\n";
    g_queries = 0;
    g_queryHeaders = std::exchange(__imp_WinHttpQueryHeaders, &CountedQuery);
    EXPECT_EQ(S_OK, OpenServed(resource));
    __imp_WinHttpQueryHeaders = g_queryHeaders;
    EXPECT_LT(0, g_queries);
    EXPECT_GT(40, g_queries);
    EXPECT_TRUE(IsRightAt(0));
}

TEST_F(HttpAnswerTest, CredentialsGoToTheirServerAlone) {
    const CPublishedLogger logger;
    CHttpServer other;
    other.Serve("/a", {.bytes = bytes, .script = InTurn({{Fault::Reset, 100}})});
    server.Serve("/a", {.status = 302, .headers = "Location: /b\r\n"});
    CHttpServer::Resource away{.status = 302};
    away.headers = "Location: http://127.0.0.1:" + std::to_string(other.Port()) + "/a\r\n";
    server.Serve("/b", away);
    std::wstring told;
    OnNewThread([&] {
        ASSERT_EQ(S_OK, Open(server.Url(L"/a?key=Sesame", L"us%65r:p%40ss@")));
        EXPECT_TRUE(IsRightAt(0));
        STATSTG stat{};
        EXPECT_EQ(S_OK, stream->Stat(&stat, STATFLAG_DEFAULT));
        told = base::CTaskMem<wchar_t>(stat.pwcsName).Get();
        stream.Reset();
        EXPECT_EQ(dataservices::http::ResultOfHttpStatus(404), Open(server.Url(L"/none", L"us%65r:p%40ss@")));
    });
    for (const Request& request : server.Requests())
        EXPECT_EQ("Basic dXNlcjpwQHNz", request.Header("authorization")) << request.target;
    for (const Request& request : other.Requests())
        EXPECT_EQ("", request.Header("authorization"));
    EXPECT_LT(3u, logger->Messages().size());
    for (const std::wstring& message : logger->Messages())
        told += L"\n" + message;
    EXPECT_NE(told.npos, told.find(L"from byte 0: status 302"));
    for (const wchar_t* const secret : {L"p@ss", L"p%40ss", L"dXNl", L"us%65r", L"Sesame"})
        EXPECT_EQ(told.npos, told.find(secret)) << secret << told;
}

TEST_F(HttpAnswerTest, HeadersOfTheHostGoToTheOriginAlone) {
    const CPublishedLogger logger;
    CHttpServer other;
    other.Serve("/a", {.bytes = bytes, .script = InTurn({{Fault::Close, 300'000}, {Fault::Reset, -1}})});
    const std::string away = "Location: http://127.0.0.1:" + std::to_string(other.Port()) + "/a\r\n";
    server.ServeInTurn("/a",
                       {{.status = 302, .headers = "Location: /b\r\nSet-Cookie: jar=crumb\r\n"}, {.bytes = bytes}});
    server.Serve("/b", {.status = 302, .headers = away});
    OnNewThread([&] {
        SetOptions({{L"UserAgent", L"Player/1 (x)"},
                    {L"Referer", L"http://page/"},
                    {L"Cookies", L"key=Sesame"},
                    {L"Header.X-Key", L"H1dden"},
                    {L"Header.accept", L"audio/*"},
                    {L"Header.Authorization", L"Bearer T0ken"}});
        ASSERT_EQ(S_OK, Open(server.Url(L"/a", L"me:secret@")));
        EXPECT_TRUE(IsRightAt(0));
        stream.Reset();
        SetOptions({{L"Referer", L"https://page/"}, {L"Header.X-Empty", L" "}});
        ASSERT_EQ(S_OK, Open(server.Url(L"/a")));
    });
    const std::pair<const char*, std::string> own[] = {
        {"cookie", "key=Sesame"}, {"x-key", "H1dden"}, {"authorization", "Bearer T0ken"}, {"accept", "audio/*"}};
    auto requests = server.Requests();
    ASSERT_EQ(4u, requests.size());
    EXPECT_EQ("TvDataServices/" TAVEL_VERSION, requests.back().Header("user-agent"));
    EXPECT_EQ("", requests.back().Header("referer")) << "it is a secret of https";
    EXPECT_EQ(0u, requests.back().headers.count("x-empty"));
    requests.pop_back();
    for (const CHttpServer* const asked : {&server, &other})
        for (const Request& request : asked == &server ? requests : other.Requests()) {
            EXPECT_EQ("Player/1 (x)", request.Header("user-agent"));
            EXPECT_EQ("http://page/", request.Header("referer"));
            for (const auto& [name, value] : own)
                EXPECT_EQ(asked == &server                ? value
                          : std::string(name) == "accept" ? "*/*"
                                                          : "",
                          request.Header(name))
                    << request.target << name;
        }
    EXPECT_EQ(2u, other.Requests().size());
    std::wstring told;
    for (const std::wstring& message : logger->Messages())
        told += L"\n" + message;
    for (const wchar_t* const secret : {L"Sesame", L"H1dden", L"T0ken", L"secret", L"Player", L"page"})
        EXPECT_EQ(told.npos, told.find(secret)) << secret << told;
}

// Without these options each would wait for ten seconds or more, and then go on.
TEST_F(HttpAnswerTest, LimitsOfTheHostHold) {
    const std::pair<const wchar_t*, LONGLONG> limits[] = {
        {L"AnswerTimeout", -1}, {L"OpenTimeout", -1}, {L"ReadTimeout", 300'000}, {L"SilenceLimit", 300'000}};
    for (const auto& [limit, stallsAt] : limits) {
        CHttpServer stalling;
        stalling.Serve("/a", {.bytes = bytes, .script = [at = stallsAt](auto&) {
                                  return CHttpServer::Misbehaviour{Fault::Stall, at};
                              }});
        SetOptions({{limit, L"100"}, {L"Retries", L"0"}});
        auto done = std::async(std::launch::async, [&] {
            const HRESULT hr = Open(stalling.Url(L"/a"));
            return FAILED(hr) ? hr : Read(bytes.size()).first;
        });
        EXPECT_TRUE(stalling.WaitForStall());
        static_cast<void>(done.wait_for(std::chrono::seconds(5)));
        stalling.ReleaseStalls();
        EXPECT_EQ(dataservices::http::kHttpTimeout, done.get()) << ::testing::PrintToString(std::wstring(limit));
        stream.Reset();
    }
    const std::pair<size_t, HRESULT> failures[] = {{0, dataservices::http::kHttpConnectionError},
                                                   {2, dataservices::http::ResultOfHttpStatus(503)}};
    for (const auto& [retries, failure] : failures) {
        SetOptions({{L"Retries", std::to_wstring(retries)}, {L"StoreBytes", std::to_wstring(0x100000)}});
        HRESULT result = S_OK;
        const size_t requests = RequestsOf([&] {
            ASSERT_EQ(S_OK, OpenThen({.bytes = bytes}, {{.status = 503}}));
            result = Read(bytes.size()).first;
        });
        // Where the break comes before anybody waits for the bytes behind it, whoever asks for them has all tries.
        const bool isEarly = requests == 2 + retries;
        EXPECT_EQ(isEarly ? requests : 1 + retries, requests);
        EXPECT_EQ(isEarly ? dataservices::http::ResultOfHttpStatus(503) : failure, result);
    }
    const std::string more = RandomBytes(7, 3'000'000);
    ASSERT_EQ(S_OK, OpenServed({.bytes = more}));
    EXPECT_TRUE(Read(more.size()) == std::pair(S_OK, more));
    ComPtr<ITKDSSourceControl> control;
    TKDS_SOURCE_STATUS status{};
    EXPECT_TRUE(SUCCEEDED(stream.As(&control)) && SUCCEEDED(control->GetStatus(&status)));
    EXPECT_GE(0x100000u, status.held);
}

TEST_F(HttpAnswerTest, AnswersThatTellTooLittleOrContradictThemselvesAreNotUsed) {
    EXPECT_EQ(2u, RequestsOf([&] {
                  server.ServeInTurn("/a", {Part(bytes, "0-999999/*"), {.bytes = bytes}});
                  ASSERT_EQ(S_OK, Open(server.Url(L"/a")));
                  EXPECT_TRUE(IsRightAt(0));
                  EXPECT_EQ(std::pair(S_FALSE, std::string()), Read(1));
              }));
    EXPECT_EQ("", server.Requests().back().Header("range"));
    EXPECT_EQ(dataservices::http::kHttpInvalidResponse, OpenServed(Part(bytes, "0-999999/*")));
    for (const char* const length :
         {"5", "ten", "-5", "9223372036854775807", "9223372036854775808", "", "1000000,5", "5,1000000", "1000000,"})
        for (const bool ranges : {true, false}) {
            CHttpServer::Resource resource{.bytes = bytes, .ranges = ranges};
            resource.headers = std::string("Content-Length: ") + length + "\r\n";
            EXPECT_EQ(dataservices::http::kHttpInvalidResponse, OpenServed(resource)) << length;
        }
    // No test server sends such a length, but a real one may.
    EXPECT_EQ(S_OK, OpenServed(Part("0", "0-0/9223372036854775806", "")));
    EXPECT_EQ(S_OK, Seek(-1, STREAM_SEEK_END));
    EXPECT_EQ(S_OK, OpenServed({.bytes = bytes, .ranges = false, .headers = "Content-Length: 1000000 , 1000000\r\n"}));
    EXPECT_EQ(S_OK, OpenServed({.bytes = bytes, .ranges = false, .headers = "Transfer-Encoding: identity\r\n"}));
    EXPECT_EQ(S_OK, Seek(-1, STREAM_SEEK_END)) << "not live";
    EXPECT_EQ(S_OK, OpenServed({.bytes = bytes, .live = true, .headers = "Content-Length: 5\r\n"}));
    EXPECT_EQ(bytes, Read(bytes.size()).second) << "chunks say where they end";
    EXPECT_EQ(S_OK, OpenServed({.bytes = bytes, .status = 203})) << "200 as a proxy has changed it";
    EXPECT_TRUE(IsRightAt(0));
}

std::wstring g_proxyOfMachine;
BOOL WINAPI ProxyOfMachine(WINHTTP_PROXY_INFO* info) {
    const auto copy = [](const std::wstring& text) {
        const size_t bytes = (text.size() + 1) * sizeof(wchar_t);
        return static_cast<wchar_t*>(std::memcpy(::GlobalAlloc(GMEM_FIXED, bytes), text.c_str(), bytes));
    };
    *info = {WINHTTP_ACCESS_TYPE_NAMED_PROXY, copy(g_proxyOfMachine), copy(L"*.near.invalid")};
    return TRUE;
}

TEST_F(HttpAnswerTest, TheProxyOfTheMachineIsAskedForOtherHosts) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));  // the function is known from now on
    stream.Reset();
    g_proxyOfMachine = L"127.0.0.1:" + std::to_wstring(server.Port());
    const auto before = std::exchange(__imp_WinHttpGetDefaultProxyConfiguration, &ProxyOfMachine);
    // The session goes with the last that uses it: the stream, or a read-ahead that is at its end.
    Await([&] { return Open(L"http://nowhere.invalid/a") == S_OK; });
    EXPECT_TRUE(stream && IsRightAt(0));
    EXPECT_TRUE(server.Requests().back().target.starts_with("http://nowhere.invalid"));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_WINHTTP_NAME_NOT_RESOLVED), Open(L"http://very.near.invalid/a"));
    EXPECT_EQ(S_OK, OpenServed({.bytes = bytes}));
    EXPECT_EQ("/a", server.Requests().back().target);
    stream.Reset();
    const std::wstring ours = std::exchange(g_proxyOfMachine, L"127.0.0.1:1");
    EXPECT_EQ(S_OK, Open(server.Url(L"/a"))) << "this machine is asked directly";
    // That of the host comes first, at the same time as others.
    SetOptions({{L"Proxy", ours}});
    const ComPtr<IStream> without = stream;
    EXPECT_EQ(S_OK, Open(L"http://nowhere.invalid/a"));
    EXPECT_TRUE(stream && IsRightAt(0));
    g_proxyOfMachine = ours;
    SetOptions({{L"Proxy", L"direct"}});
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_WINHTTP_NAME_NOT_RESOLVED), Open(L"http://nowhere.invalid/a"));
    __imp_WinHttpGetDefaultProxyConfiguration = before;
}

TEST_F(HttpAnswerTest, AnyUrlIsAskedForAsItIsWritten) {
    CHttpServer v6(true);
    for (CHttpServer* const at : {&server, &v6}) {
        at->Serve("/T%C3%B6ne%20%E9%9F%B3%2f", {.bytes = bytes});
        ASSERT_EQ(S_OK, Open(at->Url(L"/T\u00F6ne \u97F3%2f?q=\u00E9 x%20#part")));
        EXPECT_TRUE(IsRightAt(0));
        EXPECT_EQ("/T%C3%B6ne%20%E9%9F%B3%2f?q=%C3%A9%20x%20", at->Requests()[0].target);
        EXPECT_EQ(L"", UriOfStream(*stream.Get())) << "without its query it would be that of another source";
        ASSERT_EQ(S_OK, Open(at->Url(L"/T%C3%B6ne%20%E9%9F%B3%2f", L"me:secret@")));
        EXPECT_EQ(at->Url(L"/T%C3%B6ne%20%E9%9F%B3%2f"), UriOfStream(*stream.Get()));
    }
}

}  // namespace
