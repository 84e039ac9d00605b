#include "tests/tvsource/CHost.h"

#include "diagnostics/CAutoDestructor.h"
#include "tests/support/CTempFile.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

constexpr DWORD kTimeoutMs = 60'000;

// As the run-time library takes a command line apart: a quoted word, where backslashes before a quote are doubled.
std::wstring Quote(const std::wstring& word) {
    std::wstring quoted = L"\"";
    size_t backslashes = 0;
    for (const wchar_t c : word + L'"') {
        if (c == L'"')
            quoted.append(backslashes, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        quoted += c;
    }
    return quoted;
}

CAutoHandle InheritedFile(const std::wstring& path) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    return CAutoHandle(::CreateFileW(path.c_str(), GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherit, OPEN_EXISTING, 0,
                                     nullptr));
}

std::wstring Wide(const std::string& utf8) {
    std::wstring wide(utf8.size(), L'\0');
    wide.resize(static_cast<size_t>(::MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()),
                                                          wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

HostRun RunWithDll(const std::wstring& dll, const wchar_t* command, std::vector<std::wstring> arguments) {
    arguments.insert(arguments.begin(), {command, L"--dll", BuiltFile(dll)});
    return RunHost(arguments);
}

}  // namespace

HostRun RunHostAt(const std::wstring& program, const std::vector<std::wstring>& arguments) {
    std::wstring line = Quote(program);
    for (const std::wstring& argument : arguments)
        line += L" " + Quote(argument);

    // Files, not pipes: nobody need read while the program runs.
    const CTempFile out;
    const CTempFile err;
    HostRun run{~0u, {}, {}};
    {
        const CAutoHandle outHandle = InheritedFile(out.Path());
        const CAutoHandle errHandle = InheritedFile(err.Path());
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdOutput = outHandle.Get();
        startup.hStdError = errHandle.Get();
        PROCESS_INFORMATION info{};
        // On a busy machine Wine now and then loses a process before its first instruction (ERROR_INTERNAL_ERROR).
        BOOL created = FALSE;
        for (int attempt = 0; attempt < 3 && !created; ++attempt) {
            created = ::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                       &startup, &info);
        }
        EXPECT_TRUE(created) << ::GetLastError();
        const CAutoHandle process(info.hProcess);
        const CAutoHandle thread(info.hThread);
        if (!process)
            return run;
        const DWORD waited = ::WaitForSingleObject(process.Get(), kTimeoutMs);
        EXPECT_EQ(WAIT_OBJECT_0, waited) << "the program did not end";
        if (waited != WAIT_OBJECT_0) {
            ::TerminateProcess(process.Get(), 99);
            ::WaitForSingleObject(process.Get(), kTimeoutMs);
        }
        DWORD code = 0;
        ::GetExitCodeProcess(process.Get(), &code);
        run.exitCode = code;
    }
    run.out = out.Contents();
    run.err = Wide(err.Contents());
    return run;
}

HostRun RunHost(const std::vector<std::wstring>& arguments) {
    return RunHostAt(BuiltFile(L"tvsource.exe"), arguments);
}

HostRun RunWithFilter(const wchar_t* command, std::vector<std::wstring> arguments) {
    return RunWithDll(L"TvFileSourceAsync.dll", command, std::move(arguments));
}

HostRun RunAwkward(const wchar_t* command, std::vector<std::wstring> arguments) {
    return RunWithDll(L"awkward_source.dll", command, std::move(arguments));
}

std::wstring BuiltFile(const std::wstring& name) {
    return std::filesystem::absolute(std::filesystem::path(TV_BIN_DIR) / name).make_preferred().wstring();
}

std::wstring MediaFile(const std::wstring& name) {
    return std::filesystem::absolute(std::filesystem::path(TV_TEST_MEDIA) / name).make_preferred().wstring();
}

std::string BytesOf(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << std::filesystem::path(path);
    return {std::istreambuf_iterator<char>(file), {}};
}
