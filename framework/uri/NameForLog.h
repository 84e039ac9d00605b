// Names of sources as logs may have them: without the credentials of a URL.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <string>

// `name`, with "***" for what stands before the '@' of a URL's host. All other names stay as they are, paths with '@'
// too; whether the name is a valid URI doesn't matter. Null gives the empty string.
[[nodiscard]] std::wstring NameForLog(const wchar_t* name);
