// A stream in memory, with contents or with room for them.
#pragma once

#include <windows.h>

#include <objidl.h>

// Hands out a CMemoryStream that stands at its start.
//
// With `data`, the stream has `size` bytes, a copy of `data`. Of a size beyond 32 bits the low 32 bits say how many
// bytes are copied; the others read as zeros. This is so on purpose: such a stream has its size, but not its contents.
// A negative size is refused then, also on purpose: no data has one, and the low 32 bits of -1 would be 4 GB to copy.
// With null for `data`, the stream is empty, and the low 32 bits of `size`, whatever its sign, only say for how many
// bytes memory is set aside, so that filling it by writes allocates no more.
//
// On failure `*stream` is null.
// E_POINTER: `stream` is null.  E_INVALIDARG: there is data of a negative size.  E_OUTOFMEMORY.  Otherwise the
// failure to make a free-threaded marshaler.
[[nodiscard]] HRESULT TKFCreateMemoryStream(const void* data, LONGLONG size, IStream** stream) noexcept;
