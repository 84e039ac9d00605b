// Names of sources as logs may have them: without the credentials of a URL.
//
// For the filter and tvsource. The data services' own records have CHttpUrl::Printable, which hides the query too.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <string>

namespace framework {

// `name`, with "***" in place of what stands before the '@' of a URL's host. If the name is no valid URI, or an http
// one has wrong slashes, the "***" replaces what stands before the last '@'. A URL may stand behind another scheme
// ("view-source:http://...") or lack its own: "me:secret@host/x" begins with credentials, too. All other names stay as
// they are, also paths with '@'. Exceptions are paths such as "C:clip@2.avi", which read like user, password and host.
// Null gives the empty string.
[[nodiscard]] std::wstring NameForLog(const wchar_t* name);

}  // namespace framework
