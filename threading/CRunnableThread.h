// Starts a runnable on a thread of its own and joins it; can be started again after a join.
//
// Units: time-outs are milliseconds, stack sizes bytes.
// Threads: all operations are for the owning thread.
// Lifetime: destruction neither joins nor closes anything, so the owner joins first. The runnable and the name are not
// owned and must outlive the thread.
#pragma once

#include "threading/IThreadRunnable.h"

#include <windows.h>

class CRunnableThread final {
public:
    CRunnableThread() noexcept = default;
    CRunnableThread(const CRunnableThread&) = delete;
    CRunnableThread& operator=(const CRunnableThread&) = delete;

    // Stores what to run, the name that a debugger shows (null: none) and the stack size (0: the system's default), and
    // forgets everything else. Not while a thread is held.
    void Init(IThreadRunnable* runnable, const char* name, unsigned stackSize) noexcept;

    // False: a thread is held already, which is left alone, or none could be started (GetLastError says why).
    [[nodiscard]] bool Start() noexcept;

    // Waits for the thread to end and lets go of it. False: there is none, or it didn't end within `timeoutMs` and is
    // still held.
    bool Join(DWORD timeoutMs) noexcept;

    // Writes the exit code of the last thread joined, 0 before the first. False, and nothing written: a thread is held.
    [[nodiscard]] bool GetExitCode(DWORD* exitCode) const noexcept;

    // A thread is held: started and not yet joined.
    [[nodiscard]] bool IsRunning() const noexcept { return m_handle != nullptr; }

    // The thread's handle, still this object's; null when none is held.
    [[nodiscard]] HANDLE GetHandle() const noexcept { return m_handle; }

    // The system's error of the last Start or Join that failed.
    [[nodiscard]] DWORD GetLastError() const noexcept { return m_lastError; }

private:
    static unsigned __stdcall ThreadProc(void* thread);

    HANDLE m_handle = nullptr;  // no owning wrapper: by contract destruction doesn't close it
    unsigned m_threadId = 0;
    IThreadRunnable* m_runnable = nullptr;
    const char* m_name = nullptr;
    DWORD m_exitCode = 0;
    DWORD m_lastError = 0;
    unsigned m_stackSize = 0;
};
