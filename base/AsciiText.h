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

// Without the blanks and tabs at both ends.
[[nodiscard]] constexpr std::wstring_view Trimmed(std::wstring_view text) noexcept {
    constexpr std::wstring_view kBlanks = L" \t";
    const std::size_t first = std::min(text.find_first_not_of(kBlanks), text.size());
    return text.substr(first, std::max(text.find_last_not_of(kBlanks) + 1, first) - first);
}

}  // namespace base
