// The small texts that files about logs share.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace logview {

// The text with pictures in place of what ends or steers a line: U+2400 to U+241F and U+2421 for the control characters
// of ASCII but the tab, which stays, U+2424 for the line ends of Unicode, U+FFFD for the other control characters. A
// text without them is unchanged.
[[nodiscard]] std::wstring OneLine(std::wstring_view text);

// A field of a CSV line (RFC 4180) in UTF-8, of one line, between quotation marks where it needs them.
[[nodiscard]] std::string CsvField(std::wstring_view text);

// A FILETIME as a number, in UTC: "2026-11-23T03:37:26.1234567Z". Empty for 0 and for what is beyond all dates.
[[nodiscard]] std::string IsoTime(ULONGLONG time);

// The way back; fewer digits behind the point, or none, are understood too. 0: it isn't one.
[[nodiscard]] ULONGLONG TimeOfIso(std::string_view text);

}  // namespace logview
