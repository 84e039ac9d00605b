// The components of a name as the grammar captures them: as written, but for the scheme.
#pragma once

#include "framework/uri/TKFURI_HOSTNAME_TYPE.h"

#include <optional>
#include <string>
#include <vector>

namespace framework {

struct CTKFUriParts {
    // Only a URI has escapes, a query and a fragment. A verbatim path is one written with the prefix \\?\.
    enum class Notation { Uri, Path, VerbatimPath };

    Notation notation = Notation::Uri;
    std::wstring scheme;  // lower case; "file" for paths
    std::wstring userInfo;
    std::wstring host;
    TKFURI_HOSTNAME_TYPE hostType = TKFURI_HOSTNAME_NONE;
    std::optional<unsigned> port;
    std::wstring path;
    std::vector<std::wstring> segments;
    std::wstring query;
    std::wstring fragment;
};

}  // namespace framework
