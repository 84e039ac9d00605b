#include "tvsource/report/HtmlPage.h"

#include "base/FormatText.h"
#include "base/Utf8Text.h"
#include "console/Markup.h"
#include "tvsource/report/OwnText.h"

namespace tvsource {

namespace {

constexpr char kRowsHere[] = "<!-- rows -->";

std::string Utf8(const wchar_t* format, double value) {
    return base::Utf8OfWide(base::FormatText(format, value));
}

// A cell that is sorted by a number; without one it is empty and comes last.
template <class Value>
std::string NumberCell(const std::optional<Value>& value, const wchar_t* format) {
    if (!value)
        return "<td class=\"number\"></td>";
    const auto number = static_cast<double>(*value);
    return "<td class=\"number\" data-key=\"" + Utf8(L"%.6f", number) + "\">" + Utf8(format, number) + "</td>";
}

std::string CaseCell(const SourceReport& report, std::string_view command) {
    for (const CaseReport& one : report.cases) {
        if (one.command == command)
            return std::string(one.passed ? "<td class=\"passed\">passed" : "<td class=\"failed\">failed") +
                   " <small>" + Utf8(L"%.2f s", one.seconds) + "</small></td>";
    }
    return "<td></td>";
}

std::string Streams(const SourceReport& report) {
    std::string text;
    for (const std::wstring& stream : report.streams)
        text += (text.empty() ? "" : "<br/>") + console::MarkupText(stream);
    return "<td>" + text + "</td>";
}

std::string Failures(const SourceReport& report) {
    std::string text;
    for (const CaseReport& one : report.cases) {
        if (!one.passed)
            text += "<p class=\"words\"><b>" + console::MarkupText(one.command) + "</b> " +
                    console::MarkupText(one.words) + "</p>";
    }
    return text;
}

}  // namespace

std::string_view PageBegin() {
    const std::string_view frame = OwnText(L"BATCHPAGE");
    return frame.substr(0, frame.find(kRowsHere));
}

std::string_view PageEnd() {
    const std::string_view frame = OwnText(L"BATCHPAGE");
    const std::size_t rows = frame.find(kRowsHere);
    return rows == frame.npos ? "" : frame.substr(rows + sizeof kRowsHere - 1);
}

std::string PageRow(const SourceReport& report) {
    const char* const result = report.HasPassed() ? "passed" : "failed";
    std::string row = "<tbody class=\"" + std::string(result) + "\"><tr><th scope=\"row\">" +
                      console::MarkupText(report.source) + "</th><td class=\"" + result + "\">" + result + "</td>";
    for (const char* command : {"info", "verify", "play"})
        row += CaseCell(report, command);
    row += NumberCell(report.duration, L"%.2f s") + Streams(report) + NumberCell(report.reads, L"%.0f") +
           NumberCell(report.bytes, L"%.0f") + NumberCell(report.longestReadMs, L"%.2f ms") + "</tr>";
    const std::string failures = Failures(report);
    if (!failures.empty() || !report.graph.empty())
        row += "<tr class=\"more\"><td colspan=\"10\">" + failures +
               (report.graph.empty() ? "" : "<details><summary>Graph</summary>" + report.graph + "</details>") +
               "</td></tr>";
    return row + "</tbody>\n";
}

}  // namespace tvsource
