// The names of sources as logs and people see them. All hiding is done here: of a URL's credentials everywhere, and of
// its query in what the data services report.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include "framework/uri/CParsedName.h"

#include <string>
#include <string_view>

namespace framework {

// What is shown in place of credentials.
inline constexpr std::wstring_view kHiddenCredentials = L"***";

// `name`, with kHiddenCredentials in place of what stands before the '@' of a URL's host. If the name is no valid URI,
// or is an http URI with wrong slashes, kHiddenCredentials replaces what stands before the last '@'. A URL may stand
// behind another scheme ("view-source:http://...") or lack its own: "me:secret@host/x" begins with credentials, too.
// All other names stay as they are, paths with '@' included, except for paths such as "C:clip@2.avi", which look like
// user, password and host. Null gives the empty string.
[[nodiscard]] std::wstring NameForLog(const CParsedName& name);
[[nodiscard]] std::wstring NameForLog(const wchar_t* name);

// The text of a URI of the form "scheme://...", without its user info. It still opens sources that need no credentials.
[[nodiscard]] std::wstring WithoutUserInfo(const CTKFUri& uri);

// What is shown in place of a query that isn't empty: services keep their keys there.
inline constexpr std::wstring_view kHiddenQuery = L"?***";

// `query` with its '?', or nothing at all.
[[nodiscard]] std::wstring QueryForLog(std::wstring_view query);

}  // namespace framework
