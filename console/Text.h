// Text as people see it on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace console {

// The text, with a code such as <U+001B> in place of every character that steers a terminal instead of showing there:
// control characters, line breaks, and those that turn the direction of writing.
[[nodiscard]] std::wstring Printable(std::wstring_view text);

// "1 source", "2 sources". `noun`: one of them, of those that only take an s.
[[nodiscard]] std::wstring CountText(long long count, std::wstring_view noun);

}  // namespace console
