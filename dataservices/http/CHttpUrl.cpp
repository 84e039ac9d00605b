#include "dataservices/http/CHttpUrl.h"

#include "base/AsciiText.h"
#include "base/Utf8Text.h"
#include "dataservices/data/Base64.h"
#include "framework/uri/UriEscapes.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace dataservices::http {

namespace {

constexpr int kMaxHostCharacters = 255;  // in ASCII, as the name system has them

[[nodiscard]] bool IsHostCharacter(wchar_t character) noexcept {
    return base::IsAsciiLetterOrDigit(character) ||
           std::wstring_view(L".-_~!$&'()*+,;=").find(character) != std::wstring::npos;
}

// Empty: there is no such host.
[[nodiscard]] std::wstring AsciiHost(const std::wstring& host) {
    std::wstring name = UnescapeUri(host.c_str());
    if (std::any_of(name.begin(), name.end(), [](wchar_t character) { return character >= 0x80; })) {
        wchar_t ascii[kMaxHostCharacters];
        const int length = ::IdnToAscii(0, name.data(), static_cast<int>(name.size()), ascii, kMaxHostCharacters);
        name.assign(ascii, static_cast<size_t>(std::max(length, 0)));
    }
    return std::all_of(name.begin(), name.end(), IsHostCharacter) ? name : std::wstring();
}

[[nodiscard]] std::wstring HostOf(const CTKFUri& uri) {
    return uri.GetHostType() == TKFURI_HOSTNAME_IPV6 ? L'[' + uri.GetHost() + L']' : AsciiHost(uri.GetHost());
}

// RFC 7617, with the characters as UTF-8.
[[nodiscard]] std::wstring BasicAuthorization(const std::wstring& userInfo) {
    if (userInfo.empty())
        return {};
    const size_t colon = std::min(userInfo.find(L':'), userInfo.size());
    const std::wstring user = UnescapeUri(userInfo.substr(0, colon).c_str());
    const std::wstring password = UnescapeUri(userInfo.substr(std::min(colon + 1, userInfo.size())).c_str());
    return L"Basic " + EncodeBase64(base::Utf8OfWide(user + L':' + password));
}

// "/a/./b/../c/" from {"a", ".", "b", "..", "c", ""}: RFC 3986, 5.2.4.
[[nodiscard]] std::wstring ResolvedPath(const std::vector<std::wstring>& segments) {
    std::vector<std::wstring_view> kept;
    bool endsInFolder = segments.empty();
    for (const std::wstring& segment : segments) {
        endsInFolder = segment == L"." || segment == L"..";
        if (!endsInFolder)
            kept.push_back(segment);
        else if (segment == L".." && !kept.empty())
            kept.pop_back();
    }
    std::wstring path;
    for (const std::wstring_view segment : kept)
        path.append(L"/").append(segment);
    return endsInFolder ? path + L'/' : path;
}

// Each character of a header stands for one byte: as in Latin-1 or, on some systems, as in code page 1252.
[[nodiscard]] std::wstring TextOfHeader(const std::wstring& header) {
    constexpr UINT kLatin1OfWindows = 1252;
    std::string bytes;
    for (const wchar_t character : header) {
        char byte = static_cast<char>(character);
        BOOL isNone = FALSE;
        if (character > 0xFF && (::WideCharToMultiByte(kLatin1OfWindows, WC_NO_BEST_FIT_CHARS, &character, 1, &byte, 1,
                                                       nullptr, &isNone) != 1 ||
                                 isNone))
            return header;
        bytes.push_back(byte);
    }
    const std::wstring text = base::WideOfUtf8(bytes);
    return text.find(L'\uFFFD') == text.npos ? text : header;
}

// True for an empty query, too.
[[nodiscard]] bool HasQuery(const CTKFUri& uri) {
    const std::wstring text = uri.ToString();
    const size_t end = text.find_first_of(L"?#");
    return end != text.npos && text[end] == L'?';
}

[[nodiscard]] bool HasScheme(std::wstring_view location) noexcept {
    const size_t end = location.find_first_of(L":/?#");
    return end != location.npos && end > 0 && location[end] == L':';
}

}  // namespace

std::optional<CHttpUrl> CHttpUrl::Parse(const wchar_t* text) {
    const auto uri = CTKFUri::Parse(text);
    return uri ? From(*uri) : std::nullopt;
}

std::optional<CHttpUrl> CHttpUrl::From(const CTKFUri& uri) {
    if (uri.GetScheme() != L"http" && uri.GetScheme() != L"https")
        return std::nullopt;

    CHttpUrl url;
    url.m_isSecure = uri.GetScheme() == L"https";
    url.m_host = HostOf(uri);
    const unsigned defaultPort = url.m_isSecure ? INTERNET_DEFAULT_HTTPS_PORT : INTERNET_DEFAULT_HTTP_PORT;
    url.m_port = static_cast<INTERNET_PORT>(uri.GetPort().value_or(defaultPort));
    if (url.m_host.empty() || url.m_port == 0)
        return std::nullopt;
    url.m_path = EscapeUri(ResolvedPath(uri.GetPathSegments()).c_str(), true);
    if (HasQuery(uri))
        url.m_query = L'?' + EscapeUri(uri.GetQuery().c_str(), true);
    url.m_authorization = BasicAuthorization(uri.GetUserInfo());
    return url;
}

std::optional<CHttpUrl> CHttpUrl::Resolve(const std::wstring& header) const {
    const std::wstring location = TextOfHeader(header);
    std::wstring text;
    if (HasScheme(location))
        text = location;
    else if (location.starts_with(L"//"))
        text = (m_isSecure ? L"https:" : L"http:") + location;
    else if (location.starts_with(L'/'))
        text = Origin() + location;
    else if (location.starts_with(L'?'))
        text = Origin() + m_path + location;
    else if (location.empty() || location.starts_with(L'#'))
        text = Origin() + Target();
    else
        text = Origin() + m_path.substr(0, m_path.rfind(L'/') + 1) + location;

    auto url = Parse(text.c_str());
    if (url && m_isSecure && !url->m_isSecure)
        return std::nullopt;
    if (url && url->m_authorization.empty() && url->HasOriginOf(*this))
        url->m_authorization = m_authorization;
    return url;
}

bool CHttpUrl::HasOriginOf(const CHttpUrl& other) const noexcept {
    return m_isSecure == other.m_isSecure && m_port == other.m_port &&
           base::EqualsIgnoringAsciiCase(m_host, other.m_host);
}

std::wstring CHttpUrl::Origin() const {
    const bool isDefault = m_port == (m_isSecure ? INTERNET_DEFAULT_HTTPS_PORT : INTERNET_DEFAULT_HTTP_PORT);
    return (m_isSecure ? L"https://" : L"http://") + m_host + (isDefault ? L"" : L':' + std::to_wstring(m_port));
}

}  // namespace dataservices::http
