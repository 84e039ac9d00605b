// How http sources are read beyond the contract of every source: resuming, waiting, several threads, failing.
#include "dataservices/Results.h"
#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpResults.h"
#include "tests/dataservices/HttpTest.h"

#include <future>
#include <iterator>

namespace {

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
    ComPtr<IStream> clone;
    EXPECT_EQ(kCannotSeek, stream->Clone(&clone));
    EXPECT_EQ(1u, server.Requests().size());
}

TEST_F(HttpStreamTest, NothingCanBeWritten) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = "abc"}));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->Write("x", 1, nullptr));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->SetSize({}));
}

TEST_F(HttpStreamTest, EachNewByteStartsTheCountOfTriesAnew) {
    Faults faults{{Fault::kClose, 100'000}};
    for (int part = 0; part < 2; ++part) {
        faults.insert(faults.end(), 3, {Fault::kUnavailable});
        faults.push_back({Fault::kClose, 100'000});
    }
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn(faults)}));
    EXPECT_TRUE(IsRightAt(0)) << "six failures, but no more than three without progress";
    // What has come before is none.
    faults.assign(7, {Fault::kClose, 100'000});
    faults[0] = {Fault::kClose, 500'000};
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .ranges = false, .script = InTurn(faults)}));
    EXPECT_EQ(5u, RequestsOf([&] { EXPECT_EQ(kHttpConnectionError, Read(bytes.size()).first); }));
}

// Each call is whole: the bytes of one read follow one another in the source, and no two reads give the same ones.
TEST_F(HttpStreamTest, ThreadsThatShareAStreamGetEachByteOnce) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));
    const auto reading = [&] {
        const CTestApartment own(COINIT_MULTITHREADED);
        std::vector<size_t> found;
        std::string got(100, '?');
        ULONG count = 0;
        while (stream->Read(got.data(), 100, &count) == S_OK)
            found.push_back(bytes.find(got));
        return found;
    };
    std::vector<std::future<std::vector<size_t>>> readers;
    for (int i = 0; i < 3; ++i)
        readers.push_back(std::async(std::launch::async, reading));
    std::vector<size_t> all;
    for (auto& reader : readers)
        std::ranges::copy(reader.get(), std::back_inserter(all));
    std::ranges::sort(all);
    ASSERT_EQ(bytes.size() / 100, all.size());
    for (size_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(i * 100, all[i]);
}

TEST_F(HttpStreamTest, AShortWayIsReadOnAndALongerOneIsARequest) {
    constexpr size_t kWay = 262'144;
    for (const size_t way : {kWay, kWay + 1}) {
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));
        EXPECT_EQ(way - kWay, RequestsOf([&] { EXPECT_TRUE(IsRightAt(way, 1)); }));
    }
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
        const bool isWhole = !lie.empty() && lie[0].fault == Fault::kIgnoredRange;
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .etag = isWhole ? "" : "\"first\"", .script = script}));
        const auto [hr, got] = Read(bytes.size());
        EXPECT_EQ(STG_E_REVERTED, hr);
        EXPECT_TRUE(bytes.starts_with(got));
        EXPECT_EQ(STG_E_REVERTED, Read(10).first);
    }
    // Without a name for its versions, its length tells, or the end of a range.
    const std::pair<bool, CHttpServer::Resource> others[] = {
        {true, {.bytes = "short", .etag = ""}},
        {false, {.bytes = bytes + "long", .ranges = false, .etag = ""}},
        {true,
         {.bytes = std::string(700'001, 'x'),
          .status = 206,
          .etag = "",
          .headers = "Content-Range: bytes 300000-1000000/*\r\n"}}};
    for (const auto& [ranges, other] : others) {
        const auto script = [this, other = other, first = true](const Request&) mutable {
            if (std::exchange(first, false))
                return CHttpServer::Misbehaviour{Fault::kClose, 300'000};
            server.Serve("/a", other);
            return CHttpServer::Misbehaviour{};
        };
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .ranges = ranges, .etag = "", .script = script}));
        EXPECT_EQ(std::pair(STG_E_REVERTED, bytes.substr(0, 300'000)), Read(bytes.size()));
        now += 3'600'000;
        server.Serve("/a", {.bytes = bytes, .ranges = ranges, .etag = ""});
        EXPECT_EQ(STG_E_REVERTED, Read(10).first);
    }
}

TEST_F(HttpStreamTest, ASourceThatStaysBrokenIsAFailureAfterFiveTriesAndStaysOneForTenSeconds) {
    const CPublishedLogger logger;
    Faults faults(7, {Fault::kUnavailable});
    faults[0] = {Fault::kClose, 700'000};
    OnNewThread([&] {
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn(faults)}));
        ComPtr<IStream> copy;
        ASSERT_EQ(S_OK, TKFCreateMemoryStream(nullptr, 0, &copy));
        ULARGE_INTEGER count{};
        EXPECT_EQ(ResultOfHttpStatus(503), stream->CopyTo(copy.Get(), {.QuadPart = ~0ull}, &count, nullptr));
        EXPECT_EQ(700'000u, count.QuadPart);
        EXPECT_EQ(6u, server.Requests().size());
        ComPtr<IStream> clone;
        ASSERT_EQ(S_OK, stream->Clone(&clone));
        for (const ULONGLONG ms : {0ull, 1ull, 9'998ull}) {
            now += ms;
            EXPECT_EQ(std::pair(ResultOfHttpStatus(503), std::string()), Read(10)) << "at once";
            char byte = 0;
            EXPECT_EQ(ResultOfHttpStatus(503), clone->Read(&byte, 1, nullptr));
            EXPECT_TRUE(IsRightAt(690'000, 10'000)) << "what is kept is there";
        }
        EXPECT_EQ(6u, server.Requests().size()) << "nobody was asked";
        now += 1;
        EXPECT_TRUE(IsRightAt(700'000)) << "each read has all tries";
        EXPECT_EQ(8u, server.Requests().size());
        stream.Reset();
    });
    const auto told = [&](const std::wstring& text) {
        return std::ranges::count_if(logger->Messages(),
                                     [&](const auto& message) { return message.find(text) != message.npos; });
    };
    for (const int pause : {100, 200, 400, 800, 1600})
        EXPECT_EQ(pause == 100 ? 2 : 1, told(L"asking again in " + std::to_wstring(pause) + L" ms")) << pause;
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
        ASSERT_EQ(S_OK, CreateHttpStream(server.Url(L"/live").c_str(), &live, &Now));
        std::string got(bytes.size(), '?');
        ULONG count = 0;
        EXPECT_EQ(kHttpTimeout, live->Read(got.data(), static_cast<ULONG>(got.size()), &count));
        EXPECT_TRUE(bytes.starts_with(got.substr(0, count)));
        now += 3'600'000;
        EXPECT_EQ(kHttpTimeout, live->Read(got.data(), 1, &count)) << "a live source is not taken up again";
    }));
    // One that falls silent later on is asked again; what came is not lost.
    server.Serve("/a", {.bytes = bytes, .script = InTurn({{Fault::kClose, 500}, {Fault::kStall, 0}})});
    ASSERT_EQ(S_OK, Open(server.Url(L"/a")));
    EXPECT_TRUE(IsRightAt(0)) << "one stall is got over";
    EXPECT_EQ(3u, server.Requests().size() - opens.size());
}

}  // namespace
