// Opens what a name stands for: a local file, or whatever the data-service layer finds behind a URI.
#pragma once

#include "framework/streams/TKFStreamMode.h"
#include "framework/uri/CParsedName.h"

#include <objidl.h>

// `uri` is a path or a URI as CTKFUri describes them. A local file is opened by TKFCreateLocalFileSystemStream with the
// same mode, and its result is final: a missing file is not looked for elsewhere. Everything else, a name that does not
// parse included, is up to the data service: a UNC path too.
//
// `accessFactory`, if given, is asked for the data service's access factory; otherwise one is created. The factory that
// was used comes back through `usedAccessFactory`, if given, for further calls; null for a local file. Of the mode, the
// data service gets to know read, write, share read and share write.
//
// Threads: any thread that is in an apartment (a local file needs none). The stream belongs to the calling apartment.
// On failure both out-pointers are null.
//
// E_INVALIDARG: `uri` is null or empty, or `mode` has neither read nor write.  E_POINTER: `stream` is null.
// E_FAIL: the data service gave no factory, no accessor or no stream, though it reported success; or as for a local
// file. E_NOINTERFACE: the object can't be read, or can't be written, or `accessFactory` is no access factory.
// E_OUTOFMEMORY; anything else is a failure of the data service or of creating it (REGDB_E_CLASSNOTREG: none is
// installed).
[[nodiscard]] HRESULT TKFCreateStreamFromUri(const wchar_t* uri, DWORD mode, IStream** stream, IUnknown* accessFactory,
                                             IUnknown** usedAccessFactory) noexcept;

// The same for a name that has been parsed already. E_INVALIDARG: it is the empty one, or as above.
[[nodiscard]] HRESULT TKFCreateStreamFromUri(const framework::CParsedName& name, DWORD mode, IStream** stream,
                                             IUnknown* accessFactory, IUnknown** usedAccessFactory) noexcept;
