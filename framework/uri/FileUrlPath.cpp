#include "framework/uri/FileUrlPath.h"

#include "base/LongPath.h"
#include "base/Utf8Text.h"
#include "framework/uri/EscapedByte.h"

#include <algorithm>

namespace framework {

namespace {

// What RFC 3986 allows in hosts and in paths, besides letters and digits.
constexpr std::string_view kKeptInHosts = "-._~!$&'()*+,;=";
constexpr std::string_view kKeptInPaths = "-._~!$&'()*+,;=:@/";

[[nodiscard]] std::size_t Utf8SequenceLength(int leadByte) noexcept {
    if (leadByte < 0x80)
        return 1;
    if (leadByte < 0xE0)
        return 2;
    return leadByte < 0xF0 ? 3 : 4;
}

// If `text` begins with the escapes of a character, appends the character and gives the length of the escapes. 0: there
// is no such character, or it has to stay escaped.
std::size_t AppendEscapedCharacter(std::wstring_view text, std::wstring& result) {
    const int lead = EscapedByteAt(text, 0);
    if (lead < 0)
        return 0;
    const std::size_t length = Utf8SequenceLength(lead);
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i) {
        const int byte = EscapedByteAt(text, i * kUriEscapeLength);
        if (byte < 0)
            return 0;
        bytes += static_cast<char>(byte);
    }
    const std::wstring units = base::WideOfUtf8(bytes);
    const bool isUtf8 = base::Utf8OfWide(units) == bytes;
    if (!isUtf8 || units[0] == L'\0' || units[0] == L'/' || units[0] == L'\\')
        return 0;
    result += units;
    return length * kUriEscapeLength;
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

[[nodiscard]] std::wstring PathText(std::wstring_view path) {
    std::wstring text = Unescape(path);
    std::replace(text.begin(), text.end(), L'/', L'\\');
    return text;
}

// The units of the character at `index`; 0 if it is half of a surrogate pair.
[[nodiscard]] std::size_t CharacterLength(std::wstring_view text, std::size_t index) noexcept {
    if (base::IsHighSurrogate(text[index]))
        return index + 1 < text.size() && base::IsLowSurrogate(text[index + 1]) ? 2 : 0;
    return base::IsLowSurrogate(text[index]) ? 0 : 1;
}

[[nodiscard]] std::wstring Escape(std::wstring_view text, std::string_view kept) {
    std::wstring escaped;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = CharacterLength(text, i);
        if (length == 0)
            escaped += text[i];
        else
            for (const char byte : base::Utf8OfWide(text.substr(i, length)))
                AppendEscapedUnlessKept(escaped, byte, kept);
        i += std::max<std::size_t>(length, 1);
    }
    return escaped;
}

[[nodiscard]] std::wstring EscapePath(std::wstring_view path) {
    std::wstring slashes(path);
    std::replace(slashes.begin(), slashes.end(), L'\\', L'/');
    return Escape(slashes, kKeptInPaths);
}

[[nodiscard]] bool BeginsWithDrive(std::wstring_view path) noexcept {
    return path.size() >= 2 && base::IsAsciiLetter(path[0]) && path[1] == L':';
}

}  // namespace

std::wstring LocalPathOfFileUrlPath(std::wstring_view path) {
    std::wstring local = PathText(path);
    const std::size_t name = local.find_first_not_of(L'\\');
    if (name != std::wstring::npos && base::IsAsciiLetter(local[name]) && name + 1 < local.size()) {
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

std::wstring NetworkPathOfFileUrl(std::wstring_view host, std::wstring_view path) {
    return std::wstring(base::kSharePrefix) + Unescape(host) + PathText(path);
}

std::wstring FileUrlOfPath(std::wstring_view path) {
    if (path.starts_with(base::kSharePrefix)) {
        path.remove_prefix(base::kSharePrefix.size());
        const std::wstring_view server = path.substr(0, path.find(L'\\'));
        // Behind two slashes "localhost" is no server, but this machine itself.
        const wchar_t* const start = base::EqualsIgnoringAsciiCase(server, L"localhost") ? L"file:////" : L"file://";
        return start + Escape(server, kKeptInHosts) + EscapePath(path.substr(server.size()));
    }
    const std::wstring urlPath = (BeginsWithDrive(path) ? L"/" : L"") + EscapePath(path);
    if (LocalPathOfFileUrlPath(urlPath) != path)
        return {};
    return (urlPath.starts_with(L'/') ? L"file://" : L"file:") + urlPath;
}

}  // namespace framework
