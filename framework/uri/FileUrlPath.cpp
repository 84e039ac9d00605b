#include "framework/uri/FileUrlPath.h"

#include "framework/uri/AsciiText.h"

#include <windows.h>

namespace {

constexpr std::size_t ESCAPE_LENGTH = 3;  // "%20"

[[nodiscard]] int HexDigit(wchar_t character) noexcept {
    if (character >= L'0' && character <= L'9')
        return character - L'0';
    const wchar_t lower = AsciiLower(character);
    return lower >= L'a' && lower <= L'f' ? lower - L'a' + 10 : -1;
}

// The byte of the escape that `text` begins with; -1 if it does not begin with one.
[[nodiscard]] int EscapedByte(std::wstring_view text) noexcept {
    if (text.size() < ESCAPE_LENGTH || text[0] != L'%' || HexDigit(text[1]) < 0 || HexDigit(text[2]) < 0)
        return -1;
    return HexDigit(text[1]) * 16 + HexDigit(text[2]);
}

[[nodiscard]] std::size_t Utf8SequenceLength(int leadByte) noexcept {
    return leadByte < 0x80 ? 1 : leadByte < 0xE0 ? 2 : leadByte < 0xF0 ? 3 : 4;
}

// Appends the character whose escapes `text` begins with and gives the length of what was read. 0: there is none, or it
// has to stay escaped.
std::size_t AppendEscapedCharacter(std::wstring_view text, std::wstring& result) {
    const int lead = EscapedByte(text);
    if (lead < 0)
        return 0;
    const std::size_t length = Utf8SequenceLength(lead);
    char bytes[4];
    for (std::size_t i = 0; i < length; ++i) {
        const std::size_t at = i * ESCAPE_LENGTH;
        const int byte = at < text.size() ? EscapedByte(text.substr(at)) : -1;
        if (byte < 0)
            return 0;
        bytes[i] = static_cast<char>(byte);
    }
    wchar_t units[2];
    const int count =
        ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, static_cast<int>(length), units, ARRAYSIZE(units));
    if (count <= 0 || units[0] == L'\0' || units[0] == L'/' || units[0] == L'\\')
        return 0;
    result.append(units, static_cast<std::size_t>(count));
    return length * ESCAPE_LENGTH;
}

[[nodiscard]] std::wstring Unescape(std::wstring_view text) {
    std::wstring result;
    result.reserve(text.size());
    while (!text.empty()) {
        std::size_t length = AppendEscapedCharacter(text, result);
        if (length == 0) {
            result.push_back(text[0]);
            length = 1;
        }
        text.remove_prefix(length);
    }
    return result;
}

}  // namespace

std::wstring LocalPathOfFileUrlPath(std::wstring_view path) {
    std::wstring local = Unescape(path);
    std::replace(local.begin(), local.end(), L'/', L'\\');

    const std::size_t name = local.find_first_not_of(L'\\');
    if (name != std::wstring::npos && IsAsciiLetter(local[name]) && name + 1 < local.size()) {
        const bool endsAfterMark = name + 2 == local.size() || local[name + 2] == L'\\';
        if (local[name + 1] == L':' || (local[name + 1] == L'|' && endsAfterMark)) {
            local[name + 1] = L':';
            return local.substr(name);
        }
    }
    if (local.starts_with(L"\\\\") || local.starts_with(L"\\??\\"))
        return {};
    return local;
}
