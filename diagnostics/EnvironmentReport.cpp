#include "diagnostics/EnvironmentReport.h"

#include "base/AskForPath.h"
#include "base/ComBoundary.h"
#include "base/LateLoad.h"
#include "base/LongPath.h"
#include "base/ModuleFolder.h"
#include "diagnostics/LogSite.h"
#include "diagnostics/OperatingSystemName.h"

#include <psapi.h>
#include <shlwapi.h>

#include <algorithm>
#include <cwchar>
#include <optional>
#include <string>
#include <vector>

namespace TKRuntimeLogger {
namespace {

LogSource SourceOf(const wchar_t* category) noexcept {
    return {category, L"TKRuntimeLoggerAPI"};
}

std::wstring PathOf(HMODULE module) {
    return base::AskForPath([&](wchar_t* buffer, DWORD size) {
        return ::GetModuleFileNameExW(::GetCurrentProcess(), module, buffer, size);
    });
}

struct Machine {
    SYSTEM_INFO info{};  // all zero reads as x86
    bool isWow64 = false;
};

// Looked up by name, because the report also covers systems that lack these functions.
Machine AskForMachine() noexcept {
    Machine machine;
    const base::CAutoLibrary kernel = base::LateLoadSystem(L"Kernel32.dll");
    if (!kernel)
        return machine;
    BOOL isWow64 = FALSE;
    if (const auto isWow64Process = base::ExportOf<BOOL(WINAPI*)(HANDLE, PBOOL)>(kernel, "IsWow64Process"))
        isWow64Process(::GetCurrentProcess(), &isWow64);
    machine.isWow64 = isWow64 != FALSE;
    if (const auto getNativeSystemInfo = base::ExportOf<void(WINAPI*)(LPSYSTEM_INFO)>(kernel, "GetNativeSystemInfo"))
        getNativeSystemInfo(&machine.info);
    else
        ::GetSystemInfo(&machine.info);
    return machine;
}

std::optional<VS_FIXEDFILEINFO> VersionOf(const std::wstring& path) {
    const std::wstring openable = base::OpenablePath(path);
    DWORD ignored = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(openable.c_str(), &ignored);
    if (size == 0)
        return std::nullopt;
    std::vector<BYTE> block(size);
    void* fixed = nullptr;
    UINT fixedSize = 0;
    if (!::GetFileVersionInfoW(openable.c_str(), 0, size, block.data()) ||
        !::VerQueryValueW(block.data(), L"\\", &fixed, &fixedSize) || !fixed || fixedSize < sizeof(VS_FIXEDFILEINFO))
        return std::nullopt;
    return *static_cast<const VS_FIXEDFILEINFO*>(fixed);
}

// The modules of the process; no value when they can't be listed. Modules that come or go between the two questions may
// be missing.
std::optional<std::vector<HMODULE>> AskForModules() {
    DWORD bytes = 0;
    if (!::EnumProcessModules(::GetCurrentProcess(), nullptr, 0, &bytes))
        return std::nullopt;
    std::vector<HMODULE> modules(bytes / sizeof(HMODULE));
    if (modules.empty() || !::EnumProcessModules(::GetCurrentProcess(), modules.data(),
                                                 static_cast<DWORD>(modules.size() * sizeof(HMODULE)), &bytes))
        return std::vector<HMODULE>{};
    modules.resize(std::min(modules.size(), std::size_t{bytes / sizeof(HMODULE)}));
    return modules;
}

std::wstring ApplicationDirectory() {
    std::wstring path = PathOf(::GetModuleHandleW(nullptr));
    path.resize(static_cast<std::size_t>(::PathFindFileNameW(path.c_str()) - path.c_str()));
    return path;
}

// Runs `body` on a thread that has a logger. Reporting fails no operation, as logging doesn't.
template <class Body>
void Report(Body&& body) noexcept {
    const base::CLastErrorKeeper lastError;
    if (!ThreadLogger())
        return;
    base::RunQuietly(body);  // out of memory: the rest of the report is lost
}

}  // namespace

void LogProcessEnvironment(const wchar_t* category) noexcept {
    Report([&] {
        constexpr auto kFunction = L"TKRuntimeLogger::LogProcessEnvironment";
        const LogSource source = SourceOf(category);
        const std::wstring executable = base::ModulePath(nullptr);
        TK_LOG(source, kInfo, kFunction, L"Current Module FileName:\t  %s", executable.c_str());
        const std::wstring folder =
            base::AskForPath([](wchar_t* buffer, DWORD size) { return ::GetCurrentDirectoryW(size, buffer); });
        TK_LOG(source, kInfo, kFunction, L"Current Working Directory: %s", folder.c_str());
        TK_LOG(source, kInfo, kFunction, L"Current Commandline:\t\t  %s", ::GetCommandLineW());

        const Machine machine = AskForMachine();
        OSVERSIONINFOEXW version{};
        version.dwOSVersionInfoSize = sizeof version;
        if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version))) {
            TK_LOG(source, kError, kFunction, L"GetVersioEx failed");  // spelt so: it is searched for
            return;
        }
        const SystemNames names = NamesOf({version.dwMajorVersion, version.dwMinorVersion, version.wProductType,
                                           version.wSuiteMask, machine.info.wProcessorArchitecture},
                                          [](int index) { return ::GetSystemMetrics(index); });
        TK_LOG(source, kInfo, kFunction, L"Current OS:                %s", names.system.c_str());
        TK_LOG(source, kInfo, kFunction, L"Current OS Architecture:   %s", names.architecture.c_str());
        TK_LOG(source, kInfo, kFunction, L"Current OS Service Pack:   %s",
               *version.szCSDVersion ? version.szCSDVersion : L"none");
        TK_LOG(source, kInfo, kFunction, L"Is Wow64 process:          %s", machine.isWow64 ? L"Yes" : L"No");
    });
}

void LogLoadedModule(HMODULE module, const wchar_t* category) noexcept {
    Report([&] {
        if (!module)
            return;
        const std::wstring path = PathOf(module);
        const auto version = VersionOf(path);
        if (!version)
            return;
        const LogSource source = SourceOf(category);
        TK_LOG(source, kInfo, L"TKRuntimeLogger::LogLoadedModule",
               L"Module: %s  (FileVersion: %d.%d.%d.%d  ProductVersion: %d.%d.%d.%d)", path.c_str(),
               HIWORD(version->dwFileVersionMS), LOWORD(version->dwFileVersionMS), HIWORD(version->dwFileVersionLS),
               LOWORD(version->dwFileVersionLS), HIWORD(version->dwProductVersionMS),
               LOWORD(version->dwProductVersionMS), HIWORD(version->dwProductVersionLS),
               LOWORD(version->dwProductVersionLS));
    });
}

void LogLoadedModules(const wchar_t* pattern, const wchar_t* category, BYTE onlyApplicationDirectory) noexcept {
    Report([&] {
        const auto modules = AskForModules();
        if (!modules) {
            const LogSource source = SourceOf(category);
            TK_LOG(source, kWarn, L"TKRuntimeLogger::LogLoadedModules", L"Could not log current modules.");
            return;
        }
        const std::wstring folder = onlyApplicationDirectory ? ApplicationDirectory() : std::wstring{};
        for (const HMODULE module : *modules) {
            const std::wstring path = PathOf(module);
            if (::_wcsnicmp(folder.c_str(), path.c_str(), folder.size()) != 0)
                continue;
            if (!pattern || ::PathMatchSpecW(::PathFindFileNameW(path.c_str()), pattern))
                LogLoadedModule(module, category);
        }
    });
}

}  // namespace TKRuntimeLogger
