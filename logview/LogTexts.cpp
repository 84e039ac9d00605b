#include "logview/LogTexts.h"

#include "base/FormatText.h"
#include "base/Times.h"
#include "base/Utf8Text.h"

#include <charconv>

namespace logview {

namespace {

wchar_t Harmless(wchar_t c) noexcept {
    if (c < 0x20)
        return c == L'\t' ? c : static_cast<wchar_t>(0x2400 + c);
    if (c == 0x7F)
        return L'\u2421';
    if (c == 0x85 || c == 0x2028 || c == 0x2029)
        return L'\u2424';
    return c > 0x7F && c < 0xA0 ? L'\uFFFD' : c;
}

// Takes a number of exactly `digits` digits, and the character behind it if that isn't 0, from the front of `text`.
bool TakeNumber(std::string_view& text, std::size_t digits, char behind, WORD& number) noexcept {
    const std::size_t size = digits + (behind ? 1 : 0);
    if (text.size() < size || (behind && text[digits] != behind))
        return false;
    const char* const end = text.data() + digits;
    if (std::from_chars(text.data(), end, number).ptr != end)
        return false;
    text.remove_prefix(size);
    return true;
}

}  // namespace

std::wstring OneLine(std::wstring_view text) {
    std::wstring line(text);
    for (wchar_t& c : line)
        c = Harmless(c);
    return line;
}

std::string CsvField(std::wstring_view text) {
    std::string field = base::Utf8OfWide(OneLine(text));
    if (field.find_first_of("\",") == field.npos && !field.starts_with(' ') && !field.ends_with(' '))
        return field;
    std::string quoted = "\"";
    for (const char c : field)
        quoted.append(c == '"' ? 2 : 1, c);
    return quoted + '"';
}

std::string IsoTime(ULONGLONG time) {
    const FILETIME file = base::FileTimeOf(time);
    SYSTEMTIME date{};
    if (time == 0 || !::FileTimeToSystemTime(&file, &date))
        return {};
    return base::Utf8OfWide(base::FormatText(L"%04u-%02u-%02uT%02u:%02u:%02u.%07uZ", date.wYear, date.wMonth, date.wDay,
                                             date.wHour, date.wMinute, date.wSecond,
                                             static_cast<unsigned>(time % base::kTicksASecond)));
}

ULONGLONG TimeOfIso(std::string_view text) {
    SYSTEMTIME date{};
    if (!TakeNumber(text, 4, '-', date.wYear) || !TakeNumber(text, 2, '-', date.wMonth) ||
        !TakeNumber(text, 2, 'T', date.wDay) || !TakeNumber(text, 2, ':', date.wHour) ||
        !TakeNumber(text, 2, ':', date.wMinute) || !TakeNumber(text, 2, 0, date.wSecond) || !text.ends_with('Z'))
        return 0;
    text.remove_suffix(1);
    ULONGLONG ticks = 0;
    if (text.starts_with('.')) {
        ULONGLONG unit = base::kTicksASecond;
        for (const char digit : text.substr(1)) {
            if (digit < '0' || digit > '9')
                return 0;
            ticks += (unit /= 10) * static_cast<ULONGLONG>(digit - '0');
        }
    } else if (!text.empty()) {
        return 0;
    }
    FILETIME file{};
    if (!::SystemTimeToFileTime(&date, &file))
        return 0;
    return base::TicksOf(file) + ticks;
}

}  // namespace logview
