// Text as people see it on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace tvsource {

// What steers a terminal instead of showing there (control characters, line breaks, those that turn the direction of
// writing) as its code: <U+001B>.
[[nodiscard]] std::wstring Printable(std::wstring_view text);

}  // namespace tvsource
