// What the program says of a source, of itself, and of a command line that it can do nothing with.
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

namespace {

struct CommandLine : ::testing::Test {
    static std::wstring SystemFile(const std::wstring& name) {
        wchar_t folder[MAX_PATH]{};
        ::GetSystemDirectoryW(folder, MAX_PATH);
        return folder + (L"\\" + name);
    }

    CTempFolder folder;
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
}

TEST_F(CommandLine, InfoNamesTheFileInFullAndDoesNotMakeUpALength) {
    folder.Write("x", L"T\u00F6ne \u97F3.bin");
    const HostRun run = RunWithFilter(L"info", {folder.Path() + L"\\.\\T\u00F6ne \u97F3.bin"});
    ExpectRun(run, 0, {"\\T\xC3\xB6ne \xE9\x9F\xB3.bin\n", "Length   1 bytes\n"});
    EXPECT_EQ(std::string::npos, run.out.find("\\.\\")) << run.out;
    ExpectRun(RunWithFilter(L"info", {folder.Write("x", L"endless.live")}, kAwkward), 0,
              {"Length   not known (estimated)\n"});
}

TEST_F(CommandLine, AFileThatIsNoneIsNamedByEveryCommand) {
    const std::pair<std::wstring, const char*> names[] = {
        {folder.PathOf(L"missing \u97F3.wav"), "0x80070002"},
        {folder.Path(), "is a folder"},
        {L"nosuchscheme://host/file.wav", "Cannot open nosuchscheme://host/file.wav: 0x8"},
    };
    for (const wchar_t* command : {L"play", L"info", L"cat"}) {
        for (const auto& [name, message] : names)
            ExpectRun(RunWithFilter(command, {name}), 1, {message, Utf8(name)});
    }
}

TEST_F(CommandLine, ALibraryThatHasNoFilterIsNamed) {
    const std::pair<std::wstring, const char*> libraries[] = {
        {folder.PathOf(L"missing.dll"), "Cannot load the library"},
        {SystemFile(L"kernel32.dll"), "has no DllGetClassObject"},
        {SystemFile(L"quartz.dll"), "does not have the filter's class: 0x80040111"},
    };
    for (const auto& [library, message] : libraries)
        ExpectRun(RunHost({L"info", L"--dll", library, wave}), 1, {message, Utf8(library)});
}

TEST_F(CommandLine, WithoutALibraryTheRegisteredFilterIsUsedAndItsLackIsExplained) {
    const std::wstring dll = BuiltFile(L"TvFileSourceAsync.dll"), regsvr32 = SystemFile(L"regsvr32.exe");
    ExpectRun(RunHost({L"/s", dll}, regsvr32), 0, {});
    EXPECT_EQ(BytesOf(wave), RunHost({L"cat", wave}).out);
    ExpectRun(RunHost({L"/s", L"/u", dll}, regsvr32), 0, {});
    ExpectRun(RunHost({L"info", wave}), 1, {"not registered", "0x80040154"});
}

TEST_F(CommandLine, OneThatMakesNoSenseHasAnExitCodeOfItsOwn) {
    const std::vector<std::wstring> lines[] = {{},
                                               {L"sing", wave},
                                               {L"uri"},
                                               {L"play", wave, L"one too many"},
                                               {L"info", L"--null", wave},
                                               {L"info", L"--type", L"{E436EB88-524F}", wave},
                                               {L"cat", L"--offset", L"-1", wave},
                                               {L"cat", L"--length", L"many", wave}};
    for (const auto& line : lines)
        ExpectRun(RunHost(line), 2, {});
}

TEST_F(CommandLine, TheHelpTellsIntegratorsThatReadersWaitForTheDataFlow) {
    ExpectRun(RunHost({L"--help"}), 0, {"IDataFlowControl::EnableDataFlow"});
    ExpectRun(RunHost({L"play", L"--help"}), 0, {"--dll"});
}

}  // namespace
