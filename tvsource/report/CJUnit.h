// A report for CI systems, in the XML that JUnit made common: one suite for each source, one case for each command.
//
// Threads: one.
#pragma once

#include "tvsource/report/BatchReport.h"

#include <string>

namespace tvsource {

class CJUnit final {
public:
    void Add(const SourceReport& report);

    // All of it. `seconds`: how long it took together.
    [[nodiscard]] std::string Text(double seconds) const;

private:
    struct Counts {
        unsigned cases = 0, failures = 0, errors = 0;
    };
    [[nodiscard]] static std::string Attributes(const Counts& counts, double seconds);

    Counts m_counts;
    std::string m_suites;
};

}  // namespace tvsource
