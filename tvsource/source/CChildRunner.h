// Runs other programs to their end, or ends them: none is left behind, however this process ends, if the system lets it
// put them into a job.
//
// Children have no console, so that an interrupt reaches this process alone, and show no box when they crash.
//
// Threads: any for Run, several at once.  Units: milliseconds, bytes.
#pragma once

#include "base/CAutoDestructor.h"
#include "base/CSlimLock.h"

#include <windows.h>

#include <string>
#include <vector>

namespace tvsource {

struct ChildRun {
    enum class Ending {
        Exited,
        TimeLimit,    // it was ended
        Interrupted,  // the same, because the event was signalled
        NotStarted,
    };
    Ending ending = Ending::NotStarted;
    DWORD exitCode = 0;    // with Exited; of a crash, the exception's code
    DWORD startError = 0;  // the system's, with NotStarted
    double seconds = 0;
    std::string out, err;  // the first bytes of what it wrote; more than the runner keeps is lost
};

class CChildRunner final {
public:
    static constexpr std::size_t kMostOut = 1 << 20, kMostErr = 1 << 14;

    // `interrupt`: an event that ends all that run. It must outlive this object.  Throws CCommandError.
    explicit CChildRunner(HANDLE interrupt);

    // `words`: the path of the program, and its arguments, which may be any text.
    [[nodiscard]] ChildRun Run(const std::vector<std::wstring>& words, DWORD limitMs);

private:
    const HANDLE m_interrupt;
    base::CAutoHandle m_job;  // which the system ends with its last handle, and all processes in it
    base::CSlimLock m_start;  // of two at once, one would inherit what is meant for the other
};

// The words as one line that a program takes apart into the same words again.
[[nodiscard]] std::wstring CommandLineOf(const std::vector<std::wstring>& words);

}  // namespace tvsource
