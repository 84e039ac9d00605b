// What logs and people see of names of sources. Everything that is hidden from them is hidden here: the credentials of
// a URL everywhere, and its query in what the data services say of it.
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
// or an http one has wrong slashes, they replace what stands before the last '@'. A URL may stand behind another scheme
// ("view-source:http://...") or lack its own: "me:secret@host/x" begins with credentials, too. All other names stay as
// they are, also paths with '@'. Exceptions are paths such as "C:clip@2.avi", which read like user, password and host.
// Null gives the empty string.
[[nodiscard]] std::wstring NameForLog(const CParsedName& name);
[[nodiscard]] std::wstring NameForLog(const wchar_t* name);

// The text of a URI of the form "scheme://...", without its user info: the name still opens where none is needed.
[[nodiscard]] std::wstring WithoutUserInfo(const CTKFUri& uri);

// What is shown for a query that isn't empty: services hide their keys there.
inline constexpr std::wstring_view kHiddenQuery = L"?***";

// `query` with its '?', or nothing at all.
[[nodiscard]] std::wstring QueryForLog(std::wstring_view query);

}  // namespace framework
