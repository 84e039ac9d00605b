// What the program says of a source, of itself, and of a command line that it can do nothing with.
#include "base/CAutoDestructor.h"
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

#include <regex>
#include <sstream>

namespace {

struct CommandLine : ::testing::Test {
    CTempFolder folder, emptyFolder;
    const std::wstring wave = MediaFile(L"tone.wav");
};

TEST_F(CommandLine, InfoSaysWhatTheFilterSays) {
    const std::pair<const wchar_t*, std::string> types[] = {
        {L"mpeg1audio", "Stream / MPEG1Audio"},
        {L"{E436EB88-524F-11CE-9F53-0020AF0BA770}", "Stream / Avi"},
        {L"{12345678-1234-1234-1234-123456789ABC}", "Stream / {12345678-1234-1234-1234-123456789ABC}"},
    };
    for (const auto& [type, offer] : types)
        ExpectRun(RunWithFilter(L"info", {L"--type", type, wave}), 0,
                  {"Length   16044 bytes\n", "Type     " + offer + "\n", "Offers   " + offer + "\n"});
    // The file is named in full.
    folder.Write("x", L"T\u00F6ne \u97F3.bin");
    const HostRun run = RunWithFilter(L"info", {folder.Path() + L"\\.\\T\u00F6ne \u97F3.bin"});
    ExpectRun(run, 0, {"\\T\xC3\xB6ne \xE9\x9F\xB3.bin\n", "Length   1 byte\n"});
    EXPECT_EQ(std::string::npos, run.out.find("\\.\\")) << run.out;
}

TEST_F(CommandLine, WhatCannotBeOpenedIsNamedByEveryCommandWithTheReason) {
    const std::wstring used = folder.Write("RIFF", L"used.wav");
    const base::CAutoHandle writer(::CreateFileW(used.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                 nullptr, OPEN_EXISTING, 0, nullptr));
    const auto url = [&](const wchar_t* name) { return L"file:///" + folder.PathOf(name); };
    const std::pair<std::wstring, const char*> names[] = {
        {folder.PathOf(L"missing \u97F3.wav"), "0x80070002 (no such file)"},
        {folder.PathOf(L"no\\missing.wav"), "0x80070003 (no such folder)"},
        {used, "0x80070020 (in use by another program)"},
        {url(L"missing.wav"), "0x80070002 (no such file)"},
        {url(L"."), ": a folder, not a file"},
    };
    for (const wchar_t* command : {L"play", L"info", L"cat"}) {
        for (const auto& [name, message] : names)
            ExpectRun(RunWithFilter(command, {name}), 1, {message, Utf8(name)});
    }
    ExpectRun(RunWithFilter(L"cat", {folder.Path()}), 1, {"is a folder", Utf8(folder.Path())});
}

TEST_F(CommandLine, SeveralSourcesMayBePatternsAndFolders) {
    folder.Copy(wave, L"in\\a.wav");
    folder.Copy(wave, L"in\\deep\\b.wav");
    const std::wstring nothing = emptyFolder.Path();
    const CCurrentFolder current(folder.Path());
    for (const wchar_t* command : {L"info", L"verify"}) {
        ExpectRun(RunWithFilter(command, {L"in/*.wav", L"in\\d*"}), 0, {"in\\a.wav\n", "in\\deep\\b.wav\n"});
        ExpectRun(RunWithFilter(command, {L"in"}), 0, {"in\\a.wav\n", "in\\deep\\b.wav\n"});
        ExpectRun(RunWithFilter(command, {L"no*.wav", L"in"}), 1, {"tvsource: no*.wav: no file has such a name\n"});
        ExpectRun(RunWithFilter(command, {nothing}), 1, {"tvsource: There is no file to look at\n"});
    }
    ExpectRun(RunHost({L"detect", nothing}), 1, {"tvsource: There is no file to look at\n"});
}

TEST_F(CommandLine, ANameInBracketsIsAName) {
    folder.Write("x", L"[a,b]");
    folder.Write("x", L"c\\d");
    const CCurrentFolder current(folder.Path());
    ExpectRun(RunWithFilter(L"info", {L"[a,b]"}), 0, {"\\[a,b]\n"});
    ExpectRun(RunHost({L"detect", L"[a,b]"}), 0, {"[a,b]\t-\n"});
    ExpectRun(RunHost({L"detect", L"[c]"}), 1, {"[c]: 0x80070002"});
    ExpectRun(RunHost({L"uri", L"[x]"}), 0, {"Path        [x]\n"});
    ExpectRun(RunHost({L"uri", L"x", L"[y]"}), 2, {": [y]; "});
}

TEST_F(CommandLine, AnEmptyFileIsDescribedAndComparedButNotPlayed) {
    const std::wstring empty = folder.Write("", L"empty.wav");
    ExpectRun(RunWithFilter(L"info", {empty}), 0, {"Length   0 bytes\n"});
    ExpectRun(RunWithFilter(L"verify", {empty}), 0, {"Length   0 bytes: there is nothing to compare\n"});
    for (const wchar_t* command : {L"play", L"graph"}) {
        const HostRun run = RunWithFilter(command, {empty});
        ExpectRun(run, 1, {"is empty\n"});
        EXPECT_EQ(run.err.npos, run.err.find("No type was found")) << run.err;
    }
}

TEST_F(CommandLine, AFilterThatDoesNotSayWhyANameCannotBeOpenedIsQuoted) {
    const HostRun run = RunWithFilter(L"info", {L"http://me:pw@h/x.older"}, kAwkward);
    ExpectRun(run, 1, {"Cannot open http://***@h/x.older: 0x80070057 ("});
    EXPECT_TRUE(run.err.ends_with(".)\n")) << run.err;  // the system's words end with a line of their own
}

TEST_F(CommandLine, ALibraryThatHasNoFilterIsNamed) {
    const std::pair<std::wstring, const char*> libraries[] = {
        {folder.PathOf(L"missing.dll"), "Cannot load the library"},
        {folder.Write("MZ, but nothing behind it", L"bad.dll"), "0x800700C1 (damaged, or no library for "},
        {BuiltFile(L"TvMetadata.dll"), "has no DllGetClassObject"},
        {BuiltFile(L"TvDataServices.dll"), "does not have the filter's class: 0x80040111"},
    };
    for (const auto& [library, message] : libraries)
        ExpectRun(RunHost({L"info", L"--dll", library, wave}), 1, {message, Utf8(library)});
}

TEST_F(CommandLine, WithoutALibraryTheRegisteredFilterIsUsed) {
    const std::wstring dll = BuiltFile(L"TvFileSourceAsync.dll");
    ExpectRun(RunHost({L"/s", dll}, L"regsvr32.exe"), 0, {});
    EXPECT_EQ(BytesOf(wave), RunHost({L"cat", wave}).out);
    ExpectRun(RunHost({L"/s", L"/u", dll}, L"regsvr32.exe"), 0, {});
    ExpectRun(RunHost({L"info", wave}), 1, {"The filter is not registered: 0x80040154 (not registered); regsvr32"});
}

TEST_F(CommandLine, OneThatMakesNoSenseIsExplained) {
    const std::string range = "' is no number from 0 to 9223372036854775807; --help";
    const std::pair<std::vector<std::wstring>, std::string> lines[] = {
        {{}, "A subcommand is required"},
        {{L"sing", wave},
         "'sing' is no command. There are: play, info, cat, detect, uri, graph, trace, replay, verify, batch; --help"},
        {{L"uri"}, "TEXT is required"},
        {{L"info"}, "FILE is required"},
        {{L"play", wave, L"one too many"}, "one too many"},
        {{L"info", L"--null", wave}, "--null"},
        {{L"info", L"--type", L"{E436EB88-524F}", wave}, "neither a known name nor a GUID"},
        {{L"cat", L"--offset", L"-1", wave}, "--offset: '-1" + range},
        {{L"cat", L"--length", L"9223372036854775808", wave}, "--length: '9223372036854775808" + range},
        {{L"cat", L"--length", L"1k", wave}, "--length: '1k" + range},
        {{L"cat", wave, L"-o", L""}, "-o: the file's name is empty"},
        {{L"graph", wave, L"-o", L""}, "-o: the file's name is empty"},
        {{L"trace", wave, L"-o", L""}, "-o: the file's name is empty"}};
    for (const auto& [line, message] : lines)
        ExpectRun(RunHost(line), 2, {message});
}

TEST_F(CommandLine, NoNameSteersTheTerminal) {
    const std::wstring name = L"a\x1B[2J\r\n\u202Eb\u2067\x9B\u00E9";
    const std::string shown = "a<U+001B>[2J<U+000D><U+000A><U+202E>b<U+2067><U+009B>\xC3\xA9";
    const std::vector<std::wstring> lines[] = {
        {L"cat", L"--dll", BuiltFile(L"TvFileSourceAsync.dll"), name},
        {L"info", L"--dll", BuiltFile(L"TvFileSourceAsync.dll"), L"nosuch:" + name},
        {L"info", L"--dll", name, wave},
        {L"detect", name},
        {L"uri", L"http://h:99999/" + name},
        {name}};
    for (const auto& line : lines) {
        const HostRun run = RunHost(line);
        ExpectRun(run, run.exitCode == 2 ? 2 : 1, {shown});
        EXPECT_EQ(run.err.npos, run.err.find_first_of("\x1B\r")) << run.err;
    }
    ExpectRun(RunHost({L"uri", name}), 0, {"Path        " + shown + "\n"});
}

TEST_F(CommandLine, OutputThatCannotBeWrittenEndsEveryCommandWithAFailure) {
    const std::wstring dll = BuiltFile(L"TvFileSourceAsync.dll");
    const std::vector<std::wstring> lines[] = {{L"--help"},
                                               {L"uri", L"x"},
                                               {L"info", L"--dll", dll, wave},
                                               {L"cat", L"--dll", dll, wave},
                                               {L"detect", wave, wave}};
    const base::CAutoHandle readOnly = OpenInherited(wave, GENERIC_READ);
    for (const auto& line : lines) {
        const std::wstring program = BuiltFile(L"tvsource.exe");
        const HostRun run = RunHost(line, program, {}, {.out = readOnly.Get()});
        EXPECT_EQ(1u, run.exitCode) << Utf8(line[0]);
        EXPECT_EQ("tvsource: Cannot write the output: 0x80070005 (access denied)\n", run.err);
        // Whoever reads has read enough.
        CPipe pipe;
        pipe.reader.Reset();
        const HostRun closed = RunHost(line, program, {}, {.out = pipe.writer.Get()});
        EXPECT_EQ(1u, closed.exitCode) << Utf8(line[0]);
        EXPECT_EQ("", closed.err);
    }
}

TEST_F(CommandLine, TheHelpTellsIntegratorsThatReadersWaitForTheDataFlow) {
    ExpectRun(RunHost({L"--help"}), 0, {"IDataFlowControl::EnableDataFlow"});
}

TEST_F(CommandLine, TheLicencesOfWhatIsBuiltInAreThere) {
    ExpectRun(RunHost({L"--licenses"}), 0, {"Boost Software License", "GCC RUNTIME LIBRARY EXCEPTION", "winpthreads"});
}

TEST_F(CommandLine, TheHelpAndTheDocumentHaveTheSameExitCodesAndTheProgramHasThem) {
    const std::string help = RunHost({L"--help"}).out, document = BytesOf(DocumentFile(L"tvsource.md"));
    std::istringstream lines(document.substr(document.find("\n## Exit codes\n")));
    std::string expected = "Exit codes:\n", codes;
    const std::regex row(R"(\| (\d+) +\| (.*) \|)");
    for (std::string line; std::getline(lines, line) && line != "## Failures";) {
        std::smatch parts;
        if (!std::regex_match(line, parts, row))
            continue;
        codes += parts[1].str() + " ";
        expected += "  " + parts[1].str() + std::string(5 - parts[1].str().size(), ' ') + parts[2].str() + "\n";
    }
    std::erase(expected, '`');
    EXPECT_NE(help.npos, help.find(expected + "\n")) << expected << "\nis not in\n" << help;
    for (const std::vector<std::wstring>& line :
         std::initializer_list<std::vector<std::wstring>>{{L"uri", L"x"}, {L"uri", L""}, {L"uri"}})
        codes.erase(0, std::to_string(RunHost(line).exitCode).size() + 1);
    EXPECT_EQ("130 ", codes);  // of Ctrl+C, see Batch and Url
}

}  // namespace
