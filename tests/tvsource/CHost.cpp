#include "tests/tvsource/CHost.h"

#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <wrl/client.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

std::wstring FileIn(const char* folder, const std::wstring& name) {
    return std::filesystem::absolute(std::filesystem::path(folder) / name).make_preferred().wstring();
}

// No argument ends in a backslash or has one before a quotation mark.
std::wstring Quoted(std::wstring argument) {
    for (auto at = argument.find(L'"'); at != argument.npos; at = argument.find(L'"', at + 2))
        argument.insert(at, 1, L'\\');
    return argument;
}

}  // namespace

CPipe::CPipe() {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    EXPECT_TRUE(::CreatePipe(reader.Put(), writer.Put(), &inherit, 0));
    ::SetHandleInformation(reader.Get(), HANDLE_FLAG_INHERIT, 0);
}

base::CAutoHandle OpenInherited(const std::wstring& path, DWORD access) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    return base::CAutoHandle(::CreateFileW(path.c_str(), access, kShareAll, &inherit, OPEN_EXISTING, 0, nullptr));
}

HostRun RunHost(const std::vector<std::wstring>& arguments, const std::wstring& program,
                const std::function<void()>& meanwhile, HostHandles handles) {
    std::wstring line = L'"' + program + L'"';
    for (const std::wstring& argument : arguments)
        line += L" \"" + Quoted(argument) + L'"';
    // Files, not pipes: nobody need read while the program runs.
    const CTempFile out, err;
    const base::CAutoHandle outHandle = OpenInherited(out.Path(), GENERIC_WRITE);
    const base::CAutoHandle errHandle = OpenInherited(err.Path(), GENERIC_WRITE);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = handles.in;
    startup.hStdOutput = handles.out ? handles.out : outHandle.Get();
    startup.hStdError = handles.err ? handles.err : errHandle.Get();
    PROCESS_INFORMATION info{};
    // A program that gets a new console, having none to share, keeps its current folder in use beyond its end.
    const DWORD flags = meanwhile ? 0 : DETACHED_PROCESS;
    // Where addresses can't be kept from being random, Wine now and then loses a process before its first instruction
    // (ERROR_INTERNAL_ERROR).
    BOOL created = FALSE;
    for (int attempt = 0; attempt < 3 && !created; ++attempt)
        created =
            ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr, &startup, &info);
    EXPECT_TRUE(created) << ::GetLastError();
    const base::CAutoHandle process(info.hProcess), thread(info.hThread);
    if (created && meanwhile)
        meanwhile();
    DWORD exitCode = ~0u;
    if (::WaitForSingleObject(process.Get(), 60'000) == WAIT_TIMEOUT)
        ::TerminateProcess(process.Get(), 99);
    ::GetExitCodeProcess(process.Get(), &exitCode);
    return {exitCode, out.Contents(), err.Contents()};
}

HostRun RunWithFilter(const wchar_t* command, std::vector<std::wstring> arguments, const wchar_t* dll) {
    arguments.insert(arguments.begin(), {command, L"--dll", BuiltFile(dll)});
    return RunHost(arguments);
}

void ExpectRun(const HostRun& run, unsigned exitCode, std::initializer_list<std::string> texts) {
    EXPECT_EQ(exitCode, run.exitCode) << run.err;
    const std::string& output = exitCode == 0 ? run.out : run.err;
    EXPECT_TRUE(exitCode != 2 || (run.out.empty() && !run.err.empty())) << run.out;
    for (const std::string& text : texts)
        EXPECT_NE(std::string::npos, output.find(text)) << text << "\nis not in\n" << output;
}

std::wstring BuiltFile(const std::wstring& name) {
    return FileIn(TV_BIN_DIR, name);
}

std::wstring DocumentFile(const std::wstring& name) {
    return FileIn(TV_TEST_MEDIA "/../../docs", name);
}

std::wstring MediaFile(const std::wstring& name) {
    return FileIn(TV_TEST_MEDIA, name);
}

std::string BytesOf(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << std::filesystem::path(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool HasParsers() {
    constexpr GUID kWaveParser = {0xD51BD5A1, 0x7548, 0x11CF, {0xA5, 0x20, 0x00, 0x80, 0xC7, 0x7E, 0xF5, 0x8A}};
    const CTestApartment apartment(COINIT_MULTITHREADED);
    Microsoft::WRL::ComPtr<IUnknown> parser;
    return SUCCEEDED(::CoCreateInstance(kWaveParser, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&parser)));
}

std::string LongSound() {
    std::string sound;
    while (sound.size() < 2'000'000)
        sound += BytesOf(MediaFile(L"tone.mp3"));
    return sound;
}

std::string ClipWithLateIndex() {
    std::string clip = BytesOf(MediaFile(L"clip.avi")), junk("JUNK\xE0\x93\x04\0", 8);
    junk.resize(300'008);
    return clip.insert(clip.rfind("LIST", clip.find("movi")), junk);
}

std::string Utf8(const std::wstring& text) {
    const std::u8string utf8 = std::filesystem::path(text).u8string();
    return {utf8.begin(), utf8.end()};
}
