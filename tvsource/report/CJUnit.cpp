#include "tvsource/report/CJUnit.h"

#include "base/FormatText.h"
#include "base/Utf8Text.h"
#include "console/Markup.h"

namespace tvsource {

namespace {

std::string CaseText(const CaseReport& report, const std::string& source) {
    std::string text = "    <testcase classname=\"" + source + "\" name=\"" + console::MarkupText(report.command) +
                       "\" time=\"" + base::Utf8OfWide(base::FormatText(L"%.3f", report.seconds)) + "\">\n";
    if (!report.passed) {
        const std::string kind = report.isError ? "error" : "failure", words = console::MarkupText(report.words);
        text += "      <" + kind + " type=\"" + console::MarkupText(report.kind) + "\" message=\"" + words + "\">" +
                words + "</" + kind + ">\n";
    }
    if (!report.errorOutput.empty())
        text += "      <system-err>" + console::MarkupText(report.errorOutput) + "</system-err>\n";
    return text + "    </testcase>\n";
}

}  // namespace

std::string CJUnit::Attributes(const Counts& counts, double seconds) {
    return base::Utf8OfWide(base::FormatText(L" tests=\"%u\" failures=\"%u\" errors=\"%u\" time=\"%.3f\">\n",
                                             counts.cases, counts.failures, counts.errors, seconds));
}

void CJUnit::Add(const SourceReport& report) {
    const std::string source = console::MarkupText(report.source);
    Counts counts;
    double seconds = 0;
    std::string cases;
    for (const CaseReport& one : report.cases) {
        ++counts.cases;
        counts.failures += !one.passed && !one.isError;
        counts.errors += !one.passed && one.isError;
        seconds += one.seconds;
        cases += CaseText(one, source);
    }
    m_counts.cases += counts.cases;
    m_counts.failures += counts.failures;
    m_counts.errors += counts.errors;
    m_suites += "  <testsuite name=\"" + source + "\"" + Attributes(counts, seconds) + cases + "  </testsuite>\n";
}

std::string CJUnit::Text(double seconds) const {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"tvsource batch\"" +
           Attributes(m_counts, seconds) + m_suites + "</testsuites>\n";
}

}  // namespace tvsource
