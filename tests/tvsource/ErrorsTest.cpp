#include "tests/tvsource/CHost.h"
#include "tests/tvsource/CScratchFolder.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "diagnostics/CAutoDestructor.h"

namespace {

constexpr const wchar_t* kCommands[] = {L"play", L"info", L"cat"};

bool Has(const std::wstring& text, const std::wstring& part) {
    return text.find(part) != std::wstring::npos;
}

std::wstring SystemFile(const wchar_t* name) {
    wchar_t folder[MAX_PATH]{};
    ::GetSystemDirectoryW(folder, MAX_PATH);
    return std::wstring(folder) + L"\\" + name;
}

// Calls the DLL's DllRegisterServer or DllUnregisterServer.
void CallServer(const char* function) {
    const CAutoLibrary library(::LoadLibraryW(BuiltFile(L"TvFileSourceAsync.dll").c_str()));
    ASSERT_TRUE(library);
    const auto call = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(::GetProcAddress(library.Get(), function)));
    ASSERT_NE(nullptr, call);
    EXPECT_HRESULT_SUCCEEDED(call());
}

}  // namespace

TEST(Errors, AFileThatIsNoneIsNamedByEveryCommand) {
    CScratchFolder folder;
    const struct {
        std::wstring name;
        const wchar_t* message;
    } kNames[] = {
        {folder.PathOf(L"missing \u97F3.wav"), L"0x80070002"},
        {folder.PathOf(L"no\\folder.wav"), L"0x80070003"},
        {folder.Path(), L"is a folder"},
        {L"nosuchscheme://host/file.wav", L"Cannot open nosuchscheme://host/file.wav: 0x8"},
    };
    for (const wchar_t* command : kCommands) {
        for (const auto& row : kNames) {
            const HostRun run = RunWithFilter(command, {row.name});
            EXPECT_EQ(1u, run.exitCode);
            EXPECT_TRUE(Has(run.err, row.message)) << run.err.c_str();
            EXPECT_TRUE(Has(run.err, row.name)) << run.err.c_str();
            EXPECT_EQ("", run.out);
        }
    }
}

TEST(Errors, ALibraryThatHasNoFilterIsNamed) {
    CScratchFolder folder;
    const struct {
        std::wstring library;
        const wchar_t* message;
    } kLibraries[] = {
        {folder.PathOf(L"missing.dll"), L"Cannot load the library"},
        {folder.Write(L"text.dll", "not a library"), L"Cannot load the library"},
        {SystemFile(L"kernel32.dll"), L"has no DllGetClassObject"},
        {SystemFile(L"quartz.dll"), L"does not have the filter's class: 0x80040111"},
    };
    for (const auto& row : kLibraries) {
        const HostRun run = RunHost({L"info", L"--dll", row.library, MediaFile(L"tone.wav")});
        EXPECT_EQ(1u, run.exitCode);
        EXPECT_TRUE(Has(run.err, row.message)) << run.err.c_str();
        EXPECT_TRUE(Has(run.err, row.library)) << run.err.c_str();
    }
}

TEST(Errors, WithoutALibraryTheRegisteredFilterIsUsedAndItsLackIsExplained) {
    CallServer("DllRegisterServer");
    EXPECT_EQ(0u, RunHost({L"info", MediaFile(L"tone.wav")}).exitCode);
    EXPECT_EQ(BytesOf(MediaFile(L"tone.wav")), RunHost({L"cat", MediaFile(L"tone.wav")}).out);

    CallServer("DllUnregisterServer");
    const HostRun run = RunHost({L"info", MediaFile(L"tone.wav")});
    EXPECT_EQ(1u, run.exitCode);
    EXPECT_TRUE(Has(run.err, L"not registered")) << run.err.c_str();
    EXPECT_TRUE(Has(run.err, L"0x80040154")) << run.err.c_str();
}

TEST(Errors, ACommandLineThatMakesNoSenseHasAnExitCodeOfItsOwn) {
    const std::wstring file = MediaFile(L"tone.wav");
    const std::vector<std::wstring> kLines[] = {
        {},
        {L"sing", file},
        {L"play"},
        {L"play", file, L"one too many"},
        {L"info", L"--null", file},
        {L"info", L"--type", L"music", file},
        {L"info", L"--type", L"{E436EB88-524F}", file},
        {L"cat", L"--offset", L"-1", file},
        {L"cat", L"--length", L"many", file},
    };
    for (const auto& line : kLines) {
        const HostRun run = RunHost(line);
        EXPECT_EQ(2u, run.exitCode) << ::testing::PrintToString(line);
        EXPECT_NE(L"", run.err);
        EXPECT_EQ("", run.out);
    }
}

TEST(Errors, TheHelpTellsIntegratorsThatReadersWaitForTheDataFlow) {
    const HostRun help = RunHost({L"--help"});
    EXPECT_EQ(0u, help.exitCode);
    EXPECT_NE(std::string::npos, help.out.find("IDataFlowControl::EnableDataFlow")) << help.out;
    for (const wchar_t* command : kCommands) {
        const HostRun run = RunHost({command, L"--help"});
        EXPECT_EQ(0u, run.exitCode);
        EXPECT_NE(std::string::npos, run.out.find("--dll")) << run.out;
    }
}
