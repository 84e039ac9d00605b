// Many sources in one run, each command in a process of its own.
#include "base/CAutoDestructor.h"
#include "tests/support/Await.h"
#include "tests/support/COwnConsole.h"
#include "tests/support/CTempFolder.h"
#include "tests/support/CTestApartment.h"
#include "tests/tvsource/CHost.h"
#include "tests/tvsource/XmlCheck.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

namespace {

using Json = nlohmann::json;

std::vector<Json> ObjectsOf(const HostRun& run) {
    std::vector<Json> objects;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);)
        objects.push_back(Json::parse(line));
    return objects;
}

struct Batch : ::testing::Test {
    CTestApartment apartment{COINIT_MULTITHREADED};
    CTempFolder folder, reports;
    const std::wstring page = reports.Write("", L"out.html"), junit = reports.Write("", L"out.xml");
};

constexpr char kList[] =
    "\xEF\xBB\xBFgone <img src=x onerror=alert(1)> & \"it's\".wav\r\n\r\nhttp://x\x01y.invalid/\xE9\x9F\xB3<b>\n"
    "a\"b\\\nc d\\\\\"e\\\\\n-x.wav\n--json\nz:\\no*.such";

TEST_F(Batch, ReportsEverySourceInEveryFormWhateverItsName) {
    if (!MakeXmlDocument())
        GTEST_SKIP() << "the platform has no XML parser";
    folder.Copy(MediaFile(L"tone.wav"), L"a\\a & b's \u00FC\u97F3.wav");
    folder.Write("", L"b\\empty.wav");
    folder.Write("RIFF\x10\x00\x00\x00 AVI LIST", L"damaged.avi");
    const HostRun run =
        RunWithFilter(L"batch", {folder.Path(), L'@' + reports.Write(kList, L"list"), L"--commands", L"info,play",
                                 L"--report", page, L"--junit", junit, L"--json", L"--jobs", L"3"});
    EXPECT_EQ(1u, run.exitCode) << run.err;
    const std::vector<Json> objects = ObjectsOf(run);
    ASSERT_EQ(11u, objects.size()) << run.out;
    Json summary = objects.back().at("summary");
    summary.erase("seconds");
    EXPECT_EQ(R"({"cases":19,"failedCases":15,"failedSources":9,"sources":10})", summary.dump());
    const std::string html = BytesOf(page), xml = BytesOf(junit);
    const size_t table = html.find("<table");
    const std::string rows = html.substr(table, html.find("</table>") + 8 - table);
    EXPECT_EQ(10, CountElements(rows, L"tbody"));
    EXPECT_EQ(10, CountElements(xml, L"testsuite"));
    EXPECT_EQ(19, CountElements(xml, L"testcase"));
    for (const std::string& text : {rows, xml}) {
        EXPECT_NE(text.npos, text.find("a &#38; b&#39;s \xC3\xBC\xE9\x9F\xB3.wav")) << text;
        EXPECT_EQ(text.npos, text.find("<img")) << text;
    }
    // What each was asked for is what was given, through a command line.
    for (size_t i = 3; i + 2 < objects.size(); ++i) {
        EXPECT_EQ(objects[i]["source"], objects[i]["info"]["source"]);
        EXPECT_EQ("open", objects[i]["error"].value("step", "")) << objects[i];
    }
    EXPECT_EQ("find", objects[9]["cases"][0].value("command", "")) << objects[9];
}

TEST_F(Batch, APlayedSourceHasItsPictureAndFiguresOnThePage) {
    const std::wstring wave = MediaFile(L"tone.wav");
    if (!MakeXmlDocument() || RunWithFilter(L"play", {L"--null", wave}).exitCode != 0)
        GTEST_SKIP() << "the platform has no parsers";
    const HostRun run = RunWithFilter(L"batch", {wave, L"--report", page, L"--junit", junit});
    ExpectRun(run, 0, {"passed\t" + Utf8(wave), "1 source, 0 failed; 3 commands, 0 failed"});
    const std::string html = BytesOf(page);
    EXPECT_NE(html.npos, html.find("WAVE Parser</text>")) << html;
    EXPECT_NE(html.npos, html.find("<td class=\"passed\">passed</td>")) << html;
    EXPECT_TRUE(std::regex_search(html, std::regex("<td class=\"number\" data-key=\"[0-9.]+\">[0-9.]+ ms</td></tr>")));
    EXPECT_EQ(0, CountElements(BytesOf(junit), L"failure"));
    // The common options reach the commands, which are run once each, the one that plays last.
    const HostRun told = RunWithFilter(L"batch", {wave, L"--commands", L"play,info,play", L"--json", L"--type", L"AU"});
    const Json object = ObjectsOf(told)[0];
    EXPECT_EQ("Stream / AU", object["info"]["type"].value("text", "")) << told.out;
    EXPECT_EQ(2u, object["cases"].size()) << told.out;
    EXPECT_EQ("play", object["cases"][1].value("command", "")) << told.out;
}

TEST_F(Batch, ACommandThatHangsOrCrashesIsAFailedCase) {
    const std::tuple<const wchar_t*, const wchar_t*, const char*> sources[] = {{L"a.endless", L"1", "timeLimit"},
                                                                               {L"a.crashing", L"60", "crashed"}};
    for (const auto& [name, limit, ending] : sources) {
        folder.Write(LongSound(), name);
        const HostRun run = RunWithFilter(
            L"batch",
            {folder.PathOf(name), L"--commands", L"info", L"--json", L"--time-limit", limit, L"--junit", junit},
            kAwkward);
        EXPECT_EQ(1u, run.exitCode);
        const Json object = ObjectsOf(run)[0];
        EXPECT_EQ(ending, object["cases"][0].value("ending", "")) << run.out;
        EXPECT_EQ("run", object["error"].value("step", "")) << run.out;
        const std::string xml = BytesOf(junit);
        EXPECT_NE(xml.npos, xml.find("errors=\"1\"")) << xml;
    }
}

// An answer may come from whatever was loaded into the command's process.
TEST_F(Batch, AnAnswerThatIsNestedWithoutEndIsAFailedCase) {
    const HostRun run = RunWithFilter(
        L"batch", {folder.Write(LongSound(), L"a.nested"), L"--commands", L"info", L"--json", L"--report", page},
        kAwkward);
    EXPECT_EQ(1u, run.exitCode) << run.err;
    const std::vector<Json> objects = ObjectsOf(run);
    ASSERT_EQ(2u, objects.size());
    EXPECT_EQ(false, objects[0].at("passed"));
    EXPECT_EQ(1, objects[1].at("summary").at("failedCases"));
}

// While a command runs that does not end.
struct EndedBatch : Batch {
    // The source has such an event as long as the command's process is there.
    [[nodiscard]] bool IsThere() const {
        return static_cast<bool>(base::CAutoHandle(
            ::OpenEventW(SYNCHRONIZE, FALSE, std::filesystem::path(folder.Path()).filename().c_str())));
    }
    const std::wstring endless = folder.Write(LongSound(), L"a.endless");
    std::vector<std::wstring> words = {
        L"batch",      L"--dll", BuiltFile(kAwkward), L"--report", page,    L"--junit", junit,
        L"--commands", L"info",  L"--jobs",           L"1",        endless, endless};
};

TEST_F(EndedBatch, ByAnInterruptHasReportsOfWhatWasDone) {
    if (!COwnConsole::HasSafeControlC())
        GTEST_SKIP() << kNoControlC;
    words.insert(words.end() - 2, MediaFile(L"tone.wav"));
    const COwnConsole console;
    const HostRun run = RunHost(words, BuiltFile(L"tvsource.exe"), [&] {
        Await([&] { return IsThere(); });
        COwnConsole::PressControlC();
    });
    EXPECT_EQ(130u, run.exitCode) << run.err;
    Await([&] { return !IsThere(); });
    const std::string html = BytesOf(page), xml = BytesOf(junit);
    EXPECT_NE(html.npos, html.find("</html>"));
    EXPECT_NE(xml.npos, xml.find("</testsuites>")) << xml;
    for (const std::string& text : {html, xml}) {
        EXPECT_NE(text.npos, text.find("tone.wav")) << text;
        EXPECT_EQ(text.npos, text.find("endless")) << text;
    }
}

TEST_F(EndedBatch, ByForceLeavesNoProcess) {
    std::wstring line = L'"' + BuiltFile(L"tvsource.exe") + L'"';
    for (const std::wstring& word : words)
        line += L" \"" + word + L'"';
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    ASSERT_TRUE(::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr, nullptr,
                                 &startup, &info));
    const base::CAutoHandle process(info.hProcess), thread(info.hThread);
    Await([&] { return IsThere(); });
    ::TerminateProcess(process.Get(), 1);
    Await([&] { return !IsThere(); });
}

TEST_F(Batch, OutputThatNobodyReadsEndsItAtOnceAndInSilence) {
    CPipe pipe;
    pipe.reader.Reset();
    const HostRun run = RunHost({L"batch", L"--dll", BuiltFile(kAwkward), L"--commands", L"info", L"--jobs", L"2",
                                 MediaFile(L"tone.wav"), folder.Write(LongSound(), L"a.endless")},
                                BuiltFile(L"tvsource.exe"), {}, {.out = pipe.writer.Get()});
    EXPECT_EQ(1u, run.exitCode);
    EXPECT_EQ("", run.err);
}

TEST_F(Batch, AReportTakesThePlaceOfNothingButAnOlderReport) {
    const std::wstring wave = folder.Copy(MediaFile(L"tone.wav"), L"s.wav"), shout = folder.PathOf(L"S.WAV");
    const std::wstring list = reports.Write(Utf8(wave), L"list"), older = reports.Write("<older>", L"older.html");
    const std::tuple<std::vector<std::wstring>, unsigned, const char*> lines[] = {
        {{wave, L"--report", shout}, 2, "the report would take the place of"},
        {{L"file:///" + wave, L"--junit", wave}, 2, "the report would take the place of"},
        {{L'@' + list, L"--report", list}, 2, "the report would take the place of"},
        {{wave, L"--report", older, L"--junit", older}, 2, "it is the file of --report"},
        {{L'@' + folder.PathOf(L"gone"), L"--report", older}, 1, "gone: 0x80070002"},
        {{folder.Path(), L"--report", wave}, 2, "s.wav is there, and is no older report"},
    };
    for (const auto& [arguments, exitCode, words] : lines) {
        ExpectRun(RunWithFilter(L"batch", arguments), exitCode, {words});
        EXPECT_EQ(BytesOf(MediaFile(L"tone.wav")), BytesOf(wave)) << words;
        EXPECT_EQ(Utf8(wave), BytesOf(list)) << words;
        EXPECT_EQ("<older>", BytesOf(older)) << words;
    }
    // Beside the sources they are left out, and nothing else is left there.
    const std::wstring html = folder.Write("", L"out.html"), xml = folder.Write("", L"out.xml");
    const HostRun run = RunWithFilter(L"batch", {folder.Path(), folder.PathOf(L"*.html"), L"--commands", L"info",
                                                 L"--report", html, L"--junit", xml});
    ExpectRun(run, 0, {"1 source, 0 failed"});
    EXPECT_NE(std::string::npos, BytesOf(html).find("</html>"));
    EXPECT_EQ(3, std::distance(std::filesystem::directory_iterator(folder.Path()), {}));
}

TEST_F(Batch, AListIsTextInUtf8OrUtf16) {
    const CCurrentFolder current(folder.Path());
    const std::wstring name = L"[a,\u97F3]", lines = L" \t\r\n\r\n" + name + L"\r\n   ";
    folder.Copy(MediaFile(L"tone.wav"), name);
    std::string little = "\xFF\xFE", big = "\xFE\xFF";
    for (const wchar_t unit : lines) {
        const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
        (little += low) += high;
        (big += high) += low;
    }
    int number = 0;
    const auto list = [&](const std::string& text) {
        return L'@' + reports.Write(text, L"list" + std::to_wstring(++number));
    };
    for (const std::string& text : {Utf8(lines), "\xEF\xBB\xBF" + Utf8(lines), little, big})
        ExpectRun(RunWithFilter(L"batch", {list(text), L"--commands", L"info"}), 0,
                  {"passed\t" + Utf8(name) + "\n", "1 source, 0 failed"});
    for (const std::string& bytes : {std::string("a\0b", 3), little + "x", "\xFC" + Utf8(lines)}) {
        const HostRun run = RunWithFilter(L"batch", {list(bytes)});
        ExpectRun(run, 1, {" is no text in UTF-8 or UTF-16\n"});
        EXPECT_EQ("", run.out);
    }
}

TEST_F(Batch, WhatCannotBeRunAtAllIsAnErrorAtOnce) {
    const std::wstring wave = MediaFile(L"tone.wav");
    const std::tuple<std::vector<std::wstring>, unsigned, const char*> lines[] = {
        {{}, 2, "PATH"},
        {{wave, L"--jobs", L"0"}, 2, "--jobs"},
        {{wave, L"--time-limit", L"0"}, 2, "--time-limit"},
        {{wave, L"--commands", L"info,cat"}, 2, "cat"},
        {{L'@' + folder.PathOf(L"gone")}, 1, "gone: 0x80070002"},
        {{wave, L"--report", folder.PathOf(L"no\\x.html")}, 1, "Cannot write"},
        {{folder.Path()}, 1, "There is no file"}};
    for (const auto& [arguments, exitCode, words] : lines)
        ExpectRun(RunWithFilter(L"batch", arguments), exitCode, {words});
}

}  // namespace
