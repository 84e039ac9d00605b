// Opens http and https URLs.
//
// Threads: any.
#pragma once

#include "dataservices/SourceOptions.h"
#include "dataservices/store/CRangeSource.h"
#include "framework/uri/CTKFUri.h"

#include <windows.h>

#include <objidl.h>

namespace dataservices::http {

// Opens an http or https URL (read-only) and hands out a stream at its start, see store::CSourceStream. The request is
// made now. A source whose length the server doesn't tell is waited for a little: a short one ends meanwhile, and so
// has a length after all. `*stream` is null on failure. `clock` is for tests. `options`: null stands for the
// defaults.
//
// E_INVALIDARG: `url` is none that CHttpUrl takes.  E_POINTER: `stream` is null.  kHttpTimeout: the server stays
// silent.  Otherwise as HttpGet, 0x80190000 and the status of an answer that has no content, and kHttpInvalidResponse
// for one that contradicts itself.
[[nodiscard]] HRESULT CreateHttpStream(const CTKFUri& url, IStream** stream,
                                       store::CRangeSource::Clock clock = &::GetTickCount64,
                                       SharedOptions options = nullptr) noexcept;

}  // namespace dataservices::http
