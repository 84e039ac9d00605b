// What batch found out about one source, for its reports.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tvsource {

// One command's run on the source.
struct CaseReport {
    std::string command;
    bool passed = false;
    bool isError = false;  // no answer of the command's: it crashed, didn't end or didn't begin
    std::string kind;      // of a failure: the step at which it was
    std::wstring words;    // what failed
    double seconds = 0;
    std::string errorOutput;  // UTF-8
};

struct SourceReport {
    std::wstring source;
    std::vector<CaseReport> cases;
    std::optional<double> duration;                  // seconds
    std::optional<unsigned long long> reads, bytes;  // while it was played
    std::optional<double> longestReadMs;             // the same
    std::vector<std::wstring> streams;
    std::string graph;  // SVG for a page; may be empty

    [[nodiscard]] bool HasPassed() const noexcept {
        for (const CaseReport& report : cases) {
            if (!report.passed)
                return false;
        }
        return true;
    }
};

}  // namespace tvsource
