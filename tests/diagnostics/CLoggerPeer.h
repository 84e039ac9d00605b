// Another process with a logging service in it, or with a writer: the program logger_peer, for as long as this lives.
//
//   CLoggerPeer peer(L"serve");  // published by now
//
// "serve" counts records and answers the question "count" with their number. It obeys the messages "slow", which takes
// it 1.2 s, and "die", also as a question. "serve-channel" also offers a channel. It answers "wrong" with the number of
// records that came out of order or were lost, if the n-th of each thread has line n, and "channels" with that of its
// channels. "write N T" writes N records from each of T threads, is ready then, and ends without another word. "wait"
// does nothing.
#pragma once

#include "base/CAutoDestructor.h"
#include "tests/support/Await.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

class CLoggerPeer final {
public:
    explicit CLoggerPeer(const std::wstring& command) {
        static int started = 0;
        const DWORD self = ::GetCurrentProcessId();
        const std::wstring event = L"logger_peer-" + std::to_wstring(self) + L"-" + std::to_wstring(++started);
        const base::CAutoHandle ready(::CreateEventW(nullptr, TRUE, FALSE, event.c_str()));
        const auto program = std::filesystem::absolute(TV_BIN_DIR "/logger_peer.exe").make_preferred().wstring();
        std::wstring line = L'"' + program + L"\" " + std::to_wstring(self) + L' ' + event + L' ' + command;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION info{};
        EXPECT_TRUE(::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr,
                                     nullptr, &startup, &info));
        base::CAutoHandle(info.hThread).Reset();
        m_process.Reset(info.hProcess);
        const HANDLE handles[] = {ready.Get(), m_process.Get()};
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForMultipleObjects(2, handles, FALSE, kLongMs)) << "it isn't ready";
    }
    CLoggerPeer(const CLoggerPeer&) = delete;
    CLoggerPeer& operator=(const CLoggerPeer&) = delete;
    ~CLoggerPeer() { Kill(); }

    [[nodiscard]] DWORD Id() const { return ::GetProcessId(m_process.Get()); }

    void Kill() {
        ::TerminateProcess(m_process.Get(), 1);
        AwaitEnd();
    }
    // Its exit code.
    DWORD AwaitEnd() {
        DWORD code = 0;
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(m_process.Get(), kLongMs));
        ::GetExitCodeProcess(m_process.Get(), &code);
        return code;
    }
    // Stops all its threads.
    void Freeze() { Control("NtSuspendProcess"); }
    void Thaw() { Control("NtResumeProcess"); }

private:
    void Control(const char* function) {
        using Function = LONG(WINAPI*)(HANDLE);
        const auto call = reinterpret_cast<Function>(
            reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll"), function)));
        EXPECT_EQ(0, call(m_process.Get()));
    }

    base::CAutoHandle m_process;
};
