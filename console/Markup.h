// Text inside XML and HTML.
#pragma once

#include <string>
#include <string_view>

namespace console {

// The text in UTF-8, with references for what has a meaning in markup, so that it may stand in an element or in an
// attribute between quotation marks of either kind. What XML 1.0 has no place for (control characters, half of a
// surrogate pair, U+FFFE and U+FFFF) becomes U+FFFD.
[[nodiscard]] std::string MarkupText(std::wstring_view text);
[[nodiscard]] std::string MarkupText(std::string_view utf8);

}  // namespace console
