// The content of an object as a stream.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include "dataservices/Place.h"
#include "dataservices/SourceOptions.h"

#include <objidl.h>

namespace dataservices {

// `access` and `share` are combinations of TKDS_ACCESS and TKDS_SHARE; `share` has an effect on files only. The stream
// stands at its start. `*stream` is null on failure. A file of another machine that is only read, while others may read
// too but not write, is read ahead and kept, see CreateShareStream; unless `options` say otherwise.
//
// E_ACCESSDENIED: a file can't be opened in this way, or others have it open in a way that excludes this.  kNotFound:
// it is gone. E_NOINTERFACE: a folder has no content.  STG_E_ACCESSDENIED: only files can be written.
// Otherwise as CreateHttpStream and CreateDataUriStream.
[[nodiscard]] HRESULT OpenStream(const Place& place, unsigned long access, unsigned long share,
                                 const SharedOptions& options, IStream** stream);

}  // namespace dataservices
