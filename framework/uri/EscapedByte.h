// The escapes of URIs: '%' and two hexadecimal digits stand for a byte.
#pragma once

#include "base/AsciiText.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace framework {

inline constexpr std::size_t kUriEscapeLength = 3;

// The value of a digit in either case; -1 if it is none.
[[nodiscard]] constexpr int HexDigitValue(wchar_t character) noexcept {
    if (character >= L'0' && character <= L'9')
        return character - L'0';
    const wchar_t lower = base::AsciiLower(character);
    return lower >= L'a' && lower <= L'f' ? lower - L'a' + 10 : -1;
}

// The byte of the escape at `index`; -1 if none begins there. Any index will do.
template <class Char>
[[nodiscard]] constexpr int EscapedByteAt(std::basic_string_view<Char> text, std::size_t index) noexcept {
    if (index >= text.size() || text.size() - index < kUriEscapeLength || text[index] != Char{'%'})
        return -1;
    const int high = HexDigitValue(static_cast<wchar_t>(text[index + 1]));
    const int low = HexDigitValue(static_cast<wchar_t>(text[index + 2]));
    return high < 0 || low < 0 ? -1 : high * 16 + low;
}

// Appends the byte as it is if it is a letter, a digit or one of `kept`, otherwise as an escape in upper case.
inline void AppendEscapedUnlessKept(std::wstring& text, char byte, std::string_view kept) {
    const auto value = static_cast<unsigned char>(byte);
    if (base::IsAsciiLetterOrDigit(value) || kept.find(byte) != kept.npos) {
        text += static_cast<wchar_t>(value);
        return;
    }
    static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    text += L'%';
    text += kDigits[value >> 4];
    text += kDigits[value & 15];
}

}  // namespace framework
