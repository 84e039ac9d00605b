// The profile table for people and for programs.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include "logview/CProfileTable.h"

#include <string>
#include <string_view>
#include <vector>

namespace logview {

// What whoever reads such figures should know.
inline constexpr std::wstring_view kProfileNote =
    L"Rows that are set in are steps within the row above. "
    L"Outer rows contain the time of inner ones, and what reporting these cost.";

// "1.234 ms": three places, in s, ms or µs.
[[nodiscard]] std::wstring DurationText(double seconds);

// The rows as a table of lines, each ended by a line break, with a head and, where there are inner rows, the note. The
// figures are always whole; where the rest doesn't fit into `width` characters, the category goes first, then the file
// and the process, and then the ends of the sites are cut off. Empty without rows. `leftOut`: CProfileTable::LeftOut;
// unless it is 0, a line says so.
[[nodiscard]] std::wstring ProfileText(const std::vector<ProfileRow>& rows, std::size_t width, ULONGLONG leftOut = 0);

// The rows as CSV (RFC 4180, UTF-8, with a head; durations in seconds). One row is one line. Unless `leftOut` is 0, a
// last line without a process number and figures says so.
[[nodiscard]] std::string ProfileCsv(const std::vector<ProfileRow>& rows, ULONGLONG leftOut = 0);

}  // namespace logview
