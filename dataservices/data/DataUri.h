// data: URIs (RFC 2397): the content stands in the name itself.
//
//   data:,a%20text            data:audio/wav;base64,UklGRg==
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace dataservices {

// The content of a data: URI. The media type and its parameters, the character set too, are passed over. The content is
// the bytes that are written there; a character that is not escaped stands for its UTF-8 form. In base64 blanks and
// missing padding are tolerated. A fragment ("#...") is not content.
// No value: `uri` is no data: URI, has no comma, or its base64 is malformed.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> ContentOfDataUri(std::wstring_view uri);

}  // namespace dataservices
