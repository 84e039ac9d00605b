// From what was typed to the name that the filter is given.
#pragma once

#include <string>

// A URI ("scheme:...", where the scheme has more than one letter) stays as it is. A path becomes a full path, of any
// length.  Throws CHostError: the path names nothing, or a folder. The filter would only say that it could not open it.
[[nodiscard]] std::wstring SourceName(const std::wstring& typed);
