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

// The parts of a data: URI, as they are written; they show into its text. A fragment ("#...") is in neither.
struct DataUri {
    std::wstring_view mediaType;  // with its parameters and ";base64"
    std::wstring_view data;
};

// No value: `uri` is no data: URI, or has no comma.
[[nodiscard]] std::optional<DataUri> ParseDataUri(std::wstring_view uri);

// The content: the bytes that are written there; a character that is not escaped stands for its UTF-8 form. In base64
// blanks and missing padding are tolerated. The media type and its parameters, the character set too, are passed over.
// No value: the base64 is malformed.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> ContentOfDataUri(const DataUri& uri);

}  // namespace dataservices
