#include "logview/ProfileText.h"

#include "base/FormatText.h"
#include "base/Utf8Text.h"
#include "console/Text.h"
#include "logview/LogTexts.h"

#include <algorithm>
#include <array>

namespace logview {

namespace {

using base::FormatText;

constexpr std::wstring_view kGap = L"  ";
constexpr std::size_t kLeastSite = 24;   // characters of a site that are worth more than another column
constexpr std::size_t kMostWidth = 100;  // so that one row with an endless name doesn't cost all others their columns

// How many columns of a terminal a character takes: two for those of East Asia. Each half of a surrogate pair counts as
// one, so that most of what is outside the basic plane counts as wide.
std::size_t WidthOf(wchar_t c) noexcept {
    constexpr struct {
        wchar_t first, last;
    } kWide[] = {{0x1100, 0x115F}, {0x2E80, 0xA4CF}, {0xAC00, 0xD7A3}, {0xF900, 0xFAFF},
                 {0xFE30, 0xFE6F}, {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}};
    return std::any_of(std::begin(kWide), std::end(kWide),
                       [c](auto& range) { return c >= range.first && c <= range.last; })
               ? 2
               : 1;
}

std::size_t WidthOf(std::wstring_view text) noexcept {
    std::size_t width = 0;
    for (const wchar_t c : text)
        width += WidthOf(c);
    return width;
}

// The text, ended by an ellipsis where it is wider than `width`.
std::wstring Cut(const std::wstring& text, std::size_t width) {
    if (WidthOf(text) <= width)
        return text;
    std::size_t used = 1, length = 0;
    while (length < text.size() && used + WidthOf(text[length]) <= width)
        used += WidthOf(text[length++]);
    if (length > 0 && base::IsHighSurrogate(text[length - 1]))
        --length;
    return width == 0 ? std::wstring() : text.substr(0, length) + L'\u2026';
}

enum Column { Count, Rate, Mean, Longest, Total, Share, Site, Process, File, Category, Columns };
using Line = std::array<std::wstring, Columns>;

const Line kHead = {L"calls", L"calls/s", L"mean",    L"longest", L"total",
                    L"share", L"site",    L"process", L"file",    L"category"};

Line LineOf(const ProfileRow& row) {
    const std::wstring text = row.text.empty() ? row.text : L": " + row.text;
    return {std::to_wstring(row.count),
            row.callsASecond ? FormatText(L"%.1f", *row.callsASecond) : L"",
            DurationText(row.mean),
            DurationText(row.longest),
            DurationText(row.total),
            FormatText(L"%.1f%%", row.share * 100),
            (row.isInner ? L"  " : L"") + console::Printable(row.function + text),
            console::Printable(row.process) + FormatText(L"(%u)", row.processId),
            console::Printable(row.file) + FormatText(L":%d", row.line),
            console::Printable(row.category)};
}

void Append(std::wstring& text, const Line& line, const std::array<std::size_t, Columns>& widths) {
    std::wstring made;
    for (std::size_t column = 0; column < Columns; ++column) {
        if (widths[column] == 0)
            continue;
        const std::wstring cell = Cut(line[column], widths[column]);
        const std::wstring blanks(widths[column] - std::min(WidthOf(cell), widths[column]), L' ');
        made.append(made.empty() ? L"" : kGap).append(column < Site ? blanks + cell : cell + blanks);
    }
    text.append(made, 0, made.find_last_not_of(L' ') + 1) += L'\n';
}

// The widths of the columns that stay.
std::array<std::size_t, Columns> Widths(const std::vector<Line>& lines, std::size_t width) {
    std::array<std::size_t, Columns> widths{};
    std::size_t all = 0;
    for (std::size_t column = 0; column < Columns; ++column) {
        for (const Line& line : lines)
            widths[column] = std::max(widths[column], std::min(WidthOf(line[column]), kMostWidth));
        all += widths[column] + (column > 0 ? kGap.size() : 0);
    }
    const std::size_t leastSite = std::min(widths[Site], kLeastSite);
    for (const Column column : {Category, File, Process}) {
        if (all <= width + widths[Site] - leastSite)
            break;
        all -= widths[column] + kGap.size();
        widths[column] = 0;
    }
    if (all > width)
        widths[Site] -= std::min(all - width, widths[Site]);
    return widths;
}

// The words in lines that fit.
void AppendWords(std::wstring& text, std::wstring_view words, std::size_t width) {
    while (!words.empty()) {
        std::size_t end = words.size();
        if (end > width) {
            const std::size_t blank = words.rfind(L' ', width);
            end = blank == words.npos || blank == 0 ? std::max<std::size_t>(width, 1) : blank;
        }
        text.append(words.substr(0, end)) += L'\n';
        words.remove_prefix(std::min(words.find_first_not_of(L' ', end), words.size()));
    }
}

std::wstring LeftOutText(ULONGLONG leftOut) {
    return FormatText(L"(%I64u rows without a report for longest are left out)", leftOut);
}

std::string Number(double value, const wchar_t* format) {
    return base::Utf8OfWide(FormatText(format, value));
}

}  // namespace

std::wstring DurationText(double seconds) {
    if (seconds >= 1 || seconds == 0)
        return FormatText(seconds < 1e6 ? L"%.3f s" : L"%.3e s", seconds);
    return seconds >= 1e-3 ? FormatText(L"%.3f ms", seconds * 1e3) : FormatText(L"%.3f \u00B5s", seconds * 1e6);
}

std::wstring ProfileText(const std::vector<ProfileRow>& rows, std::size_t width, ULONGLONG leftOut) {
    if (rows.empty())
        return {};
    std::vector<Line> lines = {kHead};
    for (const ProfileRow& row : rows)
        lines.push_back(LineOf(row));
    const std::array<std::size_t, Columns> widths = Widths(lines, width);
    std::wstring text;
    for (const Line& line : lines)
        Append(text, line, widths);
    if (std::any_of(rows.begin(), rows.end(), [](const ProfileRow& row) { return row.isInner; }))
        AppendWords(text, kProfileNote, width);
    if (leftOut > 0)
        AppendWords(text, LeftOutText(leftOut), width);
    return text;
}

std::string ProfileCsv(const std::vector<ProfileRow>& rows, ULONGLONG leftOut) {
    std::string text =
        "process_id,process,category,file,line,function,text,inner,count,calls_per_second,mean_s,longest_s,total_s,"
        "share\r\n";
    for (const ProfileRow& row : rows) {
        text += std::to_string(row.processId) + "," + CsvField(row.process) + "," + CsvField(row.category) + "," +
                CsvField(row.file) + "," + std::to_string(row.line) + "," + CsvField(row.function) + "," +
                CsvField(row.text) + "," + (row.isInner ? "1" : "0") + "," + std::to_string(row.count) + "," +
                (row.callsASecond ? Number(*row.callsASecond, L"%.3f") : "") + "," + Number(row.mean, L"%.9g") + "," +
                Number(row.longest, L"%.9g") + "," + Number(row.total, L"%.9g") + "," + Number(row.share, L"%.6f") +
                "\r\n";
    }
    if (leftOut > 0)
        text += ",,,,," + CsvField(LeftOutText(leftOut)) + ",,,,,,,,\r\n";
    return text;
}

}  // namespace logview
