// Where a stream says that it comes from.
//
// Threads: those of the stream.  Errors: std::bad_alloc, and what the stream throws.
#pragma once

#include <objidl.h>

#include <string>

namespace dataservices {

// The URI of what the stream gives as its name, if that is an http URL or a full path. Empty: the stream has no name,
// or one that means something only to whoever gave it.
[[nodiscard]] std::wstring UriOfStream(IStream& stream);

}  // namespace dataservices
