// The processes that write: their names, and when they end.
//
// Threads: one.  Errors: a process that may not be looked at has no name, and its end isn't seen; throws
// std::bad_alloc.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <map>
#include <string>
#include <vector>

namespace logservice {

class CProcesses final {
public:
    // The file name of the process, without its folder; empty: not known. Asked for when a record of it has come, so
    // that it still runs as a rule. A number that has gone to another process since names that one.
    [[nodiscard]] const std::wstring& NameOf(DWORD processId);

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
    };

    // Numbers come from writers, who may make them up.
    static constexpr std::size_t kMostUnknown = 1000;

    std::map<DWORD, Process> m_processes;
    std::size_t m_unknown = 0;  // those without a handle
};

}  // namespace logservice
