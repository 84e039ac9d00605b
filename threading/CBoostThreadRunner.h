// Runs any callable that returns an integer on a thread of its own.
//
// Threads: all operations but Run are for the owning thread.
// Lifetime: the owner joins before the runner goes; destruction doesn't join.
#pragma once

#include "threading/CRunnableThread.h"

#include <boost/function.hpp>

class CBoostThreadRunner final : public IThreadRunnable {
public:
    // `name`, which a debugger shows, is not copied; null: none.
    explicit CBoostThreadRunner(const char* name) noexcept;
    CBoostThreadRunner(const CBoostThreadRunner&) = delete;
    CBoostThreadRunner& operator=(const CBoostThreadRunner&) = delete;

    // Keeps a copy of `callable` and runs it on a new thread. False: the thread couldn't be started, or there is one
    // already, whose callable stays as it is.
    [[nodiscard]] bool Start(const boost::function<int()>& callable);

    // As those of CRunnableThread.
    bool Join(DWORD timeoutMs) noexcept { return m_thread.Join(timeoutMs); }
    [[nodiscard]] bool GetExitCode(DWORD* exitCode) const noexcept { return m_thread.GetExitCode(exitCode); }
    [[nodiscard]] HANDLE GetHandle() const noexcept { return m_thread.GetHandle(); }
    [[nodiscard]] DWORD GetLastError() const noexcept { return m_thread.GetLastError(); }

    // IThreadRunnable

    // Calls the callable here and now. Throws what it throws, and boost::bad_function_call when there is none.
    int Run() override;

private:
    boost::function<int()> m_callable;
    CRunnableThread m_thread;
};
