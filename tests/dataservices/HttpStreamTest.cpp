// CHttpStream with all that it is made of: what sources on web servers do beyond the contract of every source:
// requests, results, resuming, waiting.
#include "dataservices/Results.h"
#include "dataservices/StreamUri.h"
#include "dataservices/http/CHttpStream.h"
#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpResults.h"
#include "framework/com/CTaskMem.h"
#include "framework/streams/TKFStreams.h"
#include "tests/support/CHttpServer.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/RandomBytes.h"

#include <objidl.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <random>

namespace {

using Microsoft::WRL::ComPtr;
using Fault = CHttpServer::Fault;
using Faults = std::vector<CHttpServer::Misbehaviour>;
using Request = CHttpServer::Request;

// The answers go wrong in these ways, one after the other; those after them are right.
std::function<CHttpServer::Misbehaviour(const Request&)> InTurn(Faults faults) {
    return [faults, next = size_t{0}](const Request&) mutable {
        return next < faults.size() ? faults[next++] : CHttpServer::Misbehaviour{};
    };
}

struct HttpStreamTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    const std::string bytes = RandomBytes(815, 1'000'000);
    CHttpServer server;
    ComPtr<IStream> stream;

    void SetUp() override {
        if (!CHttpServer::IsSupported())
            GTEST_SKIP() << "the platform has no sockets for programs of this bitness";
    }
    HRESULT Open(const std::wstring& url) { return CreateHttpStream(url.c_str(), stream.ReleaseAndGetAddressOf()); }
    HRESULT OpenServed(CHttpServer::Resource resource) {
        server.Serve("/a", std::move(resource));
        return Open(server.Url(L"/a"));
    }
    std::pair<HRESULT, std::string> Read(size_t cb) const {
        std::string got(cb, '?');
        ULONG count = 0xDEAD;
        const HRESULT hr = stream->Read(got.data(), static_cast<ULONG>(cb), &count);
        return {hr, got.substr(0, count)};
    }
    HRESULT Seek(LONGLONG position, DWORD origin = STREAM_SEEK_SET) const {
        return stream->Seek({.QuadPart = position}, origin, nullptr);
    }
    // Whether the bytes from `position` on, to the end or `cb` of them, are what the stream gives there.
    [[nodiscard]] bool IsRightAt(size_t position, size_t cb = std::string::npos) const {
        const std::string right = bytes.substr(position, cb);
        return Seek(static_cast<LONGLONG>(position)) == S_OK && Read(right.size()) == std::pair{S_OK, right};
    }
    size_t RequestsOf(const std::function<void()>& what) const {
        const size_t before = server.Requests().size();
        what();
        return server.Requests().size() - before;
    }
};

TEST_F(HttpStreamTest, AnOpenReadToItsEndIsOneRequestAndASeekAmongKeptBytesIsNone) {
    EXPECT_EQ(1u, RequestsOf([&] {
                  ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));
                  for (size_t at = 0; at < bytes.size(); at += 10'000) {
                      ASSERT_TRUE(Read(10'000).second == bytes.substr(at, 10'000)) << at;
                      const size_t back = std::min<size_t>(at + 10'000, kKeptBytes);
                      ASSERT_TRUE(IsRightAt(at + 10'000 - back, back)) << at;
                  }
                  EXPECT_TRUE(IsRightAt(bytes.size() - kKeptBytes));
                  EXPECT_TRUE(IsRightAt(bytes.size() - 1'000));
              }));
    EXPECT_EQ(1u, RequestsOf([&] { EXPECT_TRUE(IsRightAt(20, 1'000)); }));
    EXPECT_EQ("bytes=20-", server.Requests().back().Header("range"));
    EXPECT_EQ(0u, RequestsOf([&] { EXPECT_TRUE(IsRightAt(200'000, 1'000)); })) << "a short way is read on";
    EXPECT_EQ(0u, RequestsOf([&] { Seek(700'000); })) << "a seek alone asks for nothing";
}

TEST_F(HttpStreamTest, ALiveSourceLosesNothingOfWhatWasReadToTellItsKind) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .live = true}));
    EXPECT_TRUE(Read(0x10000).second == bytes.substr(0, 0x10000));
    EXPECT_EQ(kCannotSeek, Seek(0, STREAM_SEEK_END));
    EXPECT_TRUE(IsRightAt(0));
    // A buffer in front believes what a failed seek tells.
    ULARGE_INTEGER position{};
    EXPECT_EQ(kCannotSeek, stream->Seek({}, STREAM_SEEK_SET, &position));
    EXPECT_EQ(bytes.size(), position.QuadPart);
    EXPECT_EQ(1u, server.Requests().size());
}

TEST_F(HttpStreamTest, NothingCanBeWritten) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = "abc"}));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->Write("x", 1, nullptr));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->SetSize({}));
}

TEST_F(HttpStreamTest, AnAnswerThatIsNoSourceHasACodeOfItsOwn) {
    for (const int status : {400, 401, 403, 404, 407, 410, 429, 500, 503})
        EXPECT_EQ(ResultOfHttpStatus(static_cast<DWORD>(status)), OpenServed({.status = status})) << status;
    EXPECT_EQ(kHttpInvalidResponse, OpenServed({.script = InTurn(Faults(9, {Fault::kGarbage, 0}))}));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_WINHTTP_NAME_NOT_RESOLVED), Open(L"http://nowhere.invalid/"));
    const std::wstring gone = std::make_unique<CHttpServer>()->Url(L"/");
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_WINHTTP_CANNOT_CONNECT), Open(gone));
    EXPECT_EQ(nullptr, stream.Get());
}

TEST_F(HttpStreamTest, RedirectsLeadOnButNotRoundAndRoundNorElsewhere) {
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
        EXPECT_GE(size_t{kMaxRedirects + 1},
                  RequestsOf([&] { EXPECT_EQ(kHttpRedirectFailed, Open(server.Url(L"/circle"))) << to; }));
    }
}

TEST_F(HttpStreamTest, CredentialsGoToTheirServerAloneAndIntoNoRecordAndNoName) {
    const CPublishedLogger logger;
    CHttpServer other;
    other.Serve("/a", {.bytes = bytes, .script = InTurn({{Fault::kReset, 100}})});
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
        told = CTaskMem<wchar_t>(stat.pwcsName).Get();
        stream.Reset();
        EXPECT_EQ(ResultOfHttpStatus(404), Open(server.Url(L"/none", L"us%65r:p%40ss@")));
    });
    for (const Request& request : server.Requests())
        EXPECT_EQ("Basic dXNlcjpwQHNz", request.Header("authorization")) << request.target;
    for (const Request& request : other.Requests())
        EXPECT_EQ("", request.Header("authorization"));
    EXPECT_LT(3u, logger->Messages().size());
    for (const std::wstring& message : logger->Messages())
        told += L"\n" + message;
    for (const wchar_t* const secret : {L"p@ss", L"p%40ss", L"dXNl", L"us%65r", L"Sesame"})
        EXPECT_EQ(told.npos, told.find(secret)) << secret << told;
}

TEST_F(HttpStreamTest, ABrokenAnswerIsTakenUpAtTheExactByte) {
    const std::vector<Faults> cases{
        {{Fault::kReset, 400'000}},
        {{Fault::kClose, 400'000}},
        {{Fault::kClose, 0}},
        {{Fault::kTrickle, 3'000}},
        {{Fault::kLongBody, 5'000}},
        {{Fault::kClose, 1}, {Fault::kReset, -1}, {Fault::kUnavailable}, {Fault::kGarbage}}};
    for (const bool ranges : {true, false})
        for (size_t i = 0; i < cases.size(); ++i) {
            SCOPED_TRACE(std::to_string(i) + (ranges ? "" : " without ranges"));
            const size_t first = server.Requests().size();
            ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .ranges = ranges, .script = InTurn(cases[i])}));
            EXPECT_TRUE(IsRightAt(0));
            EXPECT_EQ(std::pair(S_FALSE, std::string()), Read(1));
            const auto requests = server.Requests();
            const bool breaks = cases[i][0].fault != Fault::kTrickle && cases[i][0].fault != Fault::kLongBody;
            ASSERT_EQ(first + 1 + (breaks ? cases[i].size() : 0), requests.size());
            if (breaks && ranges) {
                EXPECT_EQ("\"first\"", requests.back().Header("if-range"));
            }
        }
}

TEST_F(HttpStreamTest, ASourceThatChangedIsAnErrorForGood) {
    const Faults lies[] = {{{Fault::kWrongStart, 1}}, {{Fault::kWrongTotal, 1}}, {{Fault::kIgnoredRange}}, {}};
    for (const Faults& lie : lies) {
        SCOPED_TRACE(lie.empty() ? -1 : static_cast<int>(lie[0].fault));
        Faults faults{{Fault::kReset, 300'000}};
        faults.insert(faults.end(), lie.begin(), lie.end());
        const auto script = [this, next = InTurn(faults), first = true,
                             changes = lie.empty()](const Request& request) mutable {
            if (!std::exchange(first, false) && changes)
                server.Serve("/a", {.bytes = std::string(1'000'000, 'n'), .etag = "\"second\""});
            return next(request);
        };
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = script}));
        const auto [hr, got] = Read(bytes.size());
        EXPECT_EQ(STG_E_REVERTED, hr);
        EXPECT_TRUE(bytes.starts_with(got));
        EXPECT_EQ(STG_E_REVERTED, Read(10).first);
    }
}

TEST_F(HttpStreamTest, AnAnswerThatTellsTooLittleIsAskedForPlainlyAndOneThatContradictsItselfIsNone) {
    EXPECT_EQ(2u, RequestsOf([&] {
                  ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn({{Fault::kNoTotal}})}));
                  EXPECT_TRUE(IsRightAt(0));
                  EXPECT_EQ(std::pair(S_FALSE, std::string()), Read(1));
              }));
    for (const char* const length : {"5", "ten", "-5", "9223372036854775808", ""})
        for (const bool ranges : {true, false}) {
            CHttpServer::Resource resource{.bytes = bytes, .ranges = ranges};
            resource.headers = std::string("Content-Length: ") + length + "\r\n";
            EXPECT_EQ(kHttpInvalidResponse, OpenServed(resource)) << length;
        }
    EXPECT_EQ(S_OK, OpenServed({.bytes = bytes, .status = 203})) << "200 as a proxy has changed it";
    EXPECT_TRUE(IsRightAt(0));
}

TEST_F(HttpStreamTest, ASourceThatStaysBrokenIsAFailureAfterFiveTries) {
    const CPublishedLogger logger;
    Faults faults(99, {Fault::kUnavailable});
    faults[0] = {Fault::kClose, 700'000};
    OnNewThread([&] {
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn(faults)}));
        ComPtr<IStream> copy;
        ASSERT_EQ(S_OK, TKFCreateMemoryStream(nullptr, 0, &copy));
        ULARGE_INTEGER count{};
        EXPECT_EQ(ResultOfHttpStatus(503), stream->CopyTo(copy.Get(), {.QuadPart = ~0ull}, &count, nullptr));
        EXPECT_EQ(700'000u, count.QuadPart);
        stream.Reset();
    });
    EXPECT_EQ(1u + std::size(kPausesMs), server.Requests().size());
    const auto told = [&](const std::wstring& text) {
        return std::ranges::count_if(logger->Messages(),
                                     [&](const auto& message) { return message.find(text) != message.npos; });
    };
    for (const DWORD pause : kPausesMs)
        EXPECT_EQ(1, told(L"asking again in " + std::to_wstring(pause) + L" ms")) << pause;
    EXPECT_EQ(1, told(L"failed at position 700000, hr=0x801901F7"));
}

TEST_F(HttpStreamTest, AnotherVersionOfASourceWithoutRangesIsAnErrorToo) {
    for (const bool tagged : {true, false}) {
        const auto version = [&](const char* tag, const char* time) {
            CHttpServer::Resource resource{.bytes = bytes, .ranges = false, .etag = tagged ? tag : ""};
            resource.headers = tagged ? "" : "Last-Modified: " + std::string(time) + "\r\n";
            return resource;
        };
        const auto second = version("\"second\"", "Tue, 02 Jan 2024 00:00:00 GMT");
        auto first = version("\"first\"", "Mon, 01 Jan 2024 00:00:00 GMT");
        first.script = [&, again = false](const Request&) mutable {
            if (std::exchange(again, true))
                server.Serve("/a", second);
            return CHttpServer::Misbehaviour{Fault::kReset, 300'000};
        };
        ASSERT_EQ(S_OK, OpenServed(first));
        EXPECT_EQ(STG_E_REVERTED, Read(bytes.size()).first) << tagged;
    }
}

TEST_F(HttpStreamTest, AServerThatDoesNotSpeakTlsIsAskedNothingByASecureUrl) {
    std::wstring url = server.Url(L"/a", L"me:secret@");
    url.insert(4, L"s");
    EXPECT_TRUE(FAILED(Open(url)));
    EXPECT_TRUE(server.Requests().empty());
}

TEST_F(HttpStreamTest, TheProxyOfTheMachineIsAskedForOtherHosts) {
    std::wstring proxy = L"127.0.0.1:" + std::to_wstring(server.Port());
    WINHTTP_PROXY_INFO before{}, named{WINHTTP_ACCESS_TYPE_NAMED_PROXY, proxy.data(), nullptr};
    ::WinHttpGetDefaultProxyConfiguration(&before);
    ASSERT_TRUE(::WinHttpSetDefaultProxyConfiguration(&named)) << ::GetLastError();
    server.Serve("/a", {.bytes = bytes});
    EXPECT_EQ(S_OK, Open(L"http://nowhere.invalid/a"));
    EXPECT_TRUE(stream && IsRightAt(0));
    EXPECT_TRUE(server.Requests().back().target.starts_with("http://nowhere.invalid"));
    stream.Reset();  // the session goes with the last one
    EXPECT_EQ(S_OK, OpenServed({.bytes = bytes}));
    EXPECT_EQ("/a", server.Requests().back().target) << "this machine is asked directly";
    EXPECT_TRUE(::WinHttpSetDefaultProxyConfiguration(&before));
}

TEST_F(HttpStreamTest, AnAnswerThatBecomesAlmostNothingIsAskedForAgain) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn({{Fault::kDrip, 300'000}})}));
    const ULONGLONG before = ::GetTickCount64();
    EXPECT_TRUE(IsRightAt(0));
    EXPECT_GT(3 * kSlowBlockMs, ::GetTickCount64() - before);
    EXPECT_EQ(2u, server.Requests().size());
    // One that gives no second answer meanwhile is waited for.
    auto script = [this, answers = 0](const Request&) mutable {
        if (answers++ == 0)
            return CHttpServer::Misbehaviour{Fault::kDrip, 300'000};
        server.Serve("/a", {.status = 403});
        server.ReleaseStalls();
        return CHttpServer::Misbehaviour{};
    };
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = script}));
    EXPECT_TRUE(IsRightAt(0));
}

TEST(HttpUrlTest, ARedirectStaysSecretWhereItWasAndMayBeWrittenInUtf8) {
    const auto secure = CHttpUrl::Parse(L"https://me:pw@host/a/b?c");
    ASSERT_TRUE(secure);
    EXPECT_FALSE(secure->Resolve(L"http://host/a"));
    EXPECT_EQ(L"Basic bWU6cHc=", secure->Resolve(L"../T\u00C3\u00B6ne")->Authorization());
    EXPECT_EQ(L"/T%C3%B6ne", secure->Resolve(L"../T\u00C3\u00B6ne")->Target());
    EXPECT_EQ(L"/T%C3%B6ne", secure->Resolve(L"/T\u00F6ne")->Target());
    EXPECT_EQ(L"", secure->Resolve(L"https://host:444/a")->Authorization());
    EXPECT_TRUE(CHttpUrl::Parse(L"http://host/a")->Resolve(L"https://host/a"));
}

TEST_F(HttpStreamTest, DataThatComesLateIsWaitedFor) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn({{Fault::kStall, 500'000}})}));
    auto reading = std::async(std::launch::async, [&] { return IsRightAt(0); });
    ASSERT_TRUE(server.WaitForStall());
    server.ReleaseStalls();
    EXPECT_TRUE(reading.get());
    EXPECT_EQ(1u, server.Requests().size());
}

TEST_F(HttpStreamTest, LettingGoOfASourceThatStallsTakesNoTime) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn({{Fault::kStall, 100}})}));
    EXPECT_EQ(bytes.substr(0, 10), Read(10).second);
    ASSERT_TRUE(server.WaitForStall());
    const ULONGLONG before = ::GetTickCount64();
    stream.Reset();
    EXPECT_GT(1'000u, ::GetTickCount64() - before);
}

TEST_F(HttpStreamTest, AServerThatStaysSilentOrNeverComesToThePointIsGivenUpInTime) {
    const struct {
        Fault fault;
        DWORD limitMs;
    } cases[] = {{Fault::kStall, kConnectMs + kFirstByteMs}, {Fault::kEndlessHeaders, kConnectMs + kFirstByteMs}};
    std::vector<std::future<void>> opens;
    for (const auto& [fault, limitMs] : cases)
        opens.push_back(std::async(std::launch::async, [this, fault = fault, limitMs = limitMs] {
            const CTestApartment own(COINIT_MULTITHREADED);
            const std::string path = "/" + std::to_string(static_cast<int>(fault));
            server.Serve(path, {.bytes = bytes, .script = InTurn(Faults(99, {fault, -1}))});
            const ULONGLONG before = ::GetTickCount64();
            ComPtr<IStream> none;
            EXPECT_EQ(kHttpTimeout, CreateHttpStream(server.Url({path.begin(), path.end()}).c_str(), &none)) << path;
            EXPECT_GT(limitMs + 2'000, ::GetTickCount64() - before);
        }));
    opens.push_back(std::async(std::launch::async, [this] {
        const CTestApartment own(COINIT_MULTITHREADED);
        server.Serve("/live", {.bytes = bytes, .live = true, .script = InTurn({{Fault::kStall, 300'000}})});
        ComPtr<IStream> live;
        ASSERT_EQ(S_OK, CreateHttpStream(server.Url(L"/live").c_str(), &live));
        std::string got(bytes.size(), '?');
        ULONG count = 0;
        EXPECT_EQ(kHttpTimeout, live->Read(got.data(), static_cast<ULONG>(got.size()), &count));
        EXPECT_TRUE(bytes.starts_with(got.substr(0, count)));
        EXPECT_EQ(kHttpTimeout, live->Read(got.data(), 1, &count)) << "a live source is not taken up again";
    }));
    // One that falls silent later on is asked again; what came is not lost.
    server.Serve("/a", {.bytes = bytes, .script = InTurn({{Fault::kClose, 500}, {Fault::kStall, 0}})});
    ASSERT_EQ(S_OK, Open(server.Url(L"/a")));
    EXPECT_TRUE(IsRightAt(0)) << "one stall is got over";
    EXPECT_EQ(3u, server.Requests().size() - opens.size());
}

TEST_F(HttpStreamTest, AnyHostAndAnyPathIsAskedForAsItIsWritten) {
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
