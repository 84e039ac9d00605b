// What the environment report writes.
#include "diagnostics/CAutoDestructor.h"
#include "diagnostics/EnvironmentReport.h"
#include "diagnostics/OperatingSystemName.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTempFolder.h"

#include <algorithm>
#include <filesystem>
#include <set>

using namespace TKRuntimeLogger;

namespace {

// The records of `body` on a thread that has a logger.
template <class Body>
std::vector<LoggedRecord> RecordsOf(Body&& body) {
    const CPublishedLogger published;
    OnNewThread(body);
    return published->Records();
}

bool AnyHas(const std::vector<LoggedRecord>& records, const std::wstring& part) {
    return std::ranges::any_of(records, [&](const auto& record) { return record.message.find(part) != part.npos; });
}

std::wstring PathOf(HMODULE module) {
    wchar_t path[1024]{};
    ::GetModuleFileNameW(module, path, 1024);
    return path;
}

const std::wstring kVersions = L"  (FileVersion: 0.1.0.0  ProductVersion: 0.1.0.0)";

struct EnvironmentReportTest : ::testing::Test {
    const CAutoLibrary module{::LoadLibraryW(L"diagnostics_module.dll")};
};

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
        {{5, 1, kWork, 0, kX64}, {kMediaCenter, kTablet}, L"Windows XP MCE Tablet PC Edition (64bit)", L"x64"},
        {{5, 2, kWork, 0, kX64}, {kR2}, L"Windows XP Professional x64 Edition (64bit)", L"x64"},
        {{5, 2, kServer, 0x8000, kX86}, {}, L"Windows Server 2003 (32bit)", L"x86"},
        {{5, 2, kServer, 0x8000, kX86}, {kR2}, L"Windows Home Server (32bit)", L"x86"},
        {{5, 2, kServer, 0x8010, kIa64}, {kR2}, L"Windows Server 2003 R2 (32bit)", L"IA64"},
        {{6, 0, kWork, 0, kX86}, {}, L"Windows Vista (32bit)", L"x86"},
        {{6, 0, kController, 0, kX64}, {}, L"Windows Server 2008 (64bit)", L"x64"},
        {{6, 1, kWork, 0, kArm}, {}, L"Windows 7", L""},
        {{6, 1, kServer, 0, kX64}, {kR2}, L"Windows Server 2008 R2 (64bit)", L"x64"},
        {{6, 2, kWork, 0, kX86}, {}, L" (32bit)", L"x86"},
        {{6, 2, kWork, 0, kArm}, {}, L"Unknown (6.6)", L""},
    };
    for (const auto& [version, metrics, system, architecture] : kSystems) {
        const SystemNames names =
            NamesOf(version, [&metrics = metrics](int metric) { return static_cast<int>(metrics.count(metric)); });
        EXPECT_EQ(system, names.system);
        EXPECT_EQ(architecture, names.architecture) << names.system;
    }
}

TEST_F(EnvironmentReportTest, ProcessAndSystemAreSevenLines) {
    BOOL emulated = FALSE;
    ::IsWow64Process(::GetCurrentProcess(), &emulated);
    const std::wstring beginnings[] = {
        L"Current Module FileName:\t  " + PathOf(nullptr),
        L"Current Working Directory: " + std::filesystem::current_path().wstring(),
        L"Current Commandline:\t\t  " + std::wstring(::GetCommandLineW()),
        L"Current OS:                Windows ",
        L"Current OS Architecture:   x",
        L"Current OS Service Pack:   ",
        L"Is Wow64 process:          " + std::wstring(emulated ? L"Yes" : L"No"),
    };
    const auto records = RecordsOf([] { LogProcessEnvironment(L"host"); });
    EXPECT_TRUE(std::ranges::equal(beginnings, records, [](const auto& beginning, const auto& record) {
        return record.message.starts_with(beginning) && record.category == L"host";
    })) << ::testing::PrintToString(records);
}

TEST_F(EnvironmentReportTest, AModuleAtALongPathIsReportedInFullAndOneWithoutVersionsNotAtAll) {
    CTempFolder folder({std::wstring(250, L'x')});
    const std::wstring path = folder.Copy(PathOf(module.Get()), L"module.dll");
    const auto records = RecordsOf([&] {
        LogLoadedModule(CAutoLibrary(::LoadLibraryW(path.c_str())).Get(), L"host");
        LogLoadedModule(::GetModuleHandleW(nullptr), L"host");
        LogLoadedModule(nullptr, L"host");
    });
    ASSERT_EQ(1u, records.size());
    EXPECT_TRUE(AnyHas(records, path.substr(4) + kVersions)) << records[0];
    EXPECT_EQ(L"TKRuntimeLogger::LogLoadedModule", records[0].function);
}

TEST_F(EnvironmentReportTest, ModulesAreChosenByPatternAndByFolder) {
    const struct {
        const wchar_t* pattern;
        BYTE onlyApplicationDirectory;
        bool ours, systems;
    } kChoices[] = {
        {nullptr, 0, true, true},
        {nullptr, 1, true, false},
        {L"", 0, false, false},
        {L"kernel32.dll", 0, false, true},
        {L"kernel32.dll", 0xFF, false, false},
        {L"*.exe;DIAG*.dll", 0, true, false},
    };
    for (const auto& row : kChoices) {
        SCOPED_TRACE(&row - kChoices);
        const auto records = RecordsOf([&] { LogLoadedModules(row.pattern, L"host", row.onlyApplicationDirectory); });
        EXPECT_EQ(row.ours, AnyHas(records, PathOf(module.Get()) + kVersions));
        EXPECT_EQ(row.systems, AnyHas(records, L"\\kernel32.dll  (FileVersion: "));
    }
}

}  // namespace
