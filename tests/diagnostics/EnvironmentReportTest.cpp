// What the environment report writes, and that it asks nothing when nobody reads it.
#include "TavelVersion.h"
#include "base/CAutoDestructor.h"
#include "diagnostics/EnvironmentReport.h"
#include "diagnostics/LogDestination.h"
#include "diagnostics/OperatingSystemName.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTempFolder.h"

#include <psapi.h>

#include <algorithm>
#include <filesystem>
#include <set>

using namespace TKRuntimeLogger;
namespace fs = std::filesystem;

namespace {

using Texts = std::vector<std::wstring>;

// The records of `body` on a thread that has a logger.
template <class Body>
std::vector<LoggedRecord> RecordsOf(Body&& body) {
    const CPublishedLogger published;
    OnNewThread(body);
    return published->Records();
}

template <class Body>
Texts MessagesOf(Body&& body) {
    Texts messages;
    for (const LoggedRecord& record : RecordsOf(body))
        messages.push_back(record.message);
    return messages;
}

bool AnyContains(const Texts& texts, const std::wstring& part) {
    return std::any_of(texts.begin(), texts.end(), [&](const auto& text) { return text.find(part) != text.npos; });
}

// In the place of a function: counts the call and says that it failed.
int g_calls = 0;
template <class Function>
struct Failing;
template <class Result, class... Arguments>
struct Failing<Result WINAPI(Arguments...)> {
    static Result WINAPI Call(Arguments...) {
        ++g_calls;
        return Result{};
    }
};

OSVERSIONINFOEXW g_version;
BOOL WINAPI ScriptedGetVersionEx(LPOSVERSIONINFOW version) {
    EXPECT_EQ(sizeof g_version, version->dwOSVersionInfoSize);
    *reinterpret_cast<OSVERSIONINFOEXW*>(version) = g_version;
    return TRUE;
}

VS_FIXEDFILEINFO g_fixed{};
UINT g_fixedSize = sizeof g_fixed;
BOOL WINAPI ScriptedVerQueryValue(LPCVOID, LPCWSTR block, LPVOID* value, PUINT size) {
    EXPECT_STREQ(L"\\", block);
    *value = &g_fixed;
    *size = g_fixedSize;
    return TRUE;
}

std::wstring PathOf(HMODULE module) {
    wchar_t path[1024]{};
    ::GetModuleFileNameW(module, path, 1024);
    return path;
}

const std::wstring kModuleVersions = L"  (FileVersion: " TAVEL_VERSION L".0  ProductVersion: " TAVEL_VERSION L".0)";

struct EnvironmentReportTest : ::testing::Test {
    const base::CAutoLibrary module{::LoadLibraryW(L"diagnostics_module.dll")};
};

}  // namespace

TEST(OperatingSystemName, FollowsFromVersionEditionAndArchitecture) {
    constexpr BYTE kWork = VER_NT_WORKSTATION, kServer = VER_NT_SERVER, kController = VER_NT_DOMAIN_CONTROLLER;
    constexpr WORD kX86 = 0, kArm = 5, kIa64 = 6, kX64 = 9;
    constexpr int kTablet = 86, kMediaCenter = 87, kStarter = 88, kR2 = 89;
    const struct {
        SystemVersion version;
        std::set<int> metrics;  // that are not zero
        const wchar_t *system, *architecture;
    } kSystems[] = {
        {{5, 0, kServer, 0, kX86}, {kR2, kStarter}, L"Windows 2000 (32bit)", L"x86"},
        {{5, 1, kWork, 0, kX86}, {kR2}, L"Windows XP (32bit)", L"x86"},
        {{5, 1, kWork, 0, kX86}, {kStarter}, L"Windows XP Starter Edition (32bit)", L"x86"},
        {{5, 1, kWork, 0, kX64}, {kMediaCenter, kTablet}, L"Windows XP MCE Tablet PC Edition (64bit)", L"x64"},
        {{5, 2, kWork, 0, kX64}, {kR2}, L"Windows XP Professional x64 Edition (64bit)", L"x64"},
        {{5, 2, kWork, 0, kX86}, {}, L"Windows Server 2003 (32bit)", L"x86"},
        {{5, 2, kServer, 0x8000, kX86}, {}, L"Windows Server 2003 (32bit)", L"x86"},
        {{5, 2, kServer, 0x8000, kX86}, {kR2}, L"Windows Home Server (32bit)", L"x86"},
        {{5, 2, kServer, 0x8010, kIa64}, {kR2}, L"Windows Server 2003 R2 (32bit)", L"IA64"},
        {{6, 0, kWork, 0, kX86}, {}, L"Windows Vista (32bit)", L"x86"},
        {{6, 0, kController, 0, kX64}, {}, L"Windows Server 2008 (64bit)", L"x64"},
        {{6, 1, kWork, 0, kArm}, {}, L"Windows 7", L""},
        {{6, 1, kServer, 0, kX64}, {kR2}, L"Windows Server 2008 R2 (64bit)", L"x64"},
        {{6, 2, kWork, 0, kX86}, {}, L" (32bit)", L"x86"},
        {{6, 2, kWork, 0, kArm}, {}, L"Unknown (6.6)", L""},
        {{5, 3, kWork, 0, 0xFFFF}, {}, L"Unknown (5.5)", L""},
    };
    for (const auto& row : kSystems) {
        SCOPED_TRACE(&row - kSystems);
        const SystemNames names =
            NamesOf(row.version, [&](int metric) { return static_cast<int>(row.metrics.count(metric)); });
        EXPECT_EQ(row.system, names.system);
        EXPECT_EQ(row.architecture, names.architecture);
    }
    // The metric is asked a second time for the last row of its version.
    int asked = 0;
    EXPECT_EQ(L" (32bit)", NamesOf({5, 2, kServer, 0, kX86}, [&](int) { return asked++ == 0 ? 1 : 0; }).system);
    EXPECT_EQ(2, asked);
}

TEST_F(EnvironmentReportTest, ProcessAndSystemAreSevenLines) {
    g_version.dwMajorVersion = 6;
    g_version.dwMinorVersion = 1;
    g_version.wProductType = VER_NT_WORKSTATION;
    BOOL emulated = FALSE;
    ::IsWow64Process(::GetCurrentProcess(), &emulated);
    SYSTEM_INFO machine{};
    ::GetNativeSystemInfo(&machine);
    const struct {
        bool kernel, version;  // that can be asked
        const wchar_t* servicePack;
    } kSystems[] = {{true, true, L""}, {false, true, L"Service Pack 1"}, {true, false, L""}};
    for (const auto& row : kSystems) {
        SCOPED_TRACE(&row - kSystems);
        ::wcscpy_s(g_version.szCSDVersion, row.servicePack);
        const CImportHook version("GetVersionExW",
                                  row.version ? &ScriptedGetVersionEx : &Failing<decltype(::GetVersionExW)>::Call);
        const CImportHook library("LoadLibraryExW",
                                  row.kernel ? &::LoadLibraryExW : &Failing<decltype(::LoadLibraryExW)>::Call);
        const bool x64 = row.kernel && machine.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64;
        Texts expected = {L"Current Module FileName:\t  " + PathOf(nullptr),
                          L"Current Working Directory: " + fs::current_path().wstring(),
                          std::wstring(L"Current Commandline:\t\t  ") + ::GetCommandLineW(), L"GetVersioEx failed"};
        if (row.version) {
            expected.back() = std::wstring(L"Current OS:                Windows 7 ") + (x64 ? L"(64bit)" : L"(32bit)");
            expected.push_back(std::wstring(L"Current OS Architecture:   ") + (x64 ? L"x64" : L"x86"));
            expected.push_back(std::wstring(L"Current OS Service Pack:   ") +
                               (*row.servicePack ? row.servicePack : L"none"));
            expected.push_back(std::wstring(L"Is Wow64 process:          ") +
                               (row.kernel && emulated ? L"Yes" : L"No"));
        }
        Texts messages;
        for (const LoggedRecord& record : RecordsOf([] { LogProcessEnvironment(L"host"); })) {
            messages.push_back(record.message);
            EXPECT_EQ(!row.version && messages.size() == expected.size() ? 3 : 1, record.severity);
            EXPECT_EQ(L"host TKRuntimeLoggerAPI TKRuntimeLogger::LogProcessEnvironment",
                      record.category + L" " + record.file + L" " + record.function);
        }
        EXPECT_EQ(expected, messages);
    }
}

TEST_F(EnvironmentReportTest, NothingIsAskedOnAThreadWithoutALogger) {
#define TV_FAILING(function) CImportHook(#function, &Failing<decltype(::function)>::Call)
    const CImportHook hooks[] = {TV_FAILING(GetModuleFileNameW),     TV_FAILING(GetCurrentDirectoryW),
                                 TV_FAILING(GetCommandLineW),        TV_FAILING(LoadLibraryExW),
                                 TV_FAILING(GetVersionExW),          TV_FAILING(K32EnumProcessModules),
                                 TV_FAILING(K32GetModuleFileNameExW)};
    const auto report = [&] {
        LogProcessEnvironment(L"host");
        LogLoadedModule(module.Get(), L"host");
        LogLoadedModules(nullptr, L"host", TRUE);
    };
    g_calls = 0;
    OnNewThread([&] {
        report();
        EXPECT_EQ(LogDestination::Kind::Nowhere, ThreadLogDestination().kind);
    });
    EXPECT_EQ(0, g_calls);

    // Where there is a logger, the same calls are made and fail without harm.
    const auto records = RecordsOf([&] {
        ::SetLastError(1234);
        report();
        EXPECT_EQ(1234u, ::GetLastError());
        EXPECT_EQ(LogDestination::Kind::Service, ThreadLogDestination().kind);
    });
    EXPECT_GT(g_calls, 5);
    ASSERT_EQ(5u, records.size());
    EXPECT_EQ(L"Could not log current modules.", records.back().message);
    EXPECT_EQ(L"TKRuntimeLogger::LogLoadedModules", records.back().function);
    EXPECT_EQ(2, records.back().severity);
}

TEST_F(EnvironmentReportTest, AModuleIsOneLineWithTheFourNumbersOfBothVersionsOrNone) {
    const auto report = [&] { LogLoadedModule(module.Get(), L"host"); };
    g_fixed.dwFileVersionMS = 0x0001FFFF;
    g_fixed.dwFileVersionLS = 0x00030004;
    g_fixed.dwProductVersionMS = 0x00050006;
    g_fixed.dwProductVersionLS = 0x80000008;
    const std::wstring line =
        L"Module: " + PathOf(module.Get()) + L"  (FileVersion: 1.65535.3.4  ProductVersion: 5.6.32768.8)";
    for (const UINT size : {static_cast<UINT>(sizeof g_fixed), 0u}) {
        g_fixedSize = size;
        const CImportHook hook("VerQueryValueW", &ScriptedVerQueryValue);
        EXPECT_EQ(Texts(size ? 1 : 0, line), MessagesOf(report));
        const CImportHook unread("GetFileVersionInfoW", &Failing<decltype(::GetFileVersionInfoW)>::Call);
        EXPECT_TRUE(RecordsOf(report).empty());
    }
    EXPECT_EQ(L"TKRuntimeLogger::LogLoadedModule", RecordsOf(report).at(0).function);
    const auto withoutResource = [] {
        LogLoadedModule(nullptr, L"host");
        LogLoadedModule(::GetModuleHandleW(nullptr), L"host");
    };
    EXPECT_TRUE(RecordsOf(withoutResource).empty());
}

TEST_F(EnvironmentReportTest, AModuleAtALongPathIsReportedInFull) {
    CTempFolder folder({std::wstring(250, L'x')});
    const std::wstring path = folder.Copy(PathOf(module.Get()), std::to_wstring(::GetCurrentProcessId()) + L".dll");
    const base::CAutoLibrary copy(::LoadLibraryW(path.c_str()));
    const Texts messages = MessagesOf([&] { LogLoadedModule(copy.Get(), L"host"); });
    EXPECT_TRUE(AnyContains(messages, path.substr(4) + kModuleVersions)) << "without the prefix";
}

TEST_F(EnvironmentReportTest, ModulesAreChosenByPatternAndByFolder) {
    ASSERT_TRUE(module);
    const struct {
        const wchar_t* pattern;
        BYTE onlyApplicationDirectory;
        bool ours, systems;
    } kChoices[] = {{nullptr, 0, true, true},           {nullptr, 1, true, false},
                    {L"*.dll", 0xFF, true, false},      {L"", 0, false, false},
                    {L"DIAGNOSTICS_*", 0, true, false}, {L"kernel32.dll", 0, false, true},
                    {L"kernel32.dll", 1, false, false}, {L"*.exe;diag*.dll", 0, true, false},
                    {L"bin\\*", 0, false, false}};
    for (const auto& row : kChoices) {
        SCOPED_TRACE(&row - kChoices);
        const Texts messages =
            MessagesOf([&] { LogLoadedModules(row.pattern, L"host", row.onlyApplicationDirectory); });
        EXPECT_EQ(row.ours, AnyContains(messages, PathOf(module.Get()) + kModuleVersions));
        EXPECT_EQ(row.systems, AnyContains(messages, L"\\kernel32.dll  (FileVersion: "));
    }
}
