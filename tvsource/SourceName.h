// From what was typed to the name that the filter is given.
#pragma once

#include <string>

// Whether it begins with a scheme of more than one letter and a colon: "c:\media" is no URI.
[[nodiscard]] bool IsUri(const std::wstring& name);

// A URI stays as it is. A path becomes a full path, of any
// length.  Throws CHostError: the path names nothing, or a folder. The filter would only say that it could not open it.
[[nodiscard]] std::wstring SourceName(const std::wstring& typed);
