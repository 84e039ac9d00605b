#include "dataservices/data/DataUri.h"

#include "base/Base64.h"
#include "base/Utf8Text.h"
#include "framework/uri/EscapedByte.h"

#include <string>

namespace dataservices {

namespace {

constexpr std::wstring_view kScheme = L"data:";
constexpr std::wstring_view kBase64 = L";base64";

[[nodiscard]] bool EndsWithBase64(std::wstring_view mediaType) {
    while (mediaType.ends_with(L' '))
        mediaType.remove_suffix(1);
    return mediaType.size() >= kBase64.size() &&
           base::EqualsIgnoringAsciiCase(mediaType.substr(mediaType.size() - kBase64.size()), kBase64);
}

// What is no escape stays as it is written.
[[nodiscard]] std::string BytesOf(std::wstring_view text) {
    const std::string utf8 = base::Utf8OfWide(text);
    std::string bytes;
    bytes.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size();) {
        const int escaped = framework::EscapedByteAt<char>(utf8, i);
        bytes += escaped >= 0 ? static_cast<char>(escaped) : utf8[i];
        i += escaped >= 0 ? framework::kUriEscapeLength : 1;
    }
    return bytes;
}

}  // namespace

std::optional<DataUri> ParseDataUri(std::wstring_view uri) {
    if (!base::EqualsIgnoringAsciiCase(uri.substr(0, kScheme.size()), kScheme))
        return std::nullopt;
    uri.remove_prefix(kScheme.size());
    uri = uri.substr(0, uri.find(L'#'));
    const size_t comma = uri.find(L',');
    if (comma == uri.npos)
        return std::nullopt;
    return DataUri{uri.substr(0, comma), uri.substr(comma + 1)};
}

std::optional<std::vector<std::uint8_t>> ContentOfDataUri(const DataUri& uri) {
    const std::string bytes = BytesOf(uri.data);
    if (EndsWithBase64(uri.mediaType))
        return base::DecodeBase64(bytes);
    return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
}

}  // namespace dataservices
