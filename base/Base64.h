// Bytes as text: base64 (RFC 4648, 4).
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace base {

// With padding, in one line.
[[nodiscard]] std::wstring EncodeBase64(std::string_view bytes);

// Blanks and line breaks anywhere are passed over. Padding may be missing, but not be wrong. Bits that are left over at
// the end are dropped. No value: the text is no base64.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> DecodeBase64(std::string_view text);

}  // namespace base
