// How http sources are read beyond the contract of every source: resuming, waiting, several threads, failing.
#include "dataservices/com/Results.h"
#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpResults.h"
#include "tests/dataservices/HttpTest.h"
#include "tests/support/Await.h"
#include "tests/support/CSecondCall.h"
#include "tests/support/ErrorInfo.h"
#include "tests/support/Wine.h"

#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>

using namespace dataservices;

namespace {

// Whether a call ends although something waits; `then` has it end in any case.
bool EndsMeanwhile(const std::function<void()>& call, const std::function<void()>& then) {
    const CSecondCall second(call);
    const bool ends = second.Ends();
    then();
    return ends;
}

TEST_F(HttpStreamTest, OneRequestServesAllReadsAndSeeks) {
    EXPECT_EQ(1u, RequestsOf([&] {
                  ASSERT_EQ(S_OK, OpenServed({.bytes = bytes}));
                  for (size_t at = 0; at < bytes.size(); at += 10'000)
                      ASSERT_TRUE(Read(10'000).second == bytes.substr(at, 10'000)) << at;
                  for (const size_t at : {20u, 999'999u, 500'000u, 0u})
                      EXPECT_TRUE(IsRightAt(at)) << at;
              }));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->Write("x", 1, nullptr));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->SetSize({}));
}

TEST_F(HttpStreamTest, WhatIsFarFromTheOpenAnswerIsAskedForByARange) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn({{Fault::Stall, 60'000}})}));
    EXPECT_EQ(0u, RequestsOf([&] { Seek(700'000); })) << "a seek alone asks for nothing";
    EXPECT_EQ(1u, RequestsOf([&] { EXPECT_TRUE(IsRightAt(700'000, 1'000) && IsRightAt(850'000, 100'000)); }));
    EXPECT_EQ("bytes=700000-962143 \"first\"",
              server.Requests().back().Header("range") + " " + server.Requests().back().Header("if-range"));
    ASSERT_TRUE(server.WaitForStall());
    EXPECT_EQ(0u, RequestsOf([&] {  // a short way ahead is waited for
                  EXPECT_FALSE(
                      EndsMeanwhile([&] { EXPECT_TRUE(IsRightAt(70'000, 1'000)); }, [&] { server.ReleaseStalls(); }));
              }));
}

TEST_F(HttpStreamTest, ALiveSourceIsReadWhereItHasComeTo) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .live = true, .script = InTurn({{Fault::Stall, 300'000}})}));
    ComPtr<ITKDSSourceControl> control;
    ASSERT_EQ(S_OK, stream.As(&control));
    const auto await = [&](ULONGLONG position, ULONGLONG count, DWORD ms) {
        ULONGLONG available = 7;
        return std::pair(control->Await(position, count, ms, &available), available);
    };
    // Some systems give a chunk when the next one begins.
    EXPECT_EQ(std::pair(S_OK, 250'000ull), await(0, 250'000, kLongMs));
    EXPECT_EQ(std::pair(E_PENDING, 0ull), await(310'000, 200, 0));
    EXPECT_EQ(std::pair(S_FALSE, 0ull), await(900'000, 1, kLongMs)) << "too far ahead";
    EXPECT_EQ(kCannotSeek, Seek(0, STREAM_SEEK_END));
    EXPECT_TRUE(IsRightAt(0, 1'000) && IsRightAt(249'000, 1'000) && IsRightAt(10, 10));
    ComPtr<IStream> clone;
    EXPECT_EQ(kCannotSeek, stream->Clone(&clone));
    server.ReleaseStalls();
    EXPECT_TRUE(IsRightAt(0));
    EXPECT_EQ(std::pair(S_FALSE, std::string()), Read(1)) << "its end is known from now on";
    EXPECT_EQ(S_OK, Seek(0, STREAM_SEEK_END));
    // One that ends soon has a length, and clones.
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .live = true}));
    EXPECT_EQ(S_OK, Seek(-10, STREAM_SEEK_END));
    EXPECT_EQ(bytes.substr(bytes.size() - 10), Read(11).second);
    EXPECT_EQ(S_OK, stream->Clone(&clone));
    EXPECT_EQ(2u, server.Requests().size());
}

// A stream can be called through a proxy, where a host has marshalled it for another process, say.
TEST_F(HttpStreamTest, ALiveSourceSaysThatItCannotSeek) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .live = true, .script = InTurn({{Fault::Stall, 300'000}})}));
    const ErrorInfoSeen cannotSeek = ErrorInfoOf(L"TK: Cannot seek in stream!", __uuidof(IStream));
    const auto refuses = [](IStream& live) {
        ComPtr<IStream> clone;
        EXPECT_TRUE(live.Seek({}, STREAM_SEEK_END, nullptr) == kCannotSeek && live.Clone(&clone) == kCannotSeek);
        EXPECT_EQ(S_OK, ReportsErrorsOf(live, __uuidof(IStream)));
        EXPECT_EQ(S_FALSE, ReportsErrorsOf(live, __uuidof(ITKDSSourceControl)));
    };
    refuses(*stream.Get());
    EXPECT_EQ(cannotSeek, TakeErrorInfo());
    ComPtr<IStream> packet;
    ASSERT_EQ(S_OK, ::CreateStreamOnHGlobal(nullptr, TRUE, &packet));
    ASSERT_EQ(S_OK, ::CoMarshalInterface(packet.Get(), __uuidof(IStream), stream.Get(), MSHCTX_LOCAL, nullptr,
                                         MSHLFLAGS_NORMAL));
    ASSERT_EQ(S_OK, packet->Seek({}, STREAM_SEEK_SET, nullptr));
    std::async(std::launch::async, [&] {
        const CTestApartment single(COINIT_APARTMENTTHREADED);
        ComPtr<IStream> proxy;
        ASSERT_EQ(S_OK, ::CoUnmarshalInterface(packet.Get(), IID_PPV_ARGS(&proxy)));
        EXPECT_NE(stream.Get(), proxy.Get());
        refuses(*proxy.Get());
        EXPECT_EQ(IsWine() ? kNoErrorInfo : cannotSeek, TakeErrorInfo()) << "Wine's proxies leave it behind";
    }).get();
    EXPECT_EQ(kNoErrorInfo, TakeErrorInfo());
    server.ReleaseStalls();
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

// A read waits for a server that is silent; what else may end meanwhile, and what ends the read.
TEST_F(HttpStreamTest, AReadThatWaitsIsGivenUpAndHoldsUpOnlyReadsAndSeeks) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn({{Fault::Stall, 50'000}})}));
    ComPtr<ITKDSSourceControl> control;
    ASSERT_EQ(S_OK, stream.As(&control));
    ComPtr<IUnknown> one, other;
    EXPECT_TRUE(stream.As(&one) == S_OK && control.As(&other) == S_OK && one == other) << "one object";
    ULONGLONG here = 0;
    ASSERT_EQ(S_OK, control->Await(0, 50'000, kLongMs, &here));
    TKDS_SOURCE_STATUS status{};
    const auto waits = [&] { return control->GetStatus(&status) == S_OK && status.wanted > 0; };
    for (const bool isAwait : {false, true}) {
        std::jthread reader([&] {
            ULONGLONG available = 0;
            if (isAwait)
                EXPECT_EQ(E_ABORT, control->Await(49'000, 200'000, INFINITE, &available));
            else
                EXPECT_EQ(std::pair(E_ABORT, bytes.substr(49'000, 1'000)), (Seek(49'000), Read(200'000)));
            EXPECT_EQ(isAwait ? 1'000u : 0u, available);
        });
        Await(waits);
        EXPECT_EQ(0u, StateBits());
        EXPECT_EQ(isAwait, EndsMeanwhile([&] { EXPECT_EQ(S_OK, Seek(10)); }, [&] { control->AbortReads(); }));
        reader.join();
        EXPECT_TRUE(IsRightAt(0, 50'000)) << "what is here is read";
        EXPECT_EQ(std::pair(E_ABORT, std::string()), Read(1));
        EXPECT_EQ(S_OK, control->AllowReads());
    }
    std::jthread reader([&] { EXPECT_EQ(E_ABORT, (Seek(51'000), Read(1).first)); });
    Await(waits);
    control->AbortReads();
    control->AllowReads();
    reader.join();  // who waited ends all the same
    server.ReleaseStalls();
    EXPECT_TRUE(IsRightAt(0));
    TKDS_RANGE ranges[2]{};
    DWORD count = 0;
    EXPECT_TRUE(control->GetRanges(2, ranges, &count) == S_OK && count == 1);
    EXPECT_TRUE(ranges[0].begin == 0 && ranges[0].end == bytes.size());
    EXPECT_TRUE(control->GetStatus(&status) == S_OK && status.held == bytes.size() && status.rangeCount == 1 &&
                status.received == bytes.size() && status.requests == 1 && status.length == bytes.size());
    EXPECT_EQ(E_POINTER, control->GetStatus(nullptr));
    EXPECT_EQ(E_POINTER, control->GetRanges(1, nullptr, &count));
    EXPECT_EQ(E_POINTER, control->Await(0, 1, 0, nullptr));
    EXPECT_EQ(E_INVALIDARG, control->SetSilenceLimit(99));
    EXPECT_EQ(E_INVALIDARG, control->SetSilenceLimit(60'001));
}

TEST_F(HttpStreamTest, TheSilenceThatASourceIsAllowedCanBeSet) {
    for (const bool isLive : {true, false}) {
        ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .live = isLive, .script = InTurn({{Fault::Stall, 100'000}})}));
        ASSERT_TRUE(server.WaitForStall());
        ComPtr<ITKDSSourceControl> control;
        ASSERT_EQ(S_OK, stream.As(&control));
        EXPECT_EQ(S_OK, control->SetSilenceLimit(100));
        const auto [hr, got] = Read(bytes.size());
        EXPECT_EQ(isLive ? dataservices::http::kHttpTimeout : S_OK, hr) << "one of known length is asked again";
        EXPECT_TRUE(bytes.starts_with(got));
        TKDS_SOURCE_STATUS status{};
        EXPECT_TRUE(control->GetStatus(&status) == S_OK && status.silenceLimit == 100 &&
                    status.longestWait < dataservices::http::kNextByteMs);
    }
}

// What the platform's parsers read of each file while it is played, one read in a line of `reads`: position, length.
TEST_F(HttpStreamTest, TheReadsOfParsersAreServedFromASlowServerByOneRequest) {
    const std::filesystem::path media(TV_TEST_MEDIA), reads = media.parent_path() / "dataservices/reads";
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(media)) {
        const std::string name = entry.path().filename().string();
        SCOPED_TRACE(name);
        std::ifstream file(entry.path(), std::ios::binary), trace(reads / (name + ".txt"));
        const std::string content((std::istreambuf_iterator<char>(file)), {});
        EXPECT_EQ(1u, RequestsOf([&] {
                      const auto slowly = InTurn({{Fault::Trickle, 2'000}});
                      ASSERT_EQ(S_OK, OpenServed({.bytes = content, .script = slowly}));
                      ComPtr<IStream> buffered;
                      ASSERT_EQ(S_OK, TKFCreateBufferedStream(stream.Get(), &buffered));
                      stream = buffered;
                      size_t position = 0, length = 0, count = 0;
                      while (trace >> position >> length) {
                          ++count;
                          ASSERT_EQ(S_OK, Seek(static_cast<LONGLONG>(position)));
                          ASSERT_TRUE(Read(length).second == content.substr(std::min(position, content.size()), length))
                              << position << " " << length;
                      }
                      EXPECT_LT(10u, count);
                  }));
        ++files;
    }
    EXPECT_LE(8, files);
}

TEST_F(HttpStreamTest, ACloneReadsTheSameVersionWhereItsSourceWasFound) {
    server.Serve("/b", {.bytes = bytes, .script = InTurn({{Fault::Stall, 100'000}})});
    ASSERT_EQ(S_OK, OpenServed({.status = 302, .headers = "Location: /b\r\n"}));
    EXPECT_EQ(S_OK, Seek(600'000));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    const ComPtr<IStream> first = std::exchange(stream, clone);
    EXPECT_EQ(1u, RequestsOf([&] { EXPECT_EQ(bytes.substr(600'000, 10), Read(10).second); }));
    const Request asked = server.Requests().back();
    EXPECT_EQ("/b bytes=600000-862143 \"first\"",
              asked.target + " " + asked.Header("range") + " " + asked.Header("if-range"));
    stream = first;
    EXPECT_EQ(0u, RequestsOf([&] { EXPECT_TRUE(IsRightAt(600'010, 100'000)); })) << "they share what has come";
    ComPtr<ITKDSSourceControl> control;
    ASSERT_EQ(S_OK, clone.As(&control));
    control->AbortReads();
    server.ReleaseStalls();
    EXPECT_TRUE(IsRightAt(0)) << "another's reads go on";
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
            EXPECT_TRUE(IsRightAt(0, 700'000)) << "what is here is read";
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

TEST_F(HttpStreamTest, ASlowAnswerIsReadAsItComes) {
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn({{Fault::Drip, 50'000}})}));
    EXPECT_TRUE(IsRightAt(0, 50'003));
    EXPECT_EQ(1u, server.Requests().size());
    // A fast one is read in blocks. One that becomes slow is asked for again, and then read in small pieces.
    ASSERT_EQ(S_OK, OpenServed({.bytes = bytes, .script = InTurn(Faults(2, {Fault::Drip, 300'000}))}));
    EXPECT_TRUE(IsRightAt(0, 310'000));
    const auto requests = server.Requests();
    ASSERT_EQ(3u, requests.size());
    const size_t drips = std::stoul(requests[2].Header("range").substr(6)) + 300'000;
    EXPECT_TRUE(IsRightAt(310'000, drips + 3 - 310'000));
    EXPECT_EQ(3u, server.Requests().size());
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
