#include "logview/CRecordFilter.h"

#include "console/CCommandError.h"
#include "console/Text.h"

#include <algorithm>
#include <array>
#include <optional>

namespace logview {

namespace {

using Kind = CRecordFilter::Kind;

constexpr const wchar_t* kNames[CRecordFilter::kKinds] = {L"severity", L"category", L"process",
                                                          L"thread",   L"function", L"text"};
constexpr std::size_t kMostLength = 2000;

constexpr struct {
    const wchar_t* name;
    LONG severity;
} kSeverities[] = {{L"DEBUG", 0}, {L"INFO", 1}, {L"WARN", 2}, {L"WARNING", 2}, {L"ERROR", 3}, {L"FATAL", 4}};

std::wstring UpperCase(std::wstring_view text) {
    std::wstring upper(text);
    if (!text.empty())
        ::LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, text.data(), static_cast<int>(text.size()),
                        upper.data(), static_cast<int>(upper.size()), nullptr, nullptr, 0);
    return upper;
}

std::wstring Quoted(std::wstring_view text) {
    return L"'" + console::Printable(text) + L"'";
}

std::optional<LONGLONG> NumberIn(std::wstring_view text, bool maybeNegative) {
    constexpr std::size_t kMostDigits = 10;
    const bool isNegative = maybeNegative && text.starts_with(L'-');
    text.remove_prefix(isNegative ? 1 : 0);
    if (text.empty() || text.size() > kMostDigits)
        return std::nullopt;
    LONGLONG number = 0;
    for (const wchar_t c : text) {
        if (c < L'0' || c > L'9')
            return std::nullopt;
        number = number * 10 + (c - L'0');
    }
    return isNegative ? -number : number;
}

LONGLONG SeverityIn(const std::wstring& value) {
    const std::wstring upper = UpperCase(value);
    const auto* const found = std::ranges::find_if(kSeverities, [&](auto& row) { return row.name == upper; });
    if (found != std::end(kSeverities))
        return found->severity;
    if (const std::optional<LONGLONG> number = NumberIn(value, true))
        return *number;
    throw console::CCommandError(Quoted(value) + L" is no severity: debug, info, warn, error, fatal, or a number");
}

bool IsPattern(std::wstring_view text) noexcept {
    return text.find_first_of(L"*?") != text.npos;
}

// Goes back to the last star only, so that it takes no more steps than the two have characters, multiplied.
bool FitsPattern(std::wstring_view text, std::wstring_view pattern) noexcept {
    std::size_t at = 0, in = 0, star = pattern.npos, starAt = 0;
    while (at < text.size()) {
        if (in < pattern.size() && pattern[in] == L'*') {
            star = in++;
            starAt = at;
        } else if (in < pattern.size() && (pattern[in] == L'?' || pattern[in] == text[at])) {
            ++in;
            ++at;
        } else if (star != pattern.npos) {
            in = star + 1;
            at = ++starAt;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of(L'*', in) == pattern.npos;
}

// Both in upper case.
bool Fits(std::wstring_view text, std::wstring_view wanted) noexcept {
    return IsPattern(wanted) ? FitsPattern(text, wanted) : text.find(wanted) != text.npos;
}

constexpr bool IsBlank(wchar_t c) noexcept {
    return c == L' ' || c == L'\t';
}

constexpr bool IsQuote(wchar_t c) noexcept {
    return c == L'"' || c == L'\'';
}

// Takes one word or value off the front: up to the next blank, or in quotation marks.
std::wstring TakeValue(std::wstring_view& rest) {
    std::wstring value;
    if (rest.empty() || !IsQuote(rest.front())) {
        const std::size_t end = std::min(rest.find_first_of(L" \t"), rest.size());
        value = rest.substr(0, end);
        rest.remove_prefix(end);
        return value;
    }
    const wchar_t mark = rest.front();
    const std::wstring_view whole = rest;
    for (rest.remove_prefix(1); !rest.empty(); rest.remove_prefix(1)) {
        if (rest.front() != mark) {
            value += rest.front();
            continue;
        }
        rest.remove_prefix(1);
        if (rest.empty() || IsBlank(rest.front()))
            return value;
        if (rest.front() != mark)
            throw console::CCommandError(L"no blank stands behind the quotation mark of " +
                                         Quoted(whole.substr(0, whole.size() - rest.size())));
        value += mark;
    }
    throw console::CCommandError(L"the quotation mark before " + Quoted(value) + L" has no other one behind it");
}

std::wstring Written(std::wstring_view value) {
    const bool needsMarks =
        value.find_first_of(L" \t") != value.npos || IsQuote(value.front()) || value.front() == L'!';
    if (!needsMarks)
        return std::wstring(value);
    std::wstring written = L"\"";
    for (const wchar_t c : value)
        written.append(c == L'"' ? 2 : 1, c);
    return written + L'"';
}

}  // namespace

// What a record has of each kind, looked up when it is asked for first.
struct CRecordFilter::Facts {
    explicit Facts(const Arrival& of) : arrival(of) {
        std::visit(
            [&](const auto& record) {
                severity = record.severity;
                processId = record.processId;
                texts[static_cast<std::size_t>(Kind::Category)] = record.category;
                texts[static_cast<std::size_t>(Kind::Function)] = record.function;
                texts[static_cast<std::size_t>(Kind::Text)] = record.message;
            },
            arrival.record);
        texts[static_cast<std::size_t>(Kind::Process)] = arrival.process;
        if (const auto* const record = std::get_if<LogRecord>(&arrival.record))
            threadId = record->threadId;
    }

    bool Fit(const Condition& condition) {
        switch (condition.kind) {
            case Kind::Severity:
                return severity >= condition.number;
            case Kind::Thread:
                return threadId == condition.number;
            default:
                return condition.isNumber ? processId == condition.number
                                          : Fits(TextOf(static_cast<std::size_t>(condition.kind)), condition.text);
        }
    }

    const std::wstring& TextOf(std::size_t kind) {
        if (!upper[kind])
            upper[kind] = UpperCase(texts[kind]);
        return *upper[kind];
    }

    const Arrival& arrival;
    LONGLONG severity = 0, processId = 0;
    std::optional<LONGLONG> threadId;
    std::array<std::wstring_view, kKinds> texts;
    std::array<std::optional<std::wstring>, kKinds> upper;
};

CRecordFilter CRecordFilter::Parse(std::wstring_view words) {
    if (words.size() > kMostLength)
        throw console::CCommandError(L"the filter has more than 2000 characters");
    CRecordFilter filter;
    for (;;) {
        words.remove_prefix(std::min(words.find_first_not_of(L" \t"), words.size()));
        if (words.empty())
            return filter;
        std::wstring_view name = L"text";
        const std::size_t letters = words.find_first_of(L"=\"' \t");
        if (letters != words.npos && letters > 0 && words[letters] == L'=') {
            name = words.substr(0, letters);
            words.remove_prefix(letters + 1);
        }
        const bool excludes = words.starts_with(L'!');
        words.remove_prefix(excludes ? 1 : 0);
        filter.Add(name, excludes, TakeValue(words));
    }
}

void CRecordFilter::Add(std::wstring_view name, bool excludes, const std::wstring& value) {
    const std::wstring upper = UpperCase(name);
    const auto* const found =
        std::ranges::find_if(kNames, [&](const wchar_t* each) { return UpperCase(each) == upper; });
    if (found == std::end(kNames))
        throw console::CCommandError(Quoted(name) +
                                     L" is nothing to filter by: there are severity, category, process, thread, "
                                     L"function and text; a text with = in it needs quotation marks");
    if (value.empty())
        throw console::CCommandError(std::wstring(*found) + L" has no value");
    Condition condition{static_cast<Kind>(found - kNames), excludes, false, 0, UpperCase(value)};
    if (condition.kind == Kind::Severity) {
        condition.number = SeverityIn(value);
    } else if (condition.kind == Kind::Thread || condition.kind == Kind::Process) {
        const std::optional<LONGLONG> number = NumberIn(value, false);
        if (!number && condition.kind == Kind::Thread)
            throw console::CCommandError(Quoted(value) + L" is no thread: its id is a number");
        condition.isNumber = number.has_value();
        condition.number = number.value_or(0);
    }
    m_conditions.push_back(std::move(condition));
    m_text += (m_text.empty() ? L"" : L" ") + std::wstring(*found) + (excludes ? L"=!" : L"=") + Written(value);
}

bool CRecordFilter::Matches(const Arrival& arrival) const {
    if (IsEmpty())
        return true;
    Facts facts(arrival);
    std::array<bool, kKinds> isAsked{}, isMet{};
    for (const Condition& condition : m_conditions) {
        const auto kind = static_cast<std::size_t>(condition.kind);
        if (!condition.excludes)
            isAsked[kind] = true;
        else if (facts.Fit(condition))
            return false;
        isMet[kind] = isMet[kind] || (!condition.excludes && facts.Fit(condition));
    }
    return isAsked == isMet;
}

bool CRecordFilter::IsLine(const Arrival& arrival) const {
    const auto* const profile = std::get_if<ProfileRecord>(&arrival.record);
    return (!profile || AsksForCategory(profile->category)) && Matches(arrival);
}

bool CRecordFilter::AsksForCategory(std::wstring_view category) const {
    const std::wstring upper = UpperCase(category);
    return std::ranges::any_of(m_conditions, [&](const Condition& condition) {
        return condition.kind == Kind::Category && !condition.excludes && Fits(upper, condition.text);
    });
}

}  // namespace logview
