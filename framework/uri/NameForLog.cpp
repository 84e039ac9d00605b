#include "framework/uri/NameForLog.h"

#include "base/AsciiText.h"

#include <optional>

namespace framework {

namespace {

constexpr std::wstring_view kSeparators = L"/\\";
constexpr std::wstring_view kServerEnds = L"/\\?#";

struct Range {
    size_t begin, end;
};

// From `begin` to the last '@' before `end`.
[[nodiscard]] std::optional<Range> UpToAt(std::wstring_view text, size_t begin, size_t end = std::wstring_view::npos) {
    const size_t at = text.substr(0, end).rfind(L'@');
    return at == text.npos || at < begin ? std::nullopt : std::optional(Range{begin, at});
}

[[nodiscard]] bool IsScheme(std::wstring_view text, std::wstring_view scheme) {
    return base::EqualsIgnoringAsciiCase(text.substr(0, text.find(L':')), scheme);
}

[[nodiscard]] bool IsWeb(std::wstring_view text) {
    return IsScheme(text, L"http") || IsScheme(text, L"https");
}

[[nodiscard]] std::optional<Range> Credentials(const CParsedName& name) {
    const std::wstring& text = name.Text();
    const size_t colon = text.find(L':');
    if (colon == text.npos)
        return std::nullopt;
    // Behind a separator the colon ends no scheme: a path may well have "://" in it. But two separators may stand in
    // front of a server, without a scheme.
    if (const size_t last = text.find_last_of(kSeparators, colon); last != text.npos)
        return last == 1 && text.find_first_not_of(kSeparators) == 2
                   ? UpToAt(text, 2, text.find_first_of(kServerEnds, 2))
                   : std::nullopt;

    const size_t begin = text.find_first_not_of(kSeparators, colon + 1);
    const bool hasSlashes = text.substr(colon + 1, begin - colon - 1) == L"//";
    if (hasSlashes || IsWeb(text)) {
        // If the slashes are wrong, or a password should have been escaped, credentials may hold any character.
        const bool isUri = hasSlashes && name.Uri();
        return UpToAt(text, begin, isUri ? text.find_first_of(kServerEnds, begin) : text.npos);
    }
    const std::wstring inner = text.substr(colon + 1);
    if (IsWeb(inner)) {
        const auto found = Credentials(CParsedName(inner.c_str()));
        return found ? std::optional(Range{found->begin + colon + 1, found->end + colon + 1}) : std::nullopt;
    }
    if (IsScheme(text, L"data") || IsScheme(text, L"file"))
        return std::nullopt;
    // Without a scheme, the text before ':' is a user name. A path looks like this only with a drive letter.
    auto password = UpToAt(text, colon, text.find_first_of(kServerEnds));
    if (!password && colon > 1)
        password = UpToAt(text, colon);
    return password ? std::optional(Range{0, password->end}) : std::nullopt;
}

}  // namespace

std::wstring NameForLog(const CParsedName& name) {
    std::wstring text = name.Text();
    if (const auto found = Credentials(name))
        text.replace(found->begin, found->end - found->begin, kHiddenCredentials);
    return text;
}

std::wstring NameForLog(const wchar_t* name) {
    return NameForLog(CParsedName(name));
}

std::wstring WithoutUserInfo(const CTKFUri& uri) {
    std::wstring text = uri.ToString();
    if (!uri.GetUserInfo().empty())
        text.erase(uri.GetScheme().size() + 3, uri.GetUserInfo().size() + 1);  // between "://" and the host, with '@'
    return text;
}

std::wstring QueryForLog(std::wstring_view query) {
    return std::wstring(query.size() > 1 ? kHiddenQuery : query);
}

}  // namespace framework
