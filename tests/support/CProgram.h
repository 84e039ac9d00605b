// A program that runs beside the test, with its output in files, so that nobody need read while it runs. It may be
// ended or stopped at any point.
//
// Threads: one.  Lifetime: its end ends the program.
#pragma once

#include "base/CAutoDestructor.h"
#include "tests/support/CTempFile.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

class CProgram final {
public:
    // Where its output goes in place of the file, and what it reads: inheritable handles, or null. With `in`, which is
    // a console's, it shares this process's console; otherwise it has none.
    explicit CProgram(const std::wstring& path, const std::vector<std::wstring>& arguments = {}, HANDLE out = nullptr,
                      HANDLE in = nullptr) {
        std::wstring line = L'"' + path + L'"';
        for (const std::wstring& argument : arguments)
            line += L" \"" + argument + L'"';
        const base::CAutoHandle outFile = Inherited(m_out), errFile = Inherited(m_err);
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = in;
        startup.hStdOutput = out ? out : outFile.Get();
        startup.hStdError = errFile.Get();
        PROCESS_INFORMATION info{};
        EXPECT_TRUE(::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, in ? 0 : DETACHED_PROCESS, nullptr,
                                     nullptr, &startup, &info))
            << path << ::GetLastError();
        m_process.Reset(info.hProcess);
        m_id = info.dwProcessId;
        const base::CAutoHandle thread(info.hThread);
    }
    CProgram(const CProgram&) = delete;
    CProgram& operator=(const CProgram&) = delete;
    ~CProgram() { Kill(); }

    // From one moment to the next, without a chance to do anything.
    void Kill() {
        ::TerminateProcess(m_process.Get(), 99);
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(m_process.Get(), 60'000));
    }

    // Its exit code, once it has ended by itself; 98: it hasn't within a minute.
    [[nodiscard]] unsigned Wait() {
        DWORD code = 98;
        if (::WaitForSingleObject(m_process.Get(), 60'000) == WAIT_OBJECT_0)
            ::GetExitCodeProcess(m_process.Get(), &code);
        return code;
    }

    [[nodiscard]] bool Runs() const { return ::WaitForSingleObject(m_process.Get(), 0) == WAIT_TIMEOUT; }
    [[nodiscard]] DWORD Id() const noexcept { return m_id; }
    [[nodiscard]] HANDLE Handle() const noexcept { return m_process.Get(); }

    // What it has written so far.
    [[nodiscard]] std::string Out() const { return m_out.Contents(); }
    [[nodiscard]] std::string Err() const { return m_err.Contents(); }

private:
    static base::CAutoHandle Inherited(const CTempFile& file) {
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        return base::CAutoHandle(::CreateFileW(file.Path().c_str(), GENERIC_WRITE,
                                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherit,
                                               OPEN_EXISTING, 0, nullptr));
    }

    const CTempFile m_out, m_err;
    base::CAutoHandle m_process;
    DWORD m_id = 0;
};

// A file of the build's bin folder; with `otherBits`, of the build for the other bitness, which need not be there.
inline std::wstring BuiltProgram(const std::wstring& name, bool otherBits = false) {
    return std::filesystem::absolute(std::filesystem::path(otherBits ? TV_OTHER_BIN_DIR : TV_BIN_DIR) / name)
        .make_preferred()
        .wstring();
}
