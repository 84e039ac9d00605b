// Which records a person wants to see, written as words:
//
//   severity=warn category=TvFile* process=player.exe thread=1234 function=*Load* text="no such" text=!retry
//
// | kind                     | value                                                                    |
// | ------------------------ | ------------------------------------------------------------------------ |
// | severity                 | at least debug, info, warn, error, fatal, or a number                    |
// | process                  | the id, where it has only digits; otherwise the file name                |
// | thread                   | the id                                                                   |
// | category, function, text | text; a record's text is its message                                     |
//
// A text that has * (any characters) or ? (any one) must cover the whole; any other is looked for within it. Upper and
// lower case are the same. Several values of one kind are alternatives, and each kind that is there must be met; a
// value with ! before it excludes what it fits. A value stands in "quotation marks" or 'these' if it has blanks or
// begins with one of them or with !; the mark itself is doubled within. A word without a kind is a text.
//
// Figures of timing sites have no thread; text looks at their message. In a record that was logged with numbers in
// place of process and thread, these are looked at.
//
// Threads: one at a time, or any while it isn't assigned to.
#pragma once

#include "logview/Records.h"

#include <string>
#include <string_view>
#include <vector>

namespace logview {

class CRecordFilter final {
public:
    // Lets everything pass.
    CRecordFilter() = default;

    // Throws console::CCommandError, with words that say which of these make no sense. No words: lets everything pass.
    [[nodiscard]] static CRecordFilter Parse(std::wstring_view words);

    // The words, as they were understood; Parse takes them again.
    [[nodiscard]] const std::wstring& Text() const noexcept { return m_text; }
    [[nodiscard]] bool IsEmpty() const noexcept { return m_conditions.empty(); }

    [[nodiscard]] bool Matches(const Arrival& arrival) const;

    // Whether one of its values asks for this category, and not only lets it pass.
    [[nodiscard]] bool AsksForCategory(std::wstring_view category) const;

    // Whether it is a line among others: it matches, and figures of timing sites only where it asks for their category.
    [[nodiscard]] bool IsLine(const Arrival& arrival) const;

    enum class Kind { Severity, Category, Process, Thread, Function, Text };
    static constexpr std::size_t kKinds = 6;

private:
    struct Condition {
        Kind kind{};
        bool excludes = false;
        bool isNumber = false;
        LONGLONG number = 0;
        std::wstring text;  // in upper case
    };
    struct Facts;

    void Add(std::wstring_view name, bool excludes, const std::wstring& value);

    std::vector<Condition> m_conditions;
    std::wstring m_text;
};

}  // namespace logview
