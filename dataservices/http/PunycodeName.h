// The names of hosts in the form in which they are looked up.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <string>

namespace dataservices::http {

// `name` in ASCII, with other characters as Punycode. Empty: it has no such form, or one that is too long for a name.
[[nodiscard]] std::wstring PunycodeName(const std::wstring& name);

}  // namespace dataservices::http
