#include "dataservices/DataUri.h"

#include "dataservices/Base64.h"
#include "dataservices/CDataUriStream.h"
#include "framework/uri/EscapedByte.h"
#include "framework/uri/Utf8Text.h"

#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr std::wstring_view kScheme = L"data:";
constexpr std::wstring_view kBase64 = L";base64";

[[nodiscard]] bool EndsWithBase64(std::wstring_view mediaType) {
    while (mediaType.ends_with(L' '))
        mediaType.remove_suffix(1);
    return mediaType.size() >= kBase64.size() &&
           EqualsIgnoringAsciiCase(mediaType.substr(mediaType.size() - kBase64.size()), kBase64);
}

// What is no escape stays as it is written.
[[nodiscard]] std::string BytesOf(std::wstring_view text) {
    const std::string utf8 = Utf8OfWide(text);
    std::string bytes;
    bytes.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size();) {
        const int escaped = EscapedByteAt<char>(utf8, i);
        bytes += escaped >= 0 ? static_cast<char>(escaped) : utf8[i];
        i += escaped >= 0 ? URI_ESCAPE_LENGTH : 1;
    }
    return bytes;
}

[[nodiscard]] std::optional<std::vector<BYTE>> ContentOf(std::wstring_view uri) {
    if (!EqualsIgnoringAsciiCase(uri.substr(0, kScheme.size()), kScheme))
        return std::nullopt;
    uri.remove_prefix(kScheme.size());
    uri = uri.substr(0, uri.find(L'#'));
    const size_t comma = uri.find(L',');
    if (comma == uri.npos)
        return std::nullopt;
    const std::string bytes = BytesOf(uri.substr(comma + 1));
    if (EndsWithBase64(uri.substr(0, comma)))
        return DecodeBase64(bytes);
    return std::vector<BYTE>(bytes.begin(), bytes.end());
}

}  // namespace

HRESULT CreateDataUriStream(const wchar_t* uri, IStream** stream) noexcept {
    if (!stream)
        return E_POINTER;
    *stream = nullptr;
    return ComBoundary([&]() -> HRESULT {
        auto content = uri ? ContentOf(uri) : std::nullopt;
        if (!content)
            return E_INVALIDARG;
        Microsoft::WRL::ComPtr<CDataUriStream> made;
        const HRESULT hr = MakeComObject<CDataUriStream>(
            made.GetAddressOf(), std::make_shared<const std::vector<BYTE>>(std::move(*content)));
        *stream = made.Detach();
        return hr;
    });
}
