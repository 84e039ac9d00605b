// Names of four characters, as most containers give them to their parts.
#pragma once

#include <cstdint>

namespace metadata {

// The number that a big-endian read of the four characters gives, whatever byte order the format's numbers are in.
[[nodiscard]] constexpr std::uint32_t FourCc(const char (&name)[5]) noexcept {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value = value << 8 | static_cast<std::uint8_t>(name[i]);
    return value;
}

// Whether all four characters are printable, as those of every name in use are.
[[nodiscard]] constexpr bool IsFourCc(std::uint32_t value) noexcept {
    for (int shift = 0; shift < 32; shift += 8) {
        const std::uint32_t character = value >> shift & 0xFF;
        if (character < 0x20 || character > 0x7E)
            return false;
    }
    return true;
}

}  // namespace metadata
