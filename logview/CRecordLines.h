// Records as lines for people, one line each whatever is in it:
//
//   03:37:26.123  ERROR  player.exe 1234/5678  TvFileSourceAsync  CReader::Open  ERROR: hr=0x80070002 (...)
//   03:37:26.124  ERROR  player.exe 1234/5678  TvFileSourceAsync  CReader::Open  └ CReader::Open failed on exit scope
//
// Local time, severity, process with its id and the thread's, category, function, message. "-" is what isn't known. A
// record that was logged with numbers in place of process and thread has these, its third number and its flag there:
// "numbers 17, 4, 99, flag true". The figures of a timing site have count and durations behind the function.
//
// The line with which a function ends is marked as one with the failed call of the same thread before it. Where other
// lines have come in between, it has the time of that one: "└ [03:37:26.123] CReader::Open failed on exit scope: ...".
//
// Threads: one at a time.  Errors: std::bad_alloc.
#pragma once

#include "console/CTerminal.h"
#include "logview/Records.h"

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace logview {

class CRecordLines final {
public:
    struct Style {
        std::optional<ULONG> ownProcess = {};             // whose records have no process, but the thread alone
        std::size_t mostCharacters = std::wstring::npos;  // of one text; of what is longer, the rest is counted
    };

    explicit CRecordLines(Style style) : m_style(style) {}

    // The line of the next arrival that is shown.
    [[nodiscard]] console::TintedLine Next(const Arrival& arrival);

    // Says that a line of another kind has come in between.
    void Interrupt() noexcept { ++m_count; }

private:
    using Thread = std::pair<ULONG, ULONG>;  // ids of process and thread
    struct FailedCall {
        ULONGLONG line = 0;  // the last one of its group
        std::wstring time;
    };

    std::wstring Shown(std::wstring_view text) const;
    std::wstring SourceOf(const Arrival& arrival) const;
    std::wstring GroupMark(const LogRecord& record, const std::wstring& time);

    const Style m_style;
    ULONGLONG m_count = 0;  // of lines
    std::map<Thread, FailedCall> m_failed;
};

// "03:37:26.123": the local time of day.
[[nodiscard]] std::wstring ClockText(ULONGLONG time);

// "ERROR", or the number.
[[nodiscard]] std::wstring SeverityText(LONG severity);

}  // namespace logview
