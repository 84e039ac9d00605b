// The last bytes that came from a source, up to a fixed number, wherever in it they stand; fewer after 64 jumps.
//
// Units: positions and counts are bytes.  Threads: one at a time.
#pragma once

#include <windows.h>

#include <span>
#include <vector>

namespace dataservices::http {

class CRecentBytes final {
public:
    // Throws std::bad_alloc.
    explicit CRecentBytes(ULONG capacity);

    // Keeps `bytes`, which begin at `position`, and drops the oldest ones to make room.
    void Append(ULONGLONG position, std::span<const BYTE> bytes) noexcept;

    // Copies the bytes from `position` on, as far as they are kept in one piece and fit; the count, 0 if there are
    // none.
    ULONG CopyTo(ULONGLONG position, std::span<BYTE> target) const noexcept;

    [[nodiscard]] bool Holds(ULONGLONG position) const noexcept { return Find(position) != nullptr; }

private:
    // Bytes that are neighbours in the source and came one after the other.
    struct Run {
        ULONGLONG position;  // in the source
        ULONGLONG start;     // its number among all the bytes that ever came
        ULONGLONG length;
    };
    [[nodiscard]] const Run* Find(ULONGLONG position) const noexcept;
    void MakeRoom(ULONGLONG bytes) noexcept;

    std::vector<BYTE> m_ring;  // the byte with number n is at n % size
    std::vector<Run> m_runs;   // the oldest first
    ULONGLONG m_end = 0;       // how many bytes ever came
};

}  // namespace dataservices::http
