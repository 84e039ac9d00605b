// A view of bytes whose reads can't fail: whatever lies past the end reads as zero.
//
// Formats are recognised in content that may be cut off anywhere. A rule that compares fields needs no bounds check of
// its own. Where the difference between a zero and the end matters, the rule asks Has.
//
// Units: offsets in bytes from the start of the view.  Lifetime: that of the bytes viewed.  Threads: as a plain value.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

namespace metadata {

class CBytes final {
public:
    constexpr CBytes() noexcept = default;
    explicit constexpr CBytes(std::span<const std::uint8_t> bytes) noexcept : m_bytes(bytes) {}

    [[nodiscard]] constexpr size_t Size() const noexcept { return m_bytes.size(); }

    // Whether all of the `count` bytes at `at` are there.
    [[nodiscard]] constexpr bool Has(std::uint64_t at, std::uint64_t count) const noexcept {
        return at <= Size() && count <= Size() - at;
    }

    [[nodiscard]] constexpr std::uint8_t U8(std::uint64_t at) const noexcept {
        return at < Size() ? m_bytes[static_cast<size_t>(at)] : std::uint8_t{0};
    }
    [[nodiscard]] constexpr std::uint16_t Be16(std::uint64_t at) const noexcept {
        return static_cast<std::uint16_t>(U8(at) << 8 | U8(at + 1));
    }
    [[nodiscard]] constexpr std::uint32_t Be24(std::uint64_t at) const noexcept {
        return std::uint32_t{Be16(at)} << 8 | U8(at + 2);
    }
    [[nodiscard]] constexpr std::uint32_t Be32(std::uint64_t at) const noexcept {
        return std::uint32_t{Be16(at)} << 16 | Be16(at + 2);
    }
    [[nodiscard]] constexpr std::uint64_t Be64(std::uint64_t at) const noexcept {
        return std::uint64_t{Be32(at)} << 32 | Be32(at + 4);
    }
    [[nodiscard]] constexpr std::uint16_t Le16(std::uint64_t at) const noexcept {
        return static_cast<std::uint16_t>(U8(at + 1) << 8 | U8(at));
    }
    [[nodiscard]] constexpr std::uint32_t Le32(std::uint64_t at) const noexcept {
        return std::uint32_t{Le16(at + 2)} << 16 | Le16(at);
    }
    [[nodiscard]] constexpr std::uint64_t Le64(std::uint64_t at) const noexcept {
        return std::uint64_t{Le32(at + 4)} << 32 | Le32(at);
    }

    // Four bytes of seven bits, as tags write their lengths.
    [[nodiscard]] constexpr std::uint32_t SevenBit32(std::uint64_t at) const noexcept {
        return std::uint32_t{U8(at)} << 21 | std::uint32_t{U8(at + 1)} << 14 | std::uint32_t{U8(at + 2)} << 7 |
               U8(at + 3);
    }
    // `count` bits, at most 32, from bit `bit` on; the first of them becomes the most significant one. Bit 0 is the
    // highest bit of the first byte.
    [[nodiscard]] constexpr std::uint32_t Bits(std::uint64_t bit, unsigned count) const noexcept {
        const std::uint64_t mask = (std::uint64_t{1} << count) - 1;
        return static_cast<std::uint32_t>(Be64(bit / 8) >> (64 - bit % 8 - count) & mask);
    }

    // Whether the characters of the literal, zeros inside it included, stand at `at`.
    template <size_t N>
    [[nodiscard]] constexpr bool Is(std::uint64_t at, const char (&literal)[N]) const noexcept {
        if (!Has(at, N - 1))
            return false;
        for (size_t i = 0; i + 1 < N; ++i) {
            if (U8(at + i) != static_cast<std::uint8_t>(literal[i]))
                return false;
        }
        return true;
    }

    // What lies behind `at`, at most `count` bytes of it.
    [[nodiscard]] constexpr CBytes From(std::uint64_t at, std::uint64_t count = SIZE_MAX) const noexcept {
        if (at >= Size())
            return {};
        const std::uint64_t available = Size() - at;
        return CBytes(m_bytes.subspan(static_cast<size_t>(at), static_cast<size_t>(std::min(count, available))));
    }

    // How many zeros the view begins with: files begin with them where a stream was cut, and sectors end with them.
    [[nodiscard]] constexpr size_t LeadingZeros() const noexcept {
        return static_cast<size_t>(std::find_if(m_bytes.begin(), m_bytes.end(), [](std::uint8_t b) { return b != 0; }) -
                                   m_bytes.begin());
    }

    [[nodiscard]] constexpr std::span<const std::uint8_t> Span() const noexcept { return m_bytes; }

private:
    std::span<const std::uint8_t> m_bytes;
};

}  // namespace metadata
