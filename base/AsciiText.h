// Letters, digits and letter case as URIs mean them: those of ASCII alone, whatever the user's language.
#pragma once

#include <algorithm>
#include <string_view>

namespace base {

[[nodiscard]] constexpr wchar_t AsciiLower(wchar_t character) noexcept {
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a') : character;
}

[[nodiscard]] constexpr bool IsAsciiLetter(wchar_t character) noexcept {
    return AsciiLower(character) >= L'a' && AsciiLower(character) <= L'z';
}

[[nodiscard]] constexpr bool IsAsciiLetterOrDigit(wchar_t character) noexcept {
    return IsAsciiLetter(character) || (character >= L'0' && character <= L'9');
}

[[nodiscard]] constexpr bool EqualsIgnoringAsciiCase(std::wstring_view a, std::wstring_view b) noexcept {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](wchar_t x, wchar_t y) { return AsciiLower(x) == AsciiLower(y); });
}

}  // namespace base
