// Identifiers in content, in the byte order in which the platform's own formats keep them.
#pragma once

#include "metadata/CBytes.h"

#include <guiddef.h>

namespace metadata {

// The identifier at `at`; what is cut off of it is zero.
[[nodiscard]] constexpr GUID GuidAt(CBytes bytes, std::uint64_t at) noexcept {
    GUID guid{bytes.Le32(at), bytes.Le16(at + 4), bytes.Le16(at + 6), {}};
    for (unsigned i = 0; i < 8; ++i)
        guid.Data4[i] = bytes.U8(at + 8 + i);
    return guid;
}

}  // namespace metadata
