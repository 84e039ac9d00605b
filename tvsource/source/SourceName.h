// From what was typed to the name that the filter is given, and what people are shown of it.
#pragma once

#include "console/CCommandError.h"
#include "framework/uri/CParsedName.h"

#include <windows.h>

#include <string>

namespace tvsource {

// What was typed, without the blanks and the quotation marks that stand around a URI. Around a path they are kept: they
// belong to it.
[[nodiscard]] std::wstring TypedName(const std::wstring& typed);

// Whether the name begins with a scheme of more than one letter and a colon: "c:\media" is no URI.
[[nodiscard]] bool IsUri(const std::wstring& name);

// Whether the path, of any length, is a file's or folder's, or a folder's alone.
[[nodiscard]] bool IsThere(const std::wstring& path);
[[nodiscard]] bool IsFolder(const std::wstring& path);

// A URI stays as it is. A path becomes a full path, of any length.  Throws CCommandError: the path names nothing, or a
// folder. The filter would only say that it could not open it.
[[nodiscard]] std::wstring SourceName(const std::wstring& typed);
[[nodiscard]] framework::CParsedName SourceName(const framework::CParsedName& typed);

// A name for people: without the credentials of a URL, and without anything that steers a terminal.
[[nodiscard]] std::wstring ShownName(const std::wstring& name);
[[nodiscard]] std::wstring ShownName(const framework::CParsedName& name);

// Why a source could not be opened for reading. `words` say that it couldn't, `result` is what opening it gave. That
// says little of a local file, so the file is opened once more, with the same `share` (FILE_SHARE_ bits). Nothing else
// is opened twice.
[[nodiscard]] console::CCommandError WhyNotOpened(std::wstring words, const framework::CParsedName& name, DWORD share,
                                                  HRESULT result);

}  // namespace tvsource
