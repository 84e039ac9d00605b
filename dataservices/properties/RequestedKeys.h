// Which of the metadata keys that this layer knows somebody asks for.
//
// Threads: those of the list.  Errors: std::bad_alloc, and what the list throws.
#pragma once

#include "TKDataServices.h"

#include <windows.h>

namespace dataservices {

struct RequestedKeys {
    bool mimeType = false;
    bool originalUri = false;
};

// Keys that this layer doesn't know are passed over. Otherwise the list's own failure.
[[nodiscard]] HRESULT ReadRequestedKeys(ITKCFConstStringList& list, RequestedKeys* keys);

}  // namespace dataservices
