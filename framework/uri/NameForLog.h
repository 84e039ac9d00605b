// Names of sources as logs may have them: without the credentials of a URL.
//
// For the filter and tvsource. The data services' own records have CHttpUrl::Printable, which hides the query too.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <string>

namespace framework {

// `name`, with "***" for what stands before the '@' of a URL's host; if no URI can be made of the name, or an http one
// has wrong slashes, before its last '@'. A URL may stand behind another scheme ("view-source:http://...") or lack its
// own: "me:secret@host/x" begins with credentials, too. All other names stay as they are, paths with '@' too, but for
// such as "C:clip@2.avi", which reads like user, password and host. Null gives the empty string.
[[nodiscard]] std::wstring NameForLog(const wchar_t* name);

}  // namespace framework
