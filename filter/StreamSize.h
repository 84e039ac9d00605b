// The size of a source, as the source itself says it.
#pragma once

#include <objidl.h>

namespace filter {

// Writes 0 on failure. The failure is the stream's own, or that of an exception that it threw. A stream of unknown size
// gives a size with its top bit set.
[[nodiscard]] HRESULT AskSize(IStream& stream, ULONGLONG* size) noexcept;

}  // namespace filter
