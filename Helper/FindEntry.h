// The ways from a URI to an entry of the data-service layer.
#pragma once

#include "Helper/CDirEntryWrapper.h"

namespace FileAccess {

// The body of CDirEntryWrapper::CreateFromURI; see there for the results. Logs under its name.
// Throws CAtlException and std::bad_alloc when memory is out.
[[nodiscard]] HRESULT FindEntry(const wchar_t* wszUri, CDirEntryWrapper** ppObj);

}  // namespace FileAccess
