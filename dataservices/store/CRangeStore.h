// What has come of a source, wherever in it: pages of bytes, up to an exact limit.
//
// Where there is no more room, the page that was used longest ago goes first. Three kinds of pages go last: those that
// readers are about to come to, those that are read again and again, as an index is, though not too many of them, and
// those of the source's beginning.
//
// Units: positions and counts are bytes.
// Threads: one at a time.
// Errors: the constructor throws std::bad_alloc; bytes for which there is no memory later on are dropped.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

namespace dataservices::store {

using Position = std::uint64_t;
using Byte = unsigned char;

// From `begin` to before `end`.
struct Range {
    Position begin = 0;
    Position end = 0;

    [[nodiscard]] Position Length() const noexcept { return end - begin; }
    friend bool operator==(const Range&, const Range&) = default;
};

class CRangeStore final {
public:
    static constexpr std::size_t kPageBytes = 0x4000;
    static constexpr Position kBeginning = 0x100000;  // the first of the source, which goes last

    // `limitBytes`: of all pages together, rounded down to whole ones; 32 at least.
    explicit CRangeStore(std::size_t limitBytes);
    CRangeStore(const CRangeStore&) = delete;
    CRangeStore& operator=(const CRangeStore&) = delete;

    // Keeps `bytes`, which begin at `position`. Of a page, one piece is kept: bytes that don't touch the piece that is
    // there take its place.
    void Put(Position position, std::span<const Byte> bytes) noexcept;

    // Where readers are about to come to, and what they wait for now; replaces what was said before. Kept as it is, so
    // it must outlive that. If there is no room for all of it, that goes which was used longest ago.
    void Expect(std::span<const Range> expected, std::span<const Range> needed = {}) noexcept {
        m_expected = expected;
        m_needed = needed;
    }

    // Copies the bytes from `position` on, as far as they are here without a gap and fit; the count, 0 if there are
    // none. This counts as use.
    std::size_t CopyTo(Position position, std::span<Byte> target) noexcept;

    // Where the bytes that are here from `position` on come to their end; `position` itself if there are none. It looks
    // no further than `atMost` bytes need.
    [[nodiscard]] Position EndFrom(Position position, Position atMost = ~Position{0}) const noexcept;

    // Where the next bytes from `position` on begin that are here; the largest position if there are none.
    [[nodiscard]] Position NextFrom(Position position) const noexcept;

    // All that is here, in order; ranges that touch are one.  Throws std::bad_alloc.
    [[nodiscard]] std::vector<Range> Ranges() const;

    // Taken by pages.
    [[nodiscard]] std::size_t Bytes() const noexcept { return m_pages.size() * kPageBytes; }
    [[nodiscard]] std::size_t Limit() const noexcept { return m_mostPages * kPageBytes; }

    void Clear() noexcept;

private:
    enum Kind : std::size_t { Passing, Index, Beginning };  // in the order in which they go
    static constexpr std::size_t kKinds = 3;

    struct Page {
        Position number = 0;
        std::size_t from = 0, to = 0;  // the piece that is here, in the page
        Kind kind = Passing;
        unsigned visits = 0;
        std::unique_ptr<Byte[]> bytes;
    };
    using Pages = std::list<Page>;

    [[nodiscard]] Page* Take(Position number);
    [[nodiscard]] Pages::iterator NextToGo() noexcept;
    [[nodiscard]] bool IsExpected(const Page& page) const noexcept;
    void Use(Pages::iterator page) noexcept;
    void MoveTo(Kind kind, Pages::iterator page) noexcept;

    const std::size_t m_mostPages;
    const std::size_t m_mostIndexPages;
    std::array<Pages, kKinds> m_byUse;  // the one that was used longest ago first
    std::unordered_map<Position, Pages::iterator> m_pages;
    Position m_lastUsed = ~Position{0};  // its number
    std::span<const Range> m_expected, m_needed;
};

}  // namespace dataservices::store
