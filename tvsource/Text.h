// Text: UTF-16 inside, UTF-8 where it meets files, pipes and the option parser.
#pragma once

#include <string>
#include <string_view>

// Both replace what is not valid text, and throw only when memory runs out.
[[nodiscard]] std::string ToUtf8(std::wstring_view text);
[[nodiscard]] std::wstring FromUtf8(std::string_view text);

// What steers a terminal instead of showing there (control characters, line breaks, those that turn the direction of
// writing) as its code: <U+001B>.
[[nodiscard]] std::wstring Printable(std::wstring_view text);

// As wprintf of the Windows run-time library formats: %s is wide text, %I64u a 64-bit number.
[[nodiscard]] std::wstring Format(const wchar_t* format, ...);
