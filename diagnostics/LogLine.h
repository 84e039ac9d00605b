// A record as the log file has it: one line of UTF-8 that ends in CR LF.
//
//   SEV: %d, CAT: %s, PID: %d, TID: %d, FILE: %s, LINE: %d, FUNC: %s, MSG: %s
//
// Null texts are empty. A carriage return or line feed within a text is shown as its control picture (U+240D, U+240A),
// so that one record stays one line and nothing in a name can pass for another record. Half of a surrogate pair becomes
// U+FFFD.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <string>

namespace TKRuntimeLogger {

[[nodiscard]] std::string LogLine(int severity, const wchar_t* category, int processId, int threadId,
                                  const wchar_t* file, int line, const wchar_t* function, const wchar_t* message);

}  // namespace TKRuntimeLogger
