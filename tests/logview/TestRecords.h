// Records for tests of what is made of them.
#pragma once

#include "logview/Records.h"

#include <string>
#include <utility>

inline constexpr ULONGLONG kTicksASecond = 10'000'000;
// 2026-11-23T03:37:26Z.
inline constexpr ULONGLONG kSomeTime = 134'398'786'460'000'000;

// All that a writer may put into a text and no output may pass on as it is.
inline const std::wstring kHostileText = std::wstring(L"a\r\nSEV: 4, MSG: b\0c", 19) +
                                         L"\x1b[31m \x85\u2028\u2029 </script><img src=x onerror=alert(1)>\"',;\t\x7f" +
                                         wchar_t{0xD800} + L" \u97F3\u58F0 \U0001F600";

inline logview::LogRecord MakeRecord(std::wstring message, LONG severity = 1) {
    return {severity, L"TvFileSourceAsync", 212, 280, L"CustomFileSource", 111, L"C::Load", std::move(message), {}};
}

inline logview::Arrival MakeArrival(std::wstring message, ULONGLONG time = kSomeTime, LONG severity = 1) {
    return {time, L"host.exe", MakeRecord(std::move(message), severity)};
}

// A report of C::SyncRead; `text`: of which step.
inline logview::ProfileRecord MakeReport(ULONGLONG count, double total, std::wstring text = {}) {
    return {0, L"PROFILE", 212, L"CustomFileSource", 258, L"C::SyncRead", std::move(text), count, 0, total / 2, total};
}

inline logview::Arrival MakeReportArrival(ULONGLONG count, double total, ULONGLONG time = kSomeTime,
                                          std::wstring text = {}) {
    return {time, L"host.exe", MakeReport(count, total, std::move(text))};
}
