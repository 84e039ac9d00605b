#include "framework/uri/CTKFUri.h"

#include "framework/uri/CTKFUriGrammar.h"
#include "framework/uri/FileUrlPath.h"

#include <algorithm>
#include <utility>

namespace {

[[nodiscard]] std::wstring LocalPathOf(const CTKFUriParts& parts) {
    if (parts.scheme != L"file" || parts.hostType == TKFURI_HOSTNAME_UNC_SERVER || parts.port)
        return {};
    if (parts.notation == CTKFUriParts::Notation::Uri)
        return LocalPathOfFileUrlPath(parts.path);
    std::wstring path = parts.path;
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return parts.notation == CTKFUriParts::Notation::VerbatimPath ? LR"(\\?\)" + path : path;
}

}  // namespace

CTKFUri::CTKFUri(CTKFUriParts parts) : m_parts(std::move(parts)), m_localPath(LocalPathOf(m_parts)) {}

boost::shared_ptr<CTKFUri> CTKFUri::Parse(const wchar_t* text) {
    auto parts = text ? CTKFUriGrammar::Parse(text) : std::nullopt;
    return boost::shared_ptr<CTKFUri>(parts ? new CTKFUri(std::move(*parts)) : nullptr);
}
