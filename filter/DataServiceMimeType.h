// Asks the data-service layer's metadata reader for the MIME type of a source's content.
#pragma once

#include <objidl.h>

#include <string>
#include <vector>

namespace filter {

// One MIME type, or none when the layer isn't there, fails at any step, or has none for this content.
// Throws CAtlException carrying E_OUTOFMEMORY when the name of the key can't be allocated.
[[nodiscard]] std::vector<std::wstring> MimeTypeFromDataServices(IStream* content);

}  // namespace filter
