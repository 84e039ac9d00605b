// Files of other machines behind a store, as http sources are: read ahead, kept, and asked for again where the network
// fails for a while.
//
// Threads: any.
#pragma once

#include "dataservices/shares/ShareSource.h"

#include <objidl.h>

namespace dataservices::shares {

// A stream of `file`, which has just been opened for reading as `opening` says; see store::CSourceStream. Its length is
// that of now. Stat tells what that of `file` tells, as it is now, too.
//
// STG_E_REVERTED, of a read: the file has another size, or was written since. HRESULT_FROM_WIN32 of an error of the
// network: it has lasted for all retries.  HRESULT_FROM_WIN32(ERROR_SEM_TIMEOUT): the read has taken too long.
// STG_E_ACCESSDENIED: the file doesn't tell its size.  Throws std::bad_alloc.
[[nodiscard]] HRESULT CreateShareStream(CShareFile::File file, Opening opening, IStream** stream);

}  // namespace dataservices::shares
