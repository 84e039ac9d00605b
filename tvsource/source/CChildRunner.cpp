#include "tvsource/source/CChildRunner.h"

#include "console/CCommandError.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <mutex>

namespace tvsource {

namespace {

using Clock = std::chrono::steady_clock;

// What is written is taken out of the pipes as often as this, and when the process has ended. Until then a program that
// writes more than a pipe holds waits.
constexpr DWORD kLookMs = 50;
constexpr DWORD kPipeBytes = 0x40000;

// A pipe whose writing end is inherited by the process that is made next.
struct Pipe {
    Pipe() {
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        if (::CreatePipe(reader.Put(), writer.Put(), &inherit, kPipeBytes))
            ::SetHandleInformation(reader.Get(), HANDLE_FLAG_INHERIT, 0);
    }

    // What is there, up to `most` bytes in `text`; the rest is dropped. Never waits, and ends also where the other side
    // writes on and on.
    void TakeTo(std::string& text, std::size_t most) const {
        std::array<char, 4096> bytes;
        DWORD there = 0, got = 0;
        for (std::size_t blocks = 4 * kPipeBytes / bytes.size();
             blocks > 0 && ::PeekNamedPipe(reader.Get(), nullptr, 0, nullptr, &there, nullptr) && there > 0 &&
             ::ReadFile(reader.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr) && got > 0;
             --blocks)
            text.append(bytes.data(), std::min<std::size_t>(got, most - text.size()));
    }

    base::CAutoHandle reader, writer;
};

void Append(std::wstring& line, const std::wstring& word) {
    line += line.empty() ? L"\"" : L" \"";
    std::size_t slashes = 0;
    for (const wchar_t c : word) {
        // Backslashes have a meaning before a quotation mark only.
        if (c == L'"')
            line.append(slashes + 1, L'\\');
        slashes = c == L'\\' ? slashes + 1 : 0;
        line += c;
    }
    line.append(slashes, L'\\');
    line += L'"';
}

}  // namespace

std::wstring CommandLineOf(const std::vector<std::wstring>& words) {
    std::wstring line;
    for (const std::wstring& word : words)
        Append(line, word);
    return line;
}

CChildRunner::CChildRunner(HANDLE interrupt) : m_interrupt(interrupt), m_job(::CreateJobObjectW(nullptr, nullptr)) {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!m_job || !::SetInformationJobObject(m_job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof limits))
        throw console::CCommandError(L"Cannot create a job for processes", HRESULT_FROM_WIN32(::GetLastError()));
    // Children inherit it: one that crashes ends, and no box waits for somebody.
    ::SetErrorMode(::GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

ChildRun CChildRunner::Run(const std::vector<std::wstring>& words, DWORD limitMs) {
    ChildRun run;
    const auto begin = Clock::now();
    std::unique_lock lock(m_start);
    Pipe out, err;
    std::wstring line = CommandLineOf(words);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = out.writer.Get();
    startup.hStdError = err.writer.Get();
    PROCESS_INFORMATION info{};
    if (!out.writer || !err.writer ||
        !::CreateProcessW(words.front().c_str(), line.data(), nullptr, nullptr, TRUE,
                          DETACHED_PROCESS | CREATE_SUSPENDED, nullptr, nullptr, &startup, &info)) {
        run.startError = ::GetLastError();
        return run;
    }
    const base::CAutoHandle process(info.hProcess), thread(info.hThread);
    out.writer.Reset();
    err.writer.Reset();
    lock.unlock();
    // Where this process is in a job that takes no other, its end in order still ends the child.
    static_cast<void>(::AssignProcessToJobObject(m_job.Get(), process.Get()));
    ::ResumeThread(thread.Get());

    const HANDLE handles[] = {process.Get(), m_interrupt};
    const auto limit = begin + std::chrono::milliseconds(limitMs);
    DWORD woken = WAIT_TIMEOUT;
    while (woken == WAIT_TIMEOUT && Clock::now() < limit) {
        woken = ::WaitForMultipleObjects(2, handles, FALSE, kLookMs);
        out.TakeTo(run.out, kMostOut);
        err.TakeTo(run.err, kMostErr);
    }
    if (woken == WAIT_OBJECT_0) {
        run.ending = ChildRun::Ending::Exited;
        ::GetExitCodeProcess(process.Get(), &run.exitCode);
    } else {
        run.ending = woken == WAIT_OBJECT_0 + 1 ? ChildRun::Ending::Interrupted : ChildRun::Ending::TimeLimit;
        ::TerminateProcess(process.Get(), 1);
        // What it was writing to is free then.
        constexpr DWORD kEndMs = 5000;
        ::WaitForSingleObject(process.Get(), kEndMs);
    }
    run.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    return run;
}

}  // namespace tvsource
