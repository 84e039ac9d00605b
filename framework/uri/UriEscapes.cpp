#include "framework/uri/UriEscapes.h"

#include "base/Utf8Text.h"
#include "framework/uri/EscapedByte.h"

namespace {

constexpr std::string_view kKeptInComponents = "$-_.+!*'(),";
constexpr std::string_view kKeptInUris = "$-_.+!*'(),/:@;?&=|#";
constexpr std::string_view kDelimiters = "#/?%";
constexpr std::string_view kReserved = ":/?#[]@!$&'()*+,;=%";

[[nodiscard]] std::wstring_view ViewOf(const wchar_t* text) noexcept {
    return text ? text : std::wstring_view{};
}

[[nodiscard]] std::wstring Escape(std::wstring_view text, std::string_view kept, bool keepValidEscapes) {
    const std::string bytes = base::Utf8OfWide(text);
    std::wstring escaped;
    escaped.reserve(bytes.size() * framework::kUriEscapeLength);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (keepValidEscapes && framework::EscapedByteAt<char>(bytes, i) >= 0)
            escaped += L'%';
        else
            framework::AppendEscapedUnlessKept(escaped, bytes[i], kept);
    }
    return escaped;
}

// Resolves the escapes but for those of the bytes in `kept`.
[[nodiscard]] std::string Resolve(std::string_view bytes, std::string_view kept) {
    std::string resolved;
    resolved.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size();) {
        const int escaped = framework::EscapedByteAt(bytes, i);
        const bool resolves = escaped >= 0 && kept.find(static_cast<char>(escaped)) == kept.npos;
        resolved += resolves ? static_cast<char>(escaped) : bytes[i];
        i += resolves ? framework::kUriEscapeLength : 1;
    }
    return resolved;
}

}  // namespace

std::wstring EscapeUri(const wchar_t* text, bool keepValidEscapes) {
    return Escape(ViewOf(text), kKeptInUris, keepValidEscapes);
}

std::wstring EscapeUriComponent(const wchar_t* text) {
    return Escape(ViewOf(text), kKeptInComponents, false);
}

std::wstring UnescapeUri(const wchar_t* text) {
    return base::WideOfUtf8(Resolve(base::Utf8OfWide(ViewOf(text)), {}));
}

namespace framework {

std::wstring NormalizeUriEscapesOf(const wchar_t* text) {
    return base::WideOfUtf8(Resolve(base::Utf8OfWide(ViewOf(text)), kDelimiters));
}

std::string ComparableUriText(std::wstring_view text) {
    std::string comparable = Resolve(base::Utf8OfWide(text), kReserved);
    for (std::size_t i = 0; i < comparable.size(); ++i)
        if (EscapedByteAt<char>(comparable, i) >= 0)
            for (std::size_t digit = i + 1; digit < i + kUriEscapeLength; ++digit)
                if (comparable[digit] >= 'a')
                    comparable[digit] = static_cast<char>(comparable[digit] - 'a' + 'A');
    return comparable;
}

}  // namespace framework
