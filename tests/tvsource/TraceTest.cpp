// Traces: what the platform's parsers asked for, and replays of that.
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"
#include "tvsource/trace/CTraceRecorder.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <limits>
#include <optional>
#include <sstream>
#include <thread>
#include <tuple>

namespace {

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
    const size_t at = text.find(what);
    EXPECT_NE(text.npos, at) << what;
    return at == text.npos ? text : text.replace(at, what.size(), by);
}

// Of "0123456789" by two threads. Two requests come in the other order than they do in a replay; a flush gives back
// what nobody waited for, and while it lasts nothing can be asked for.
constexpr char kTrace[] =
    R"({"tvsourceTrace":1,"source":"digits","length":10}
{"call":1,"after":0,"thread":1,"atUs":0,"name":"RequestAllocator","buffers":2,"size":4,"align":1,"prefix":0,"preferred":true,"result":"0x00000000","tookUs":1}
{"call":2,"after":1,"thread":1,"atUs":1,"name":"Request","position":0,"length":4,"result":"0x00000000","tookUs":1}
{"call":3,"after":2,"thread":1,"atUs":2,"name":"Request","position":4,"length":4,"result":"0x00000000","tookUs":1}
{"call":4,"after":3,"thread":2,"atUs":3,"name":"WaitForNext","timeoutMs":4294967295,"position":4,"length":4,"result":"0x00000000","bytes":4,"hash":"db2e7f1bd5ab9968","tookUs":9}
{"call":5,"after":4,"thread":2,"atUs":4,"name":"WaitForNext","timeoutMs":4294967295,"position":0,"length":4,"result":"0x00000000","bytes":4,"hash":"1be2e452b46d7a0d","tookUs":1}
{"call":6,"after":5,"thread":1,"atUs":5,"name":"Request","position":8,"length":4,"result":"0x00000000","tookUs":1}
{"call":7,"after":6,"thread":1,"atUs":6,"name":"BeginFlush","result":"0x00000000","tookUs":1}
{"call":8,"after":7,"thread":2,"atUs":7,"name":"WaitForNext","timeoutMs":0,"position":8,"length":4,"result":"0x00000000","bytes":2,"hash":"cd70bea023f752a0","tookUs":1}
{"call":9,"after":8,"thread":2,"atUs":8,"name":"WaitForNext","timeoutMs":4294967295,"result":"0x80040227","bytes":0,"tookUs":1}
{"call":10,"after":9,"thread":2,"atUs":9,"name":"Request","position":0,"length":4,"result":"0x80040227","tookUs":1}
{"call":11,"after":10,"thread":1,"atUs":10,"name":"EndFlush","result":"0x00000000","tookUs":1}
{"call":12,"after":11,"thread":2,"atUs":11,"name":"SyncReadAligned","position":8,"length":4,"result":"0x00000001","bytes":2,"hash":"cd70bea023f752a0","tookUs":1}
{"call":13,"after":11,"thread":1,"atUs":12,"name":"SyncRead","position":8,"length":4,"result":"0x00000001","bytes":2,"hash":"cd70bea023f752a0","tookUs":1}
{"call":14,"after":13,"thread":1,"atUs":13,"name":"Length","result":"0x00000000","total":10,"available":10,"tookUs":1}
{"ended":"complete","calls":14}
)";

struct Trace : ::testing::Test {
    HostRun Replay(const std::string& trace, const std::wstring& source, std::vector<std::wstring> options = {},
                   const wchar_t* dll = L"TvFileSourceAsync.dll") {
        options.insert(options.end(), {folder.Write(trace, L"trace" + std::to_wstring(++traces)), source});
        return RunWithFilter(L"replay", options, dll);
    }
    static std::wstring ParsersTrace(const std::wstring& name) {
        return std::filesystem::path(TV_TEST_MEDIA).parent_path() / "tvsource" / "traces" / (name + L".jsonl");
    }

    int traces = 0;
    CTempFolder folder;
    const std::wstring digits = folder.Write("0123456789", L"digits");
};

TEST_F(Trace, OfEachMediaFileIsWhatTheFileStillGives) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TV_TEST_MEDIA)) {
        const std::wstring name = entry.path().filename().wstring();
        ExpectRun(RunWithFilter(L"replay", {ParsersTrace(name), MediaFile(name)}), 0, {"\nDiffers  in nothing\n"});
        ++files;
    }
    EXPECT_LE(8, files);
}

TEST_F(Trace, DiffersExactlyInTheReadsOfAByteThatChanged) {
    constexpr long long kChanged = 9'000;
    std::string clip = BytesOf(MediaFile(L"clip.avi")), expected;
    clip[kChanged] ^= 1;
    std::istringstream trace(BytesOf(ParsersTrace(L"clip.avi")));
    int count = 0;
    for (std::string line; std::getline(trace, line);) {
        long long position = 0, length = 0;
        const size_t at = std::min(line.find("\"position\""), line.size());
        if (std::sscanf(line.c_str() + at, "\"position\":%lld,\"length\":%lld", &position, &length) == 2 &&
            position <= kChanged && kChanged < position + length) {
            expected += (count++ > 0 ? "}},{\"" : "[{\"") + line.substr(2, line.find(',') - 2) + " ";
        }
    }
    EXPECT_LT(1, count);
    const std::wstring changed = folder.Write(clip, L"changed.avi");
    const HostRun run = RunWithFilter(L"replay", {L"--json", L"--all", ParsersTrace(L"clip.avi"), changed});
    EXPECT_EQ(1u, run.exitCode);
    EXPECT_NE(run.out.npos, run.out.find("\"differences\":{\"count\":" + std::to_string(count) + ",")) << run.out;
    std::string numbers;
    for (size_t at = run.out.find("{\"call\":"); at != run.out.npos; at = run.out.find("{\"call\":", at + 1))
        numbers += (numbers.empty() ? "[{\"" : "}},{\"") + run.out.substr(at + 2, run.out.find(',', at) - at - 2) + " ";
    EXPECT_EQ(expected, numbers);
}

TEST_F(Trace, OfRequestsAndFlushesOnTwoThreadsIsRepeatedInItsOrder) {
    ExpectRun(Replay(kTrace, digits), 0,
              {"Trace    of digits, ended: complete\n", "Calls    14, on 2 threads", "\nDiffers  in nothing\n"});
    ExpectRun(Replay(Replaced(kTrace, "complete", "failed"), digits), 0, {"Trace    of digits, ended: failed\n"});
    ExpectRun(Replay(kTrace, digits, {L"--as-recorded"}), 0, {"\nDiffers  in nothing\n"});
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"1be2e452b46d7a0d", "1be2e452b46d7a0e", "call 4, thread 2, WaitForNext of 4 bytes at 0: content differs"},
        {R"("result":"0x80040227","tookUs")", R"("result":"0x00000000","tookUs")",
         "call 10, thread 2, Request of 4 bytes at 0: result"},
        {R"("bytes":2,"hash":"cd70bea023f752a0","tookUs":1}
{"call":13)",
         R"("bytes":0,"tookUs":1}
{"call":13)",
         "call 12, thread 2, SyncReadAligned of 4 bytes at 8: bytes differs"},
        {R"("total":10)", R"("total":11)", "call 14, thread 1, Length: length differs"},
        {R"("position":8,"length":4,"result":"0x00000000","bytes")",
         R"("position":7,"length":4,"result":"0x00000000","bytes")",
         "call 8, thread 2, WaitForNext of 4 bytes at 7: position differs"}};
    for (const auto& [what, by, difference] : rows) {
        const HostRun run = Replay(Replaced(kTrace, what, by), digits);
        EXPECT_EQ(1u, run.exitCode) << run.err;
        EXPECT_NE(run.out.npos, run.out.find(std::string("\nDiffers  in 1 call\n  ") + difference)) << run.out;
    }
}

// The first wait, of a slower source, got nothing. Without that sample, the last would take a minute.
TEST_F(Trace, IsTheSameWhenSamplesComeSooner) {
    constexpr char kSlower[] = R"({"tvsourceTrace":1,"source":"digits","length":10}
{"call":1,"after":0,"thread":1,"atUs":0,"name":"Request","position":0,"length":4,"result":"0x00000000","tookUs":1}
{"call":2,"after":1,"thread":1,"atUs":1,"name":"WaitForNext","timeoutMs":60000,"result":"0x8004022E","bytes":0,"tookUs":60000000}
{"call":3,"after":2,"thread":2,"atUs":2,"name":"WaitForNext","timeoutMs":4294967295,"position":0,"length":4,"result":"0x00000000","bytes":4,"hash":"1be2e452b46d7a0d","tookUs":9}
{"ended":"complete","calls":3}
)";
    ExpectRun(Replay(kSlower, digits, {L"--limit", L"3600"}), 0, {"\nDiffers  in nothing\n"});
    const HostRun run = Replay(Replaced(kSlower, "1be2", "1be3"), digits);
    EXPECT_NE(run.out.npos, run.out.find("\n  call 3, thread 2, WaitForNext of 4 bytes at 0: content")) << run.out;
}

// A replay asks for it again, except for what is too much.
TEST_F(Trace, HasWhateverAParserMayAskFor) {
    using tvsource::CallKind;
    const std::wstring path = folder.Write("", L"odd");
    const LONG least = std::numeric_limits<LONG>::min();
    constexpr HRESULT kAny = E_FAIL;
    const std::vector<tvsource::TraceCall> calls{
        {.kind = CallKind::RequestAllocator,
         .result = kAny,
         .buffers = -1,
         .size = LONG_MAX,
         .align = 0,
         .prefix = least},
        {.kind = CallKind::Request, .result = kAny, .position = -1, .length = -4},
        {.kind = CallKind::Request, .result = kAny, .position = 922'337'203'685, .length = 1},
        {.kind = CallKind::SyncReadAligned, .result = kAny, .position = 5, .length = 0x4000001},
        {.kind = CallKind::SyncRead, .result = kAny, .position = LLONG_MAX, .length = 1},
        {.kind = CallKind::SyncRead, .result = kAny, .position = LLONG_MIN, .length = LONG_MAX},
        {.kind = CallKind::SyncRead, .result = kAny, .position = -1, .length = least},
        {.kind = CallKind::SyncRead, .result = kAny, .position = 0, .length = -1},
        {.kind = CallKind::WaitForNext, .result = S_OK, .position = -9, .length = -9},
        {.kind = CallKind::Length, .result = S_OK, .total = LLONG_MIN, .available = -1}};
    {
        tvsource::CTraceRecorder recorder(path, {{"source", "x"}, {"length", -1}}, 100, nullptr);
        for (const tvsource::TraceCall& call : calls)
            recorder.End(recorder.Begin(), call, nullptr);
        recorder.Finish({{"ended", "complete"}});
    }
    const tvsource::Trace trace = tvsource::ReadTrace(path);
    ASSERT_EQ(calls.size(), trace.calls.size());
    for (size_t i = 0; i < calls.size(); ++i) {
        const tvsource::TraceCall &is = trace.calls[i], &was = calls[i];
        EXPECT_EQ(std::tie(was.kind, was.result, was.position, was.length, was.total, was.available, was.buffers,
                           was.size, was.align, was.prefix, was.preferred),
                  std::tie(is.kind, is.result, is.position, is.length, is.total, is.available, is.buffers, is.size,
                           is.align, is.prefix, is.preferred))
            << i;
    }
    ExpectRun(RunWithFilter(L"replay", {path, digits, L"--limit", L"1"}), 1, {});
    EXPECT_NE(std::string::npos,
              RunWithFilter(L"replay", {path, digits, L"--limit", L"1"}).out.find("Skipped  5 calls"));
}

TEST_F(Trace, OfMoreThreadsThanAReplayHasEndsBefore) {
    const std::wstring path = folder.Write("", L"threads");
    const base::CAutoHandle stopped(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::optional<tvsource::CTraceRecorder> recording(std::in_place, path, console::Json{{"source", "x"}}, 100u,
                                                      stopped.Get());
    tvsource::CTraceRecorder& recorder = *recording;
    for (unsigned i = 0; i <= tvsource::kMostThreads; ++i) {
        EXPECT_FALSE(recorder.HasStopped());
        std::thread([&] { recorder.End(recorder.Begin(), {.kind = tvsource::CallKind::Length}, nullptr); }).join();
    }
    recorder.Close();
    EXPECT_EQ(L"calls of 64 threads", recorder.FullText());
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(stopped.Get(), 0));
    recorder.Finish({{"ended", "full"}});
    recording.reset();
    EXPECT_EQ(tvsource::kMostThreads, tvsource::ReadTrace(path).calls.size());
}

TEST_F(Trace, ThatMakesNoSenseIsAnErrorWithItsLine) {
    const std::string huge(100'000, '[');
    const std::tuple<std::string, std::string, const char*> rows[] = {
        {kTrace, "", "line 1: it is empty"},
        {"\"tvsourceTrace\":1", "\"tvsourceTrace\":2", "line 1: only version 1 is known"},
        {"\"tvsourceTrace\":1", "\"tvsourceTrace\":" + huge.substr(0, 30'000) + std::string(30'000, ']'),
         "line 1: \"tvs"},
        {"{\"call\":2", "\"call\":2", "line 3: it is no JSON object"},
        {"{\"call\":2", huge, "line 3: the line is too long"},
        {"{\"call\":2", huge.substr(0, 60'000), "line 3: it is no JSON object"},
        {"\"call\":3", "\"call\":4", "line 4: call 3 should be here"},
        {"\"after\":2", "\"after\":3", "line 4: \"after\" is not a number from 0 to 2"},
        {"\"thread\":2", "\"thread\":65", "line 5: \"thread\" is not a number from 1 to 64"},
        {"Request\"", "Rekwest\"", "line 3: 'Rekwest' is no call"},
        {"\"length\":4", "\"length\":18446744073709551615", "line 3: \"length\""},
        {"\"length\":4", "\"length\":1e3", "line 3: \"length\""},
        {"\"size\":4", "\"size\":2147483648", "line 2: \"size\" is not a number from -2147483648 to 2147483647"},
        {"\"preferred\":true", "\"preferred\":1", "line 2: \"preferred\" is not true or false"},
        {"\"atUs\":1", "\"atUs\":86400000001", "line 3: \"atUs\""},
        {"0x00000000", "0x0000000", "line 2: \"result\" is not 8 hexadecimal digits"},
        {"db2e7f1bd5ab9968", "db2e7f1bd5ab996 ", "line 5: \"hash\" is not 16 hexadecimal digits"},
        {"\"calls\":14", "\"calls\":15", "line 16: calls are missing"},
        {"{\"ended\":\"complete\",\"calls\":14}\n", "", "line 16: the end is missing"},
        {"\"calls\":14}\n", "\"calls\":14}\n{}\n", "line 17: there is something behind the end"}};
    for (const auto& [what, by, words] : rows)
        ExpectRun(Replay(Replaced(kTrace, what, by), digits), 1, {words});
    ExpectRun(RunWithFilter(L"replay", {folder.PathOf(L"none"), digits}), 1, {"Cannot open the trace"});
    ExpectRun(Replay(kTrace, digits, {L"--limit", L"0"}), 2, {"--limit"});
}

TEST_F(Trace, OfAReadThatDoesNotEndIsGivenUp) {
    std::string trace = "{\"tvsourceTrace\":1,\"source\":\"long\"}\n";
    constexpr int kCalls = 12;
    for (int i = 0; i < kCalls; ++i)
        trace += "{\"call\":" + std::to_string(i + 1) + ",\"after\":" + std::to_string(i) +
                 ",\"thread\":1,\"atUs\":0,\"name\":\"SyncRead\",\"position\":" + std::to_string(i * 131'072) +
                 ",\"length\":10,\"result\":\"0x00000001\",\"bytes\":null,\"tookUs\":1}\n";
    trace += "{\"ended\":\"error\",\"calls\":" + std::to_string(kCalls) + "}\n";
    const std::wstring stuck = folder.Write(LongSound(), L"long.stuck");
    ExpectRun(Replay(trace, stuck, {L"--limit", L"1"}, kAwkward), 1, {"a read of the source does not end"});
}

// Records with the platform's parsers, which Wine 8 does not have for 32-bit programs in its own WoW64 mode.
TEST_F(Trace, OfASourceThatBreaksIsRepeatedByIt) {
    const std::wstring broken = folder.Write(LongSound(), L"long.broken"), trace = folder.Write("", L"made");
    const HostRun run = RunWithFilter(L"trace", {L"--type", L"MPEG1Audio", L"-o", trace, broken}, kAwkward);
    if (run.err.find("No parser takes the source") != run.err.npos)
        GTEST_SKIP() << "the platform has no parsers for programs of this bitness";
    ExpectRun(run, 1, {"stopped by an error: 0x8003001E"});
    EXPECT_NE(run.out.npos, run.out.find("\nEnded    error\n")) << run.out;
    ExpectRun(RunWithFilter(L"replay", {L"--type", L"MPEG1Audio", trace, broken}, kAwkward), 0,
              {"Differs  in nothing"});
    const HostRun whole = RunWithFilter(L"replay", {trace, folder.Write(LongSound(), L"long.mp3")});
    EXPECT_EQ(1u, whole.exitCode);
    EXPECT_NE(whole.out.npos, whole.out.find("result differs\n    expected 0x00000001")) << whole.out;
    const std::vector<std::wstring> few{L"--calls", L"5", MediaFile(L"tone.wav"), L"-o", trace};
    ExpectRun(RunWithFilter(L"trace", few), 1, {"the trace is full with 5 calls, and ends before the run"});
    ExpectRun(RunWithFilter(L"replay", {trace, MediaFile(L"tone.wav")}), 0,
              {"tone.wav, ended: full\nCalls    5, ", "Differs  in nothing"});
    const std::wstring bad = folder.PathOf(L"no\\such\\folder");
    ExpectRun(RunWithFilter(L"trace", {MediaFile(L"tone.wav"), L"-o", bad}), 1, {"Cannot write"});
}

// Wine's device to which nothing can be written stands for a full disk.
TEST_F(Trace, ThatCannotBeWrittenEndsTheRun) {
    constexpr wchar_t kFull[] = L"Z:\\dev\\full";
    if (!HasParsers() || !OpenInherited(kFull, GENERIC_WRITE))
        GTEST_SKIP() << "there is no full disk, or no parser";
    std::string sound;
    for (int i = 0; i < 5; ++i)
        sound += LongSound();
    const HostRun run = RunWithFilter(L"trace", {folder.Write(sound, L"long.mp3"), L"-o", kFull});
    ExpectRun(run, 1, {"Cannot write Z:\\dev\\full: 0x80070070"});
    EXPECT_NE(run.out.npos, run.out.find("\nEnded    failed\n")) << run.out;
}

}  // namespace
