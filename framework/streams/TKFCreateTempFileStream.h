// A stream over a new file in the temporary folder.
#pragma once

#include <windows.h>

#include <objidl.h>

// Hands out an empty stream for reading and writing. Its file is gone when the last reference to it goes. Until then
// others may delete the file, but not open it in any other way, so the stream can't be cloned.
//
// On failure `*stream` is null and no file is left.
// E_POINTER: `stream` is null.  Otherwise the system's error, as HRESULT_FROM_WIN32, if there is no temporary folder
// that takes a file, or as for TKFCreateStreamFromUri.
[[nodiscard]] HRESULT TKFCreateTempFileStream(IStream** stream) noexcept;
