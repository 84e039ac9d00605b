// Records as lines of the product's log file (diagnostics/LogLine.h), and back.
//
//   SEV: 1, CAT: TvFileSourceAsync, PID: 212, TID: 280, FILE: CustomFileSource, LINE: 111, FUNC: F, MSG: Loading: a.avi
//
// An explicit record has its third number and its flag behind the function, so that every reader of the format takes it
// for a record: "FUNC: F, EXPLICIT: 7, FLAG: 1, MSG: text".
//
// Threads: any.  Errors: std::bad_alloc, std::length_error.
#pragma once

#include "logview/Records.h"

#include <string>
#include <string_view>

namespace logview {

// The record as a line of UTF-8 that ends in CR LF. It is the line that the log file would have, but that all control
// characters, not line breaks alone, are shown as OneLine shows them.
[[nodiscard]] std::string FormatLogLine(const LogRecord& record);

// The record of a line, given without its end. A field ends where the name of the next one stands first, so only the
// message may contain what looks like a field. Pictures of line breaks stay pictures: FormatLogLine makes the same line
// again. What is no such line becomes a record of severity 1 (INFO) with all of it as its message.
[[nodiscard]] LogRecord ParseLogLine(std::string_view line);

}  // namespace logview
