// The files of a recording. It is a folder of numbered parts, each of up to three files whose lines are UTF-8 that ends
// in CR LF:
//
//   log-00001.log       records in the form of the log file (LogLines.h)
//   log-00001.times     for each of these lines: when it came (IsoTime), a tab, and the name of its process
//   log-00001.profiles  reports of timing sites: the fields of ProfileLine
//
// Beside them stand profile.csv and sessions.csv, which are written anew from time to time.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include "logview/Records.h"

#include <string>
#include <string_view>
#include <vector>

namespace logview {

inline constexpr wchar_t kLogSuffix[] = L".log";
inline constexpr wchar_t kTimesSuffix[] = L".times";
inline constexpr wchar_t kProfilesSuffix[] = L".profiles";
inline constexpr wchar_t kProfileTable[] = L"profile.csv";
inline constexpr wchar_t kSessionsTable[] = L"sessions.csv";
inline constexpr ULONG kMostParts = 999'999'999;

// "log-00001", five digits at least.
[[nodiscard]] std::wstring PartName(ULONG number);

// The numbers of the parts of which the folder has a file, ascending. Files of other names are none.
[[nodiscard]] std::vector<ULONG> PartNumbers(const std::wstring& folder);

// "TIME\tPROCESS", with its end, and the way back, from a line without its end: what isn't known stays as it is in
// `arrival`.
[[nodiscard]] std::string TimesLine(const Arrival& arrival);
void ParseTimesLine(std::string_view line, Arrival& arrival);

// A line of CSV: time, process, process id, severity, category, file, line, function, text, count, and in seconds
// first, longest and total duration. The numbers are exact. The way back gives nothing for what is no such line.
[[nodiscard]] std::string ProfileLine(const Arrival& arrival, const ProfileRecord& report);
[[nodiscard]] std::optional<Arrival> ParseProfileLine(std::string_view line);

// When a process ended, of a line of sessions.csv (CSessions::Csv); nothing: it hadn't, or it is no such line.
struct ProcessEnd {
    ULONG processId = 0;
    ULONGLONG time = 0;
};
[[nodiscard]] std::optional<ProcessEnd> ParseSessionEnd(std::string_view line);

}  // namespace logview
