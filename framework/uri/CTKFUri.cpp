#include "framework/uri/CTKFUri.h"

#include "base/AsciiText.h"
#include "base/LongPath.h"
#include "framework/uri/CTKFUriGrammar.h"
#include "framework/uri/FileUrlPath.h"
#include "framework/uri/UriEscapes.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace {

using Notation = framework::CTKFUriParts::Notation;

// Of a name that is a path.
[[nodiscard]] std::wstring PathOf(const framework::CTKFUriParts& parts) {
    const bool hasServer = parts.hostType == TKFURI_HOSTNAME_UNC_SERVER;
    std::wstring path;
    if (parts.notation == Notation::VerbatimPath)
        path = hasServer ? base::kLiteralSharePrefix : base::kLiteralPrefix;
    else if (hasServer)
        path = base::kSharePrefix;
    path += parts.host + parts.path;
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
}

[[nodiscard]] std::string ComparableHost(const std::wstring& host) {
    std::string text = framework::ComparableUriText(host);
    for (char& character : text)
        if (base::IsAsciiLetter(static_cast<unsigned char>(character)))
            character = static_cast<char>(base::AsciiLower(static_cast<unsigned char>(character)));
    return text;
}

// The path with its server or drive in lower case.
[[nodiscard]] std::wstring ComparablePath(std::wstring path) {
    auto end = path.begin() + (path.size() >= 2 && path[1] == L':' ? 2 : 0);
    for (const std::wstring_view prefix : {base::kLiteralSharePrefix, base::kLiteralPrefix, base::kSharePrefix})
        if (path.starts_with(prefix)) {
            end = std::find(path.begin() + static_cast<std::ptrdiff_t>(prefix.size()), path.end(), L'\\');
            break;
        }
    std::transform(path.begin(), end, path.begin(), base::AsciiLower);
    return path;
}

}  // namespace

CTKFUri::CTKFUri(framework::CTKFUriParts parts, std::wstring text)
    : m_parts(std::move(parts)), m_text(std::move(text)) {
    if (!IsFileUrl() || m_parts.port)
        return;
    const bool hasServer = m_parts.hostType == TKFURI_HOSTNAME_UNC_SERVER;
    if (IsPath()) {
        (hasServer ? m_uncPath : m_localPath) = PathOf(m_parts);
    } else if (!hasServer) {
        m_localPath = framework::LocalPathOfFileUrlPath(m_parts.path);
    } else {
        SetPathBehindServer();
    }
}

void CTKFUri::SetPathBehindServer() {
    std::wstring path = framework::NetworkPathOfFileUrl(m_parts.host, m_parts.path);
    const std::wstring_view host = std::wstring_view(path).substr(0, path.find(L'\\', base::kSharePrefix.size()));
    // With its escapes resolved the host may be one that no path can have, or may lead to a device.
    if (framework::CTKFUriGrammar::IsServer(host.substr(base::kSharePrefix.size()))) {
        m_uncPath = std::move(path);
    } else if (path.starts_with(base::kLiteralPrefix)) {
        if (const auto parts = framework::CTKFUriGrammar::Parse(path))
            (parts->hostType == TKFURI_HOSTNAME_UNC_SERVER ? m_uncPath : m_localPath) = PathOf(*parts);
    }
}

boost::shared_ptr<CTKFUri> CTKFUri::Parse(const wchar_t* text) {
    auto parts = text ? framework::CTKFUriGrammar::Parse(text) : std::nullopt;
    return boost::shared_ptr<CTKFUri>(parts ? new CTKFUri(std::move(*parts), text) : nullptr);
}

boost::shared_ptr<CTKFUri> CTKFUri::FromFilePath(const wchar_t* path) {
    auto uri = Parse(path);
    if (uri && !uri->IsPath())
        uri.reset();
    return uri;
}

std::wstring CTKFUri::ToString() const {
    return IsPath() ? framework::FileUrlOfPath(GetFilePath()) : m_text;
}

std::wstring CTKFUri::NormalizeUriEscapes() const {
    return framework::NormalizeUriEscapesOf(ToString().c_str());
}

bool operator==(const CTKFUri& a, const CTKFUri& b) {
    const auto key = [](const CTKFUri& uri) {
        const std::wstring_view text = uri.m_text;
        const size_t tail = uri.IsPath() ? text.size() : std::min(text.find_first_of(L"?#"), text.size());
        const bool hasPath = !uri.GetFilePath().empty();  // the file path then stands for user info, host and path
        const bool hasAuthority = !hasPath && text.substr(uri.GetScheme().size()).starts_with(L"://");
        return std::tuple(uri.GetScheme(), ComparablePath(uri.GetFilePath()),
                          hasPath ? std::string() : framework::ComparableUriText(uri.GetUserInfo()), hasAuthority,
                          hasPath ? std::string() : ComparableHost(uri.GetHost()), uri.GetPort(),
                          hasPath ? std::string() : framework::ComparableUriText(uri.GetPath()),
                          framework::ComparableUriText(text.substr(tail)));
    };
    return key(a) == key(b);
}
