// What a name leads to, together with what parsing the name has found. All accessors of an object work with this;
// nobody parses the name again.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include "dataservices/FilePath.h"
#include "dataservices/data/DataUri.h"
#include "framework/uri/CTKFUri.h"

#include <windows.h>
#include <boost/shared_ptr.hpp>

#include <optional>
#include <string>
#include <variant>

namespace dataservices {

struct FilePlace {
    FilePath path;
};

struct FolderPlace {
    FilePath path;
};

struct HttpPlace {
    boost::shared_ptr<const CTKFUri> url;  // http or https, with a host
};

struct DataPlace {
    boost::shared_ptr<const CTKFUri> uri;
    std::optional<DataUri> parts;  // show into the URI's text; none: it has no content
};

using Place = std::variant<FilePlace, FolderPlace, HttpPlace, DataPlace>;

// `name` is a path, UNC path or URI, as CTKFUri reads it. Files and folders are looked at, the network isn't.
//
// E_INVALIDARG: it can't be understood, a file URL leads to no path, or an http URL has no host.
// HRESULT_FROM_WIN32(ERROR_NOT_SUPPORTED): this layer doesn't know its scheme.  Otherwise as FindPath.
[[nodiscard]] HRESULT FindPlace(const std::wstring& name, Place* place);

// The same for a name that has been parsed; null is one that can't be understood.
[[nodiscard]] HRESULT FindPlace(const boost::shared_ptr<const CTKFUri>& name, Place* place);

// The file or folder at a path. The further streams of a file ("name:stream") don't count as files.
// Results as ResultOfFileError.
[[nodiscard]] HRESULT FindPath(FilePath path, Place* place);

// A URI that leads here again. Credentials are not in it: people see it, and it is written down.
[[nodiscard]] std::wstring UriOf(const Place& place);

}  // namespace dataservices
