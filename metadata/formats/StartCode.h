// MPEG's start codes: 00 00 01 and a byte that says what begins there. Nothing inside what they divide looks like one.
//
// Threads: any.  Units: bytes.
#pragma once

#include "metadata/CBytes.h"

#include <algorithm>

namespace metadata {

// The code that stands at `at`, or -1.
[[nodiscard]] inline int StartCodeAt(CBytes bytes, std::uint64_t at) {
    return bytes.Has(at, 4) && bytes.Be24(at) == 1 ? bytes.U8(at + 3) : -1;
}

// Where the next start code from `at` on stands; the end of the bytes if there is none.
[[nodiscard]] inline size_t FindStartCode(CBytes bytes, size_t at) {
    constexpr std::uint8_t kPrefix[] = {0, 0, 1};
    const std::span<const std::uint8_t> rest = bytes.From(at).Span();
    const auto found = std::search(rest.begin(), rest.end(), std::begin(kPrefix), std::end(kPrefix));
    return found == rest.end() ? bytes.Size() : at + static_cast<size_t>(found - rest.begin());
}

// The place of the first start code if only zeros stand before it; otherwise a place where no start code stands.
[[nodiscard]] inline size_t StartCodeBehindZeros(CBytes head) {
    const size_t one = head.LeadingZeros();
    return one < 2 ? 0 : one - 2;
}

}  // namespace metadata
