// Which media types a source's content is offered as.
//
// The MIME types of the content come from the MIME dictionary; where TvMetadata.dll gives none, from the data-service
// layer's metadata reader; where there is no TvMetadata.dll, from nowhere. Each MIME type is looked up in the MIME
// table.
#pragma once

#include "filter/COfferedTypes.h"

#include <objidl.h>

#include <optional>
#include <vector>

namespace filter {

// (MEDIATYPE_Stream, subtype) for every row of the MIME table that matches one of the content's MIME types; none when
// no row matches.
// `content` stands at its start and is left where the MIME dictionary leaves it. `result` receives how the dictionary's
// look at the content went (DetectMimeTypesFn), and is empty if the dictionary didn't look.
// Throws std::bad_alloc, and CAtlException carrying E_OUTOFMEMORY.
[[nodiscard]] std::vector<OfferedType> TypesOf(IStream* content, std::optional<HRESULT>& result);

}  // namespace filter
