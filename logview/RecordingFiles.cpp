#include "logview/RecordingFiles.h"

#include "base/CAutoDestructor.h"
#include "base/FormatText.h"
#include "base/LongPath.h"
#include "base/Utf8Text.h"
#include "logview/LogTexts.h"

#include <algorithm>
#include <charconv>

namespace logview {

namespace {

constexpr std::wstring_view kPrefix = L"log-";

// The number of the part that a file of this name belongs to; 0: it is no file of a recording.
ULONG PartOf(std::wstring_view name) {
    const std::size_t digits = std::min(name.find(L'.'), name.size());
    if (!name.starts_with(kPrefix) || digits < kPrefix.size() + 5 || digits > kPrefix.size() + 9)
        return 0;
    const std::wstring_view suffix = name.substr(digits);
    if (suffix != kLogSuffix && suffix != kTimesSuffix && suffix != kProfilesSuffix)
        return 0;
    ULONG number = 0;
    for (const wchar_t digit : name.substr(kPrefix.size(), digits - kPrefix.size())) {
        if (digit < L'0' || digit > L'9')
            return 0;
        number = number * 10 + (digit - L'0');
    }
    return PartName(number).size() == digits ? number : 0;
}

std::string Exact(double value) {
    char text[32]{};
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

// The fields of a line of CSV.
std::vector<std::string> Fields(std::string_view line) {
    std::vector<std::string> fields(1);
    bool isQuoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '"' && isQuoted && i + 1 < line.size() && line[i + 1] == '"')
            fields.back() += line[i++];
        else if (line[i] == '"')
            isQuoted = !isQuoted;
        else if (line[i] == ',' && !isQuoted)
            fields.emplace_back();
        else
            fields.back() += line[i];
    }
    return fields;
}

template <class Number>
bool Parse(const std::string& field, Number& number) noexcept {
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
    return error == std::errc() && end == field.data() + field.size();
}

}  // namespace

std::wstring PartName(ULONG number) {
    return base::FormatText(L"log-%05u", number);
}

std::vector<ULONG> PartNumbers(const std::wstring& folder) {
    std::vector<ULONG> numbers;
    WIN32_FIND_DATAW found{};
    const base::CAutoFind search(
        ::FindFirstFileW(base::OpenablePath(base::FullPathOf(folder + L"\\log-*")).c_str(), &found));
    for (BOOL more = static_cast<bool>(search); more; more = ::FindNextFileW(search.Get(), &found)) {
        if (const ULONG number = PartOf(found.cFileName); number != 0)
            numbers.push_back(number);
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

std::string TimesLine(const Arrival& arrival) {
    return IsoTime(arrival.time) + "\t" + base::Utf8OfWide(OneLine(arrival.process)) + "\r\n";
}

void ParseTimesLine(std::string_view line, Arrival& arrival) {
    const std::size_t tab = line.find('\t');
    arrival.time = TimeOfIso(line.substr(0, tab));
    if (tab != line.npos)
        arrival.process = base::WideOfUtf8(line.substr(tab + 1));
}

std::string ProfileLine(const Arrival& arrival, const ProfileRecord& report) {
    return IsoTime(arrival.time) + "," + CsvField(arrival.process) + "," + std::to_string(report.processId) + "," +
           std::to_string(report.severity) + "," + CsvField(report.category) + "," + CsvField(report.file) + "," +
           std::to_string(report.line) + "," + CsvField(report.function) + "," + CsvField(report.message) + "," +
           std::to_string(report.count) + "," + Exact(report.firstDuration) + "," + Exact(report.maximumDuration) +
           "," + Exact(report.totalDuration) + "\r\n";
}

std::optional<Arrival> ParseProfileLine(std::string_view line) {
    const std::vector<std::string> fields = Fields(line);
    ProfileRecord report;
    if (fields.size() != 13 || !Parse(fields[2], report.processId) || !Parse(fields[3], report.severity) ||
        !Parse(fields[6], report.line) || !Parse(fields[9], report.count) || !Parse(fields[10], report.firstDuration) ||
        !Parse(fields[11], report.maximumDuration) || !Parse(fields[12], report.totalDuration))
        return std::nullopt;
    report.category = base::WideOfUtf8(fields[4]);
    report.file = base::WideOfUtf8(fields[5]);
    report.function = base::WideOfUtf8(fields[7]);
    report.message = base::WideOfUtf8(fields[8]);
    return Arrival{TimeOfIso(fields[0]), base::WideOfUtf8(fields[1]), std::move(report)};
}

std::optional<ProcessEnd> ParseSessionEnd(std::string_view line) {
    const std::vector<std::string> fields = Fields(line);
    ProcessEnd end;
    if (fields.size() < 5 || !Parse(fields[0], end.processId))
        return std::nullopt;
    end.time = TimeOfIso(fields[4]);
    return end.time == 0 ? std::nullopt : std::optional(end);
}

}  // namespace logview
