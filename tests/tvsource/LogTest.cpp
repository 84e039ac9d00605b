// The log beside a command's output (--log).
#include "base/CAutoDestructor.h"
#include "tests/support/Await.h"
#include "tests/support/COwnConsole.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

namespace {

// A name that isn't taken for a file of the system's by tvsource itself, so that the filter is the one to fail.
constexpr wchar_t kUnknown[] = L"http://127.0.0.1:9/clip.avi";

struct Log : ::testing::Test {
    static std::vector<std::string> Lines(const HostRun& run) {
        std::vector<std::string> lines;
        std::istringstream text(run.err);
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    }

    static bool IsRecord(const std::string& line) {
        return std::regex_search(line,
                                 std::regex(R"(^\d\d:\d\d:\d\d\.\d{3}  (DEBUG|INFO |WARN |ERROR|FATAL)  (\d+|-)  )"));
    }

    static bool IsSomethingPublished() {
        Microsoft::WRL::ComPtr<IRunningObjectTable> table;
        Microsoft::WRL::ComPtr<IMoniker> name;
        Microsoft::WRL::ComPtr<IUnknown> service;
        EXPECT_EQ(S_OK, ::GetRunningObjectTable(0, &table));
        EXPECT_EQ(S_OK, ::CreateFileMoniker(kTKRuntimeLoggerMoniker, &name));
        return table->GetObject(name.Get(), &service) == S_OK;
    }

    CTestApartment apartment{COINIT_MULTITHREADED};
    CTempFolder folder;
    const std::wstring wave = MediaFile(L"tone.wav");
};

TEST_F(Log, TheReasonOfAFailedOpeningIsAmongTheLines) {
    const HostRun run = RunWithFilter(L"info", {L"--log", kUnknown});
    EXPECT_EQ(1u, run.exitCode);
    EXPECT_EQ("", run.out);
    const std::vector<std::string> lines = Lines(run);
    ASSERT_LT(2u, lines.size()) << run.err;
    EXPECT_TRUE(std::all_of(lines.begin(), lines.end() - 1, IsRecord)) << run.err;
    EXPECT_TRUE(lines.back().starts_with("tvsource: ")) << "the failure comes last: " << run.err;
    EXPECT_NE(run.err.npos, run.err.find("  CCustomFileSourceFilter::Load  Loading: http://127.0.0.1:9/clip.avi\n"));
    EXPECT_TRUE(std::regex_search(run.err, std::regex(R"(  ERROR: hr=0x80040154 \(".*"\), from call TKF\w+\()")))
        << run.err;
    EXPECT_FALSE(IsSomethingPublished());
}

TEST_F(Log, EveryCommandHasItAndItsOutputStaysWhatItIs) {
    const std::vector<std::vector<std::wstring>> commands = {
        {L"info", L"--no-parse", wave}, {L"cat", L"-o", folder.Write("", L"copy.wav"), wave}, {L"verify", wave}};
    for (std::vector<std::wstring> words : commands) {
        const std::wstring command = words[0];
        words.erase(words.begin());
        words.push_back(L"--json");
        const HostRun plain = RunWithFilter(command.c_str(), words);
        words.insert(words.begin(), L"--log");
        if (command != L"info")
            words.insert(words.begin(), L"--progress");
        const HostRun run = RunWithFilter(command.c_str(), words);
        EXPECT_EQ(0u, run.exitCode) << run.err;
        EXPECT_TRUE(nlohmann::json::parse(run.out, nullptr, false).is_object()) << run.out;
        EXPECT_EQ(std::ranges::count(plain.out, '\n'), std::ranges::count(run.out, '\n'));
        EXPECT_NE(run.err.npos, run.err.find("  Loading: ")) << run.err;
    }
    ExpectRun(RunHost({L"uri", L"--log", L"x"}), 0, {"Path        x\n"});
    // Those that batch runs have it in the report.
    const std::wstring units = folder.Write("", L"out.xml");
    ExpectRun(RunWithFilter(L"batch", {L"--log", L"--log-filter", L"text=Loading", L"--commands", L"info,verify",
                                       L"--junit", units, wave, MediaFile(L"tone.mp3")}),
              0, {"2 sources, 0 failed; 4 commands, 0 failed"});
    const std::string xml = BytesOf(units);
    for (const char* name : {"tone.wav&#10;", "tone.mp3&#10;"})
        EXPECT_TRUE(std::regex_search(xml, std::regex(std::string("Loading: [^\n]*") + name))) << xml;
}

TEST_F(Log, AFilterPicksAmongTheLines) {
    const auto run = [&](const wchar_t* filter) {
        return RunWithFilter(L"info", {L"--no-parse", L"--log-filter", filter, wave});
    };
    const HostRun loading = run(L"function=*::load severity=info text='loading: '");
    EXPECT_EQ(0u, loading.exitCode);
    ASSERT_EQ(1u, Lines(loading).size()) << loading.err;
    EXPECT_TRUE(loading.err.ends_with("tone.wav\n"));
    EXPECT_EQ("", run(L"severity=fatal").err);
    const HostRun figures = run(L"category=profile function=Load");
    EXPECT_NE(figures.err.npos, figures.err.find("  PROFILE  CCustomFileSourceFilter::Load  1 call, longest "))
        << figures.err;
    ExpectRun(run(L"severty=warn"), 2, {"'severty' is nothing to filter by"});
    ExpectRun(run(L"[x]=1"), 2, {"'[x]' is nothing to filter by"});
}

// The service of this process has no proxies until its interfaces are registered.
TEST_F(Log, AServiceThatIsPublishedAlreadyKeepsTheRecords) {
    const std::wstring logger = BuiltFile(L"TKRuntimeLogger.exe");
    static_cast<void>(RunHost({L"--unregister"}, logger));
    const CPublishedLogger service;
    const HostRun apart = RunWithFilter(L"info", {L"--no-parse", L"--log", wave});
    ExpectRun(apart, 0, {"Length   16044 bytes\n"});
    ASSERT_EQ(1u, Lines(apart).size()) << apart.err;
    EXPECT_TRUE(
        apart.err.starts_with("tvsource: --log: another program has published a logging service that can't be "));
    EXPECT_TRUE(IsSomethingPublished());

    if (RunHost({L"--register"}, logger).exitCode != 0)
        GTEST_SKIP() << "the interfaces can't be registered here";
    const HostRun run = RunWithFilter(L"info", {L"--no-parse", L"--log", wave});
    EXPECT_EQ(0u, RunHost({L"--unregister"}, logger).exitCode);
    EXPECT_EQ("tvsource: --log: a logging service is published already; the records go to that\n", run.err);
    EXPECT_TRUE(std::ranges::any_of(service->Messages(), [](auto& text) { return text.starts_with(L"Loading: "); }));
}

// What a process leaves behind that had no time to take its service back.
TEST_F(Log, AnInterruptEndsItAtOnceAndKeepsNobodyFromALogAfterwards) {
    if (!COwnConsole::HasSafeControlC())
        GTEST_SKIP() << kNoControlC;
    const COwnConsole console;
    // The source has such an event as long as the program is there.
    const auto isThere = [sign = std::filesystem::path(folder.Path()).filename()] {
        return static_cast<bool>(base::CAutoHandle(::OpenEventW(SYNCHRONIZE, FALSE, sign.c_str())));
    };
    const HostRun run =
        RunHost({L"info", L"--log", L"--dll", BuiltFile(kAwkward), folder.Write(LongSound(), L"a.endless")},
                BuiltFile(L"tvsource.exe"), [&] {
                    Await(isThere);
                    COwnConsole::PressControlC();
                });
    EXPECT_EQ(130u, run.exitCode);
    Await([] { return !IsSomethingPublished(); });
    EXPECT_LT(1u, Lines(RunWithFilter(L"info", {L"--no-parse", L"--log", wave})).size());
}

TEST_F(Log, IsOutBeforeTheProgramEndsAReadThatDoesNot) {
    const HostRun run = RunWithFilter(
        L"verify", {L"--log", L"--type", L"MPEG1Audio", folder.Write(LongSound(), L"a.unreadable")}, kAwkward);
    EXPECT_EQ(1u, run.exitCode);
    EXPECT_NE(run.err.npos, run.err.find("  Error while reading the source file: hr=")) << run.err;
}

// A reader of standard output alone waits for its end.
TEST_F(Log, NobodyWhoDoesNotReadItKeepsTheProgram) {
    const CPipe pipe;
    HANDLE const writer = pipe.writer.Get();
    std::vector<std::wstring> words = {L"info",       L"--no-parse", L"--log-filter",
                                       L"category=*", L"--dll",      BuiltFile(L"TvFileSourceAsync.dll")};
    words.insert(words.end(), 60, wave);
    const HostRun run = RunHost(words, BuiltFile(L"tvsource.exe"), {}, {.err = writer});
    EXPECT_EQ(0u, run.exitCode);
}

}  // namespace
