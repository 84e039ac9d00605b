// What comes out of a log, as data: records, the figures of timing sites, and when and from whom they came.
//
// Texts are what the writer said, with line breaks and control characters; whoever shows them makes them harmless. A
// null text is an empty one.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <variant>

namespace logview {

// One record. `severity`: 0 DEBUG to 4 FATAL, other numbers as they came.
struct LogRecord {
    // What only ITKRuntimeLogger::LogExplicit carries. Its two leading numbers stand in `processId` and `threadId`.
    struct Explicit {
        ULONG value = 0;
        bool flag = false;
    };

    LONG severity = 0;
    std::wstring category;
    ULONG processId = 0;
    ULONG threadId = 0;
    std::wstring file;
    LONG line = 0;
    std::wstring function;
    std::wstring message;
    std::optional<Explicit> explicitValues;
};

// The accumulated figures of one timing site since its process began; durations in seconds.
struct ProfileRecord {
    LONG severity = 0;
    std::wstring category;
    ULONG processId = 0;
    std::wstring file;
    LONG line = 0;
    std::wstring function;
    std::wstring message;
    ULONGLONG count = 0;
    double firstDuration = 0;
    double maximumDuration = 0;
    double totalDuration = 0;
};

// `time`: when it came, in steps of 100 ns since 1601, UTC (a FILETIME as a number); 0: not known.
// `process`: the file name of the process, without its folder; empty: not known.
struct Arrival {
    ULONGLONG time = 0;
    std::wstring process;
    std::variant<LogRecord, ProfileRecord> record;
};

// The memory that an arrival takes, in bytes, about.
[[nodiscard]] inline std::size_t SizeOf(const Arrival& arrival) noexcept {
    const auto texts = [](const auto& record) {
        return record.category.capacity() + record.file.capacity() + record.function.capacity() +
               record.message.capacity();
    };
    return sizeof(Arrival) + sizeof(wchar_t) * (arrival.process.capacity() + std::visit(texts, arrival.record));
}

}  // namespace logview
