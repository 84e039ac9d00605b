// Runs tvsource.exe as a child process, and says where the files are that it works on.
#pragma once

#include <string>
#include <vector>

struct HostRun {
    unsigned exitCode;
    std::string out;  // as written, byte by byte
    std::wstring err;
};

// Runs the program of the build with these arguments to its end. A program that is not done after a minute is ended,
// and the test fails.
[[nodiscard]] HostRun RunHost(const std::vector<std::wstring>& arguments);
[[nodiscard]] HostRun RunHostAt(const std::wstring& program, const std::vector<std::wstring>& arguments);

// The same command with the filter DLL of the build, which need not be registered.
[[nodiscard]] HostRun RunWithFilter(const wchar_t* command, std::vector<std::wstring> arguments);

// The same with the DLL whose sources misbehave.
[[nodiscard]] HostRun RunAwkward(const wchar_t* command, std::vector<std::wstring> arguments);

// A file of the build's bin folder, and one of the media folder, as Windows names them.
[[nodiscard]] std::wstring BuiltFile(const std::wstring& name);
[[nodiscard]] std::wstring MediaFile(const std::wstring& name);

[[nodiscard]] std::string BytesOf(const std::wstring& path);
