// Arrivals for tests: each with what a test names, the rest as a filter of ours would have it.
#pragma once

#include "logview/Records.h"

#include <utility>

struct RecordOf {
    LONG severity = 1;
    std::wstring message = L"Loading: C:\\clip.avi";
    ULONG threadId = 30;
    std::wstring category = L"TvFileSourceAsync";
    std::wstring function = L"CReader::Load";
    ULONG processId = 20;
    std::wstring process = L"Player.exe";
};

[[nodiscard]] inline logview::Arrival ArrivalOf(RecordOf of) {
    return {
        132'000'000'000'000'000, of.process,
        logview::LogRecord{
            of.severity, of.category, of.processId, of.threadId, L"CustomFileSource", 1, of.function, of.message, {}}};
}

[[nodiscard]] inline logview::Arrival ProfileOf(std::wstring function) {
    return {132'000'000'000'000'000, L"Player.exe",
            logview::ProfileRecord{0, L"PROFILE", 20, L"CustomFileSource", 1, std::move(function), L"", 12, 0, 0.0015,
                                   0.25}};
}
