// data: URIs (RFC 2397): the content stands in the name itself.
//
//   data:,a%20text            data:audio/wav;base64,UklGRg==
//
// Threads: any.
#pragma once

#include <objidl.h>

namespace dataservices {

// Hands out the content as a read-only stream that stands at its start. The media type and its parameters, the
// character set too, are passed over. The content is the bytes that are written there; a character that is not escaped
// stands for its UTF-8 form. In base64 blanks and missing padding are tolerated. A fragment ("#...") is not content.
//
// `*stream` is null on failure.
// E_INVALIDARG: `uri` is null or no data: URI, has no comma, or its base64 is malformed.  E_POINTER: `stream` is null.
// E_OUTOFMEMORY.
[[nodiscard]] HRESULT CreateDataUriStream(const wchar_t* uri, IStream** stream) noexcept;

}  // namespace dataservices
