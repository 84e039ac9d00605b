// The command line of the service.
#pragma once

#include "logview/CProfileTable.h"
#include "logview/CRecordFilter.h"

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace logservice {

struct Options {
    enum class Action { Serve, Open, Register, Unregister, Stop };

    Action action = Action::Serve;
    std::vector<std::wstring> open;  // recordings and log files to show
    logview::CRecordFilter filter;   // of the lines
    bool showsLines = true;
    logview::ProfileColumn sort = logview::ProfileColumn::Total;
    std::wstring record, profile, report, trace;  // where to; empty: not asked for
    ULONGLONG partBytes = 16u << 20;              // of a recording's part, all its files
    unsigned partCount = 20;
    std::optional<DWORD> seconds;   // until the end
    std::optional<DWORD> patience;  // seconds for an answer
};

// `words`: the command line without the program's name.  std::nullopt: help or the version was printed.
// Throws console::CCommandError: the line makes no sense; console::COutputError; std::bad_alloc.
[[nodiscard]] std::optional<Options> ParseOptions(const std::vector<std::wstring>& words);

}  // namespace logservice
