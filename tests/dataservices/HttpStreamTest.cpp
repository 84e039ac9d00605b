// How http sources are read beyond the contract of every source: resuming, waiting, several threads, failing.
#include "dataservices/com/Results.h"
#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpResults.h"
#include "tests/dataservices/HttpTest.h"
#include "tests/support/CSecondCall.h"

#include <future>

using namespace dataservices;

namespace {

TEST_F(HttpStreamTest, OneRequestServesAllReadsAndSeeksAmongKeptBytes) {
    EXPECT_EQ(1u, RequestsOf([&] {
                  ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));
                  for (size_t at = 0; at < bytes.size(); at += 10'000) {
                      ASSERT_TRUE(Read(10'000).second == bytes.substr(at, 10'000)) << at;
                      const size_t back = std::min<size_t>(at + 10'000, dataservices::http::kKeptBytes);
                      ASSERT_TRUE(IsRightAt(at + 10'000 - back, back)) << at;
                  }
                  EXPECT_TRUE(IsRightAt(bytes.size() - dataservices::http::kKeptBytes));
                  EXPECT_TRUE(IsRightAt(bytes.size() - 1'000));
              }));
    EXPECT_EQ(1u, RequestsOf([&] { EXPECT_TRUE(IsRightAt(20, 1'000)); }));
    EXPECT_EQ("bytes=20-", server.Requests().back().Header("range"));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->Write("x", 1, nullptr));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->SetSize({}));
    EXPECT_EQ(0u, RequestsOf([&] { Seek(700'000); })) << "a seek alone asks for nothing";
    for (const size_t way : {0x40000u, 0x40001u}) {  // a short way ahead is read through
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));
        EXPECT_EQ(way - 0x40000, RequestsOf([&] { EXPECT_TRUE(IsRightAt(way, 1)); }));
    }
}

TEST_F(HttpStreamTest, ALiveSourceLosesNothingOfWhatWasReadToTellItsKind) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .live = true}));
    EXPECT_TRUE(Read(0x10000).second == bytes.substr(0, 0x10000));
    EXPECT_EQ(kCannotSeek, Seek(0, STREAM_SEEK_END));
    EXPECT_TRUE(IsRightAt(0));
    // A buffer in front relies on the position that a failed seek reports.
    ULARGE_INTEGER position{};
    EXPECT_EQ(kCannotSeek, stream->Seek({}, STREAM_SEEK_SET, &position));
    EXPECT_EQ(bytes.size(), position.QuadPart);
    ComPtr<IStream> clone;
    EXPECT_EQ(kCannotSeek, stream->Clone(&clone));
    EXPECT_EQ(1u, server.Requests().size());
}

TEST_F(HttpStreamTest, EachNewByteStartsTheCountOfTriesAnew) {
    Faults faults{{Fault::Close, 100'000}};
    for (int part = 0; part < 2; ++part) {
        faults.insert(faults.end(), 3, {Fault::Unavailable});
        faults.push_back({Fault::Close, 100'000});
    }
    for (const bool fromTheEnd : {false, true}) {  // it makes no difference how far an earlier read came
        if (fromTheEnd)
            faults.insert(faults.begin(), 2, {});
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn(faults)}));
        EXPECT_TRUE(!fromTheEnd || IsRightAt(990'000, 10));
        EXPECT_TRUE(IsRightAt(0)) << "six failures, but no more than three without progress";
    }
    // Without ranges each try reads from the start again. Bytes that had come before are no progress.
    faults.assign(7, {Fault::Close, 100'000});
    faults[0] = {Fault::Close, 500'000};
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .ranges = false, .script = InTurn(faults)}));
    EXPECT_EQ(5u, RequestsOf([&] { EXPECT_EQ(dataservices::http::kHttpConnectionError, Read(bytes.size()).first); }));
}

TEST_F(HttpStreamTest, EveryCallButStatWaitsForTheOneThatRuns) {
    ComPtr<IStream> clone;
    const std::pair<bool, std::function<void()>> others[] = {
        {false, [&] { EXPECT_EQ(S_OK, Read(1).first); }},
        {false, [&] { EXPECT_EQ(S_OK, Seek(10)); }},
        {false, [&] { EXPECT_EQ(S_OK, stream->Clone(clone.ReleaseAndGetAddressOf())); }},
        {true, [&] { EXPECT_EQ(0u, StateBits()); }}};
    for (const auto& [ends, other] : others) {
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));
        char got[10]{};
        EXPECT_EQ(ends, EndsBeside([&] { EXPECT_EQ(S_OK, stream->Read(got, sizeof got, nullptr)); }, other));
    }
}

TEST_F(HttpStreamTest, ACloneAsksForTheSameVersionWhereItsSourceWasFound) {
    server.Serve("/b", {.bytes = bytes});
    ASSERT_EQ(S_OK, OpenServed({.status = 302, .headers = "Location: /b\r\n"}));
    EXPECT_EQ(S_OK, Seek(600'000));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    stream = clone;
    EXPECT_EQ(1u, RequestsOf([&] { EXPECT_EQ(bytes.substr(600'000, 10), Read(10).second); }));
    const Request asked = server.Requests().back();
    EXPECT_EQ("/b bytes=600000- \"first\"",
              asked.target + " " + asked.Header("range") + " " + asked.Header("if-range"));
}

TEST_F(HttpStreamTest, ABrokenAnswerIsTakenUpAtTheExactByte) {
    const std::vector<Faults> cases{
        {{Fault::Reset, 400'000}},  {{Fault::Close, 400'000}},
        {{Fault::Close, 0}},        {{Fault::Trickle, 3'000}},
        {{Fault::LongBody, 5'000}}, {{Fault::Close, 1}, {Fault::Reset, -1}, {Fault::Unavailable}, {Fault::Garbage}}};
    for (const bool ranges : {true, false})
        for (size_t i = 0; i < cases.size(); ++i) {
            SCOPED_TRACE(std::to_string(i) + (ranges ? "" : " without ranges"));
            const size_t first = server.Requests().size();
            ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .ranges = ranges, .script = InTurn(cases[i])}));
            EXPECT_TRUE(IsRightAt(0));
            EXPECT_EQ(std::pair(S_FALSE, std::string()), Read(1));
            const auto requests = server.Requests();
            const bool breaks = cases[i][0].fault != Fault::Trickle && cases[i][0].fault != Fault::LongBody;
            ASSERT_EQ(first + 1 + (breaks ? cases[i].size() : 0), requests.size());
            if (breaks && ranges) {
                EXPECT_EQ("\"first\"", requests.back().Header("if-range"));
            }
        }
}

TEST_F(HttpStreamTest, ASourceThatChangedIsAnErrorForGood) {
    using Resource = CHttpServer::Resource;
    const auto dated = [&](const char* time) {
        return Resource{
            .bytes = bytes, .ranges = false, .etag = "", .headers = "Last-Modified: " + std::string(time) + "\r\n"};
    };
    const Resource plain{.bytes = bytes, .etag = ""}, whole{.bytes = bytes, .ranges = false, .etag = ""};
    const std::pair<Resource, Resource> rows[] = {
        {{.bytes = bytes}, {.bytes = std::string(1'000'000, 'n'), .etag = "\"second\""}},
        {{.bytes = bytes, .ranges = false}, {.bytes = bytes, .ranges = false, .etag = "\"second\""}},
        {dated("Mon, 01 Jan 2024 00:00:00 GMT"), dated("Tue, 02 Jan 2024 00:00:00 GMT")},
        {{.bytes = bytes}, Part(bytes.substr(300'001), "300001-999999/1000000")},
        {{.bytes = bytes}, Part(bytes.substr(300'000), "300000-999999/1000001")},
        // Without tag or date, a change shows in the length, the range's end, or missing ranges.
        {plain, {.bytes = "short", .etag = ""}},
        {whole, {.bytes = bytes + "long", .ranges = false, .etag = ""}},
        {plain, Part(std::string(700'001, 'x'), "300000-1000000/*", "")},
        {plain, whole}};
    for (const auto& [before, after] : rows) {
        SCOPED_TRACE(after.headers + after.etag + after.bytes.substr(0, 5));
        ASSERT_EQ(S_OK, OpenThen(before, {after}));
        EXPECT_EQ(std::pair(STG_E_REVERTED, bytes.substr(0, 300'000)), Read(bytes.size()));
        g_now += 3'600'000;
        server.Serve("/a", before);
        EXPECT_EQ(STG_E_REVERTED, Read(10).first);
    }
}

TEST_F(HttpStreamTest, ASourceThatFailedFiveTriesFailsForTenSeconds) {
    const CPublishedLogger logger;
    Faults faults(7, {Fault::Unavailable});
    faults[0] = {Fault::Close, 700'000};
    OnNewThread([&] {
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn(faults)}));
        ComPtr<IStream> copy;
        ASSERT_EQ(S_OK, TKFCreateMemoryStream(nullptr, 0, &copy));
        ULARGE_INTEGER count{};
        EXPECT_EQ(dataservices::http::ResultOfHttpStatus(503),
                  stream->CopyTo(copy.Get(), {.QuadPart = ~0ull}, &count, nullptr));
        EXPECT_EQ(700'000u, count.QuadPart);
        EXPECT_EQ(6u, server.Requests().size());
        ComPtr<IStream> clone;
        ASSERT_EQ(S_OK, stream->Clone(&clone));
        for (const ULONGLONG ms : {0ull, 1ull, 9'998ull}) {
            g_now += ms;
            EXPECT_EQ(std::pair(dataservices::http::ResultOfHttpStatus(503), std::string()), Read(10)) << "at once";
            char byte = 0;
            EXPECT_EQ(dataservices::http::ResultOfHttpStatus(503), clone->Read(&byte, 1, nullptr));
            EXPECT_TRUE(IsRightAt(690'000, 10'000)) << "what is kept is there";
        }
        EXPECT_EQ(6u, server.Requests().size()) << "nobody was asked";
        g_now += 1;
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

TEST_F(HttpStreamTest, AnAnswerThatBecomesAlmostNothingIsAskedForAgain) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn(Faults(2, {Fault::Drip, 300'000}))}));
    EXPECT_TRUE(IsRightAt(0, 310'000));
    const auto requests = server.Requests();
    ASSERT_EQ(2u, requests.size());
    // From now on it is read in small pieces, and nothing waits for a whole one.
    const size_t drips = std::stoul(requests[1].Header("range").substr(6)) + 300'000;
    EXPECT_TRUE(IsRightAt(310'000, drips + 3 - 310'000));
    EXPECT_EQ(2u, server.Requests().size());
    // A server that doesn't answer a second request is waited for.
    auto script = [this, answers = 0](const Request&) mutable {
        if (answers++ == 0)
            return CHttpServer::Misbehaviour{Fault::Drip, 300'000};
        server.Serve("/a", {.status = 403});
        server.ReleaseStalls();
        return CHttpServer::Misbehaviour{};
    };
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = script}));
    EXPECT_TRUE(IsRightAt(0));
}

TEST_F(HttpStreamTest, AServerThatStaysSilentOrNeverComesToThePointIsGivenUpInTime) {
    std::vector<std::future<void>> opens;
    for (const Fault fault : {Fault::Stall, Fault::EndlessHeaders})
        opens.push_back(std::async(std::launch::async, [this, fault] {
            const CTestApartment own(COINIT_MULTITHREADED);
            const std::wstring path = L"/" + std::to_wstring(static_cast<int>(fault));
            server.Serve({path.begin(), path.end()}, {.script = InTurn(Faults(99, {fault, -1}))});
            ComPtr<IStream> none;
            EXPECT_EQ(dataservices::http::kHttpTimeout,
                      dataservices::http::CreateHttpStream(*CTKFUri::Parse(server.Url(path).c_str()), &none))
                << path;
        }));
    opens.push_back(std::async(std::launch::async, [this] {
        const CTestApartment own(COINIT_MULTITHREADED);
        server.Serve("/live", {.bytes = bytes, .live = true, .script = InTurn({{Fault::Stall, 300'000}})});
        ComPtr<IStream> live;
        ASSERT_EQ(S_OK,
                  dataservices::http::CreateHttpStream(*CTKFUri::Parse(server.Url(L"/live").c_str()), &live, &Now));
        std::string got(bytes.size(), '?');
        ULONG count = 0;
        EXPECT_EQ(dataservices::http::kHttpTimeout, live->Read(got.data(), static_cast<ULONG>(got.size()), &count));
        EXPECT_TRUE(bytes.starts_with(got.substr(0, count)));
        g_now += 3'600'000;
        EXPECT_EQ(dataservices::http::kHttpTimeout, live->Read(got.data(), 1, &count))
            << "a live source is not taken up again";
    }));
    // A server that falls silent later is asked again.
    server.Serve("/a", {.bytes = bytes, .script = InTurn({{Fault::Close, 500}, {Fault::Stall, 0}})});
    ASSERT_EQ(S_OK, Open(server.Url(L"/a")));
    EXPECT_TRUE(IsRightAt(0)) << "one stall is got over";
    EXPECT_EQ(3u, server.Requests().size() - opens.size());
}

}  // namespace
