// Names of hosts as the name system has them.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <string>

namespace dataservices::http {

// `name` in ASCII, other characters as Punycode; empty if that can't be, or is longer than names may be.
[[nodiscard]] std::wstring PunycodeName(const std::wstring& name);

}  // namespace dataservices::http
