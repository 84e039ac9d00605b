// One command of batch's on one source: its run in a process of its own, and what that says.
//
// Threads: RunCase any.
#pragma once

#include "tvsource/report/BatchReport.h"
#include "tvsource/report/CTurn.h"
#include "tvsource/source/CChildRunner.h"

#include <string>
#include <vector>

namespace tvsource {

struct BatchCase {
    std::string command;
    std::string ending;      // "exited", "crashed", "timeLimit", "notStarted", "interrupted"
    console::Json exitCode;  // null: it didn't end by itself
    console::Json object;    // what the command printed with --json; null: nothing
    console::Json error;     // null: it passed
    double seconds = 0;
    std::string errorOutput;  // UTF-8
};

// Runs this program's command with these options on the source. What it doesn't do in `limitMs` it has failed to do.
[[nodiscard]] BatchCase RunCase(CChildRunner& runner, const std::string& command,
                                const std::vector<std::wstring>& options, const std::wstring& source, DWORD limitMs);

// A case that failed before anything could be run.
[[nodiscard]] BatchCase CaseWithout(const std::string& command, console::Json error);

// For the reports. `source`: as it is shown to people.
[[nodiscard]] SourceReport ReportOf(const std::wstring& source, const std::vector<BatchCase>& cases);

// The lines and the object of a source's turn.
void TellCases(CTurn& turn, const std::vector<BatchCase>& cases);

}  // namespace tvsource
