// What the program says of a source, of itself, and of a command line that it can do nothing with.
#include "diagnostics/CAutoDestructor.h"
#include "tests/tvsource/CScratchFolder.h"

namespace {

constexpr const wchar_t* kCommands[] = {L"play", L"info", L"cat"};

struct CommandLine : ::testing::Test {
    // Calls the DLL's DllRegisterServer or DllUnregisterServer.
    static void CallServer(const char* function) {
        const CAutoLibrary library(::LoadLibraryW(BuiltFile(L"TvFileSourceAsync.dll").c_str()));
        const auto call = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
            reinterpret_cast<void*>(::GetProcAddress(library.Get(), function)));
        ASSERT_NE(nullptr, call);
        EXPECT_HRESULT_SUCCEEDED(call());
    }

    CScratchFolder folder;
    const std::wstring wave = MediaFile(L"tone.wav");
};

TEST_F(CommandLine, InfoSaysWhatTheFilterSays) {
    const std::pair<const wchar_t*, std::string> types[] = {
        {L"WAVE", "Stream / WAVE"},
        {L"mpeg1audio", "Stream / MPEG1Audio"},
        {L"{E436EB88-524F-11CE-9F53-0020AF0BA770}", "Stream / Avi"},
        {L"{12345678-1234-1234-1234-123456789ABC}", "Stream / {12345678-1234-1234-1234-123456789ABC}"},
        {L"any", "Stream / any"},
    };
    for (const auto& [type, offer] : types)
        ExpectRun(RunWithFilter(L"info", {L"--type", type, wave}), 0,
                  {"Length   16044 bytes\n", "Type     " + offer + "\n", "Offers   " + offer + "\n"});
}

TEST_F(CommandLine, InfoNamesTheFileInFullAndDoesNotMakeUpALength) {
    folder.Write(L"T\u00F6ne \u97F3.bin", "x");
    const HostRun run = RunWithFilter(L"info", {folder.Path() + L"\\.\\T\u00F6ne \u97F3.bin"});
    ExpectRun(run, 0, {"\\T\xC3\xB6ne \xE9\x9F\xB3.bin\n", "Length   1 bytes\n"});
    EXPECT_EQ(std::string::npos, run.out.find("\\.\\")) << run.out;
    ExpectRun(RunAwkward(L"info", {folder.Write(L"endless.live", "x")}), 0, {"Length   not known (estimated)\n"});
}

TEST_F(CommandLine, AFileThatIsNoneIsNamedByEveryCommand) {
    const std::pair<std::wstring, const char*> names[] = {
        {folder.PathOf(L"missing \u97F3.wav"), "0x80070002"},
        {folder.PathOf(L"no\\folder.wav"), "0x80070003"},
        {folder.Path(), "is a folder"},
        {L"nosuchscheme://host/file.wav", "Cannot open nosuchscheme://host/file.wav: 0x8"},
    };
    for (const wchar_t* command : kCommands) {
        for (const auto& [name, message] : names) {
            const HostRun run = RunWithFilter(command, {name});
            ExpectRun(run, 1, {message, Utf8(name)});
            EXPECT_EQ("", run.out);
        }
    }
}

TEST_F(CommandLine, ALibraryThatHasNoFilterIsNamed) {
    wchar_t system[MAX_PATH]{};
    ::GetSystemDirectoryW(system, MAX_PATH);
    const std::pair<std::wstring, const char*> libraries[] = {
        {folder.PathOf(L"missing.dll"), "Cannot load the library"},
        {folder.Write(L"text.dll", "not a library"), "Cannot load the library"},
        {std::wstring(system) + L"\\kernel32.dll", "has no DllGetClassObject"},
        {std::wstring(system) + L"\\quartz.dll", "does not have the filter's class: 0x80040111"},
    };
    for (const auto& [library, message] : libraries)
        ExpectRun(RunHost({L"info", L"--dll", library, wave}), 1, {message, Utf8(library)});
}

TEST_F(CommandLine, WithoutALibraryTheRegisteredFilterIsUsedAndItsLackIsExplained) {
    CallServer("DllRegisterServer");
    ExpectRun(RunHost({L"info", wave}), 0, {});
    EXPECT_EQ(BytesOf(wave), RunHost({L"cat", wave}).out);
    CallServer("DllUnregisterServer");
    ExpectRun(RunHost({L"info", wave}), 1, {"not registered", "0x80040154"});
}

TEST_F(CommandLine, OneThatMakesNoSenseHasAnExitCodeOfItsOwn) {
    const std::vector<std::wstring> lines[] = {
        {},
        {L"sing", wave},
        {L"play"},
        {L"play", wave, L"one too many"},
        {L"info", L"--null", wave},
        {L"info", L"--type", L"music", wave},
        {L"info", L"--type", L"{E436EB88-524F}", wave},
        {L"cat", L"--offset", L"-1", wave},
        {L"cat", L"--length", L"many", wave},
    };
    for (const auto& line : lines) {
        SCOPED_TRACE(::testing::PrintToString(line));
        const HostRun run = RunHost(line);
        ExpectRun(run, 2, {});
        EXPECT_NE("", run.err);
        EXPECT_EQ("", run.out);
    }
}

TEST_F(CommandLine, TheHelpTellsIntegratorsThatReadersWaitForTheDataFlow) {
    ExpectRun(RunHost({L"--help"}), 0, {"IDataFlowControl::EnableDataFlow"});
    for (const wchar_t* command : kCommands)
        ExpectRun(RunHost({command, L"--help"}), 0, {"--dll"});
}

}  // namespace
