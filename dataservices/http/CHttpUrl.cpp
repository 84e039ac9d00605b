#include "dataservices/http/CHttpUrl.h"

#include "base/AsciiText.h"
#include "base/Base64.h"
#include "base/Utf8Text.h"
#include "dataservices/http/PunycodeName.h"
#include "framework/uri/UriEscapes.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace dataservices::http {

namespace {

constexpr std::uint16_t kHttpPort = 80;
constexpr std::uint16_t kHttpsPort = 443;

// The bytes 0x80 to 0x9F of code page 1252. Those that stand for no character are controls.
constexpr std::wstring_view kWindows1252 =
    L"\u20AC\x81\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152\x8D\u017D\x8F"
    L"\x90\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A\u0153\x9D\u017E\u0178";

[[nodiscard]] bool IsHostCharacter(wchar_t character) noexcept {
    return base::IsAsciiLetterOrDigit(character) ||
           std::wstring_view(L".-_~!$&'()*+,;=").find(character) != std::wstring::npos;
}

// Empty: there is no such host.
[[nodiscard]] std::wstring AsciiHost(const std::wstring& host) {
    std::wstring name = UnescapeUri(host.c_str());
    if (std::any_of(name.begin(), name.end(), [](wchar_t character) { return character >= 0x80; }))
        name = PunycodeName(name);
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
    return L"Basic " + base::EncodeBase64(base::Utf8OfWide(user + L':' + password));
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
    std::string bytes;
    for (const wchar_t character : header) {
        const size_t index = character > 0xFF ? kWindows1252.find(character) : 0;
        if (index == kWindows1252.npos)
            return header;
        bytes.push_back(static_cast<char>(character > 0xFF ? 0x80 + index : static_cast<size_t>(character)));
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
    const unsigned defaultPort = url.m_isSecure ? kHttpsPort : kHttpPort;
    url.m_port = static_cast<std::uint16_t>(uri.GetPort().value_or(defaultPort));
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
    const bool isDefault = m_port == (m_isSecure ? kHttpsPort : kHttpPort);
    return (m_isSecure ? L"https://" : L"http://") + m_host + (isDefault ? L"" : L':' + std::to_wstring(m_port));
}

}  // namespace dataservices::http
