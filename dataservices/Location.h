// What a name leads to. All accessors of an object work with this.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <windows.h>

#include <string>

namespace dataservices {

struct Location {
    enum class Kind { File, Folder, Http, Data };

    Kind kind = Kind::File;
    std::wstring text;  // of a file or folder its literal path (FilePath.h), otherwise the URI as it was written
};

// `name` is a path, UNC path or URI, as CTKFUri reads it. Files and folders are looked at, the network isn't.
//
// E_INVALIDARG: it can't be understood, a file URL leads to no path, or an http URL has no host.
// HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED): its scheme is none of ours.  Otherwise as FindPath.
[[nodiscard]] HRESULT FindLocation(const std::wstring& name, Location* location);

// The file or folder at a literal path. Its streams beside the content ("name:stream") are no files.
// Results as ResultOfFileError.
[[nodiscard]] HRESULT FindPath(const std::wstring& literalPath, Location* location);

// A URI that leads here again. Credentials are not in it: people see it, and it is written down.
[[nodiscard]] std::wstring UriOf(const Location& location);

}  // namespace dataservices
