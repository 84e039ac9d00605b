// Identifiers in content, in the byte order in which the platform's own formats keep them.
#pragma once

#include "metadata/CBytes.h"

namespace metadata {

struct Guid {
    std::uint32_t data1;
    std::uint16_t data2, data3;
    std::uint8_t data4[8];

    friend constexpr bool operator==(const Guid&, const Guid&) = default;
};

// The identifier at `at`; what is cut off of it is zero.
[[nodiscard]] constexpr Guid GuidAt(CBytes bytes, std::uint64_t at) noexcept {
    Guid guid{bytes.Le32(at), bytes.Le16(at + 4), bytes.Le16(at + 6), {}};
    for (unsigned i = 0; i < 8; ++i)
        guid.data4[i] = bytes.U8(at + 8 + i);
    return guid;
}

}  // namespace metadata
