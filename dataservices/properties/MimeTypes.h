// MIME types from the dictionary "TvMetadata.dll", looked for beside this module first. Without a dictionary nothing is
// known, which is no failure.
//
// Threads: any.  Errors: std::bad_alloc, and what the stream throws.
#pragma once

#include <objidl.h>

#include <string>
#include <vector>

namespace dataservices {

// The most certain MIME type of the content. The stream stands afterwards where it stood.
// S_FALSE: no known type, and `*mimeType` is empty.  Otherwise why the library couldn't look, such as the stream's
// failure; STG_E_READFAULT from a library without the export "DetectMimeTypes".
[[nodiscard]] HRESULT DetectMimeType(IStream* stream, std::wstring* mimeType);

// All that can be detected.
[[nodiscard]] std::vector<std::wstring> KnownMimeTypes();

}  // namespace dataservices
