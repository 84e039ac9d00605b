// The processes that write: their names, and when they end.
//
// Threads: any.  Errors: a process that may not be looked at has no name, and its end isn't seen; throws
// std::bad_alloc.
#pragma once

#include "base/CAutoDestructor.h"
#include "base/CSlimLock.h"

#include <windows.h>

#include <map>
#include <string>
#include <vector>

namespace logservice {

class CProcesses final {
public:
    // The file name of the process, without its folder; empty: not known. Asked for when it opens a channel, or when a
    // record of it has come, so that it still runs as a rule. A process that has ended keeps its name for a few
    // seconds, for its last records.
    [[nodiscard]] std::wstring NameOf(DWORD processId);

    struct End {
        DWORD processId = 0;
        ULONGLONG time = 0;  // as in logview::Arrival
    };

    // Those that have ended since the last call.
    [[nodiscard]] std::vector<End> TakeEnded();

private:
    struct Process {
        base::CAutoHandle handle;  // none: it could not be opened
        std::wstring name;
        ULONGLONG forgottenMs = 0;  // when it is forgotten, in GetTickCount64; 0: it runs
    };

    base::CSlimLock m_lock;  // guards them
    std::map<DWORD, Process> m_processes;
};

}  // namespace logservice
