// The filter's log records as texts that a test can compare whole.
#pragma once

#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// A record of the filter: its severity, function and message. Category and file are the same for all.
inline std::wstring Line(LONG severity, const std::wstring& function, const std::wstring& message) {
    return std::to_wstring(severity) + L" TvFileSourceAsync CustomFileSource " + function + L": " + message;
}

// The records so far, in order; any category and file.
inline std::vector<std::wstring> Lines(const CPublishedLogger& logger) {
    std::vector<std::wstring> lines;
    for (const LoggedRecord& record : logger->Records()) {
        EXPECT_EQ(::GetCurrentProcessId(), record.processId);
        EXPECT_LT(0, record.line);
        lines.push_back(std::to_wstring(record.severity) + L" " + record.category + L" " + record.file + L" " +
                        record.function + L": " + record.message);
    }
    return lines;
}
