// The size of a source, as the source itself says it.
#pragma once

#include <objidl.h>

namespace filter {

// A failure, which is the stream's own or that of what it throws, leaves 0. Streams of unknown size give one with its
// top bit set.
[[nodiscard]] HRESULT AskSize(IStream& stream, ULONGLONG* size) noexcept;

}  // namespace filter
