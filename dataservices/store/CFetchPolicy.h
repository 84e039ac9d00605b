// Decides what is asked for next, on at most two connections.
//
// The play answer is open-ended and runs ahead of those who read there. A detour answer is for what is read elsewhere,
// an index at the end, say. It is bounded: to kLeastDetour at first, to twice as much each time that the detour goes
// on; a detour of kLongDetour becomes the play answer, unless that is still read. Nothing is asked for that nobody
// reads, and nothing that is here. A short jump ahead waits for the open answer if that is there sooner than a new one.
//
// This class only decides. The source has the store, the connections and the clock, and tells what has happened.
//
// Units: positions and counts are bytes, times milliseconds, rates bytes in a second.
// Threads: one at a time.
#pragma once

#include "dataservices/store/CRangeStore.h"

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace dataservices::store {

enum Lane : std::size_t { PlayLane, DetourLane };
inline constexpr std::size_t kLanes = 2;

class CFetchPolicy final {
public:
    static constexpr Position kLeastDetour = 0x40000;
    static constexpr Position kLongDetour = 0x800000;
    static constexpr Position kLeastAhead = 0x1000000;
    static constexpr Position kAheadOfRead =
        4;  // times what was read: whoever only looks at a source gets little of it
    static constexpr std::uint64_t kAheadMs = 20'000;  // of reading, at the readers' own rate
    static constexpr Position kNear = 0x40000;         // a jump that is always read through

    // What the source is.
    struct Source {
        std::optional<Position> length{};
        bool hasRanges = false;      // any range can be asked for
        bool oneConnection = false;  // a second one is refused
    };

    struct Job {
        enum class Kind {
            Nothing,  // until something happens
            Read,     // on, from the open answer
            Open,     // a new answer in place of the open one, from `at` on
            Close,    // the open answer
        };
        Kind kind = Kind::Nothing;
        Position at = 0;
        std::optional<Position> end{};  // before which a bounded answer ends
    };

    // `mostAhead`: how much may be here before anyone reads it, a share of the store.
    // Throws std::bad_alloc.
    explicit CFetchPolicy(Position mostAhead);

    // What the lane is to do now. `wanted`: where readers wait, who came first in front; nothing of that is in the
    // store. The other lane may have to do something else afterwards.
    [[nodiscard]] Job Next(Lane lane, const CRangeStore& store, std::span<const Position> wanted,
                           const Source& source) noexcept;

    // What has happened. `at`: where the answer begins, which may be before what was asked for.
    void Asked(Lane lane, Position at, std::optional<Position> end) noexcept;
    void Answered(Lane lane, Position at, std::uint64_t roundTripMs) noexcept;
    void Received(Lane lane, std::size_t bytes, std::uint64_t elapsedMs) noexcept;
    void Ended(Lane lane) noexcept;
    void WasRead(const Range& range, std::uint64_t nowMs) noexcept;

    // The byte that comes next on the lane's answer, which is open.
    [[nodiscard]] Position At(Lane lane) const noexcept { return m_answers[lane]->at; }

    [[nodiscard]] Position PlayAt() const noexcept { return m_answers[PlayLane] ? m_answers[PlayLane]->at : 0; }

    // Where those who have read lately are about to come to, for the store. Valid until the next WasRead.
    [[nodiscard]] std::span<const Range> Expected() noexcept;

    [[nodiscard]] bool IsOpen(Lane lane) const noexcept { return m_answers[lane].has_value(); }

    // How far the play answer is ahead of the first of its readers.
    [[nodiscard]] Position Ahead() const noexcept;
    // How far it goes ahead before it is left alone for a while.
    [[nodiscard]] Position HighWater() const noexcept;
    [[nodiscard]] std::uint64_t Rate() const noexcept { return m_rate.perSecond; }

private:
    // An answer that is open, or is being asked for.
    struct Answer {
        Position at = 0;  // of the byte that comes next
        std::optional<Position> end;
    };
    // A smoothed rate.
    struct MeasuredRate {
        void Add(std::uint64_t bytes, std::uint64_t ms) noexcept;

        std::uint64_t perSecond = 0, pendingBytes = 0, pendingMs = 0;
    };
    // One who reads on and on.
    struct Reader {
        Position at = 0;
        std::uint64_t lastMs = 0;
        MeasuredRate rate;
    };

    [[nodiscard]] bool Brings(Lane lane, Position wanted, const Source& source) const noexcept;
    [[nodiscard]] std::optional<Position> Unserved(std::span<const Position> wanted,
                                                   const Source& source) const noexcept;
    [[nodiscard]] bool BecomesPlay(Position at) const noexcept;
    [[nodiscard]] bool GoesOn(Position at) const noexcept;
    [[nodiscard]] Position Reach() const noexcept;
    [[nodiscard]] Job NextPlay(const CRangeStore& store, std::span<const Position> wanted,
                               const Source& source) noexcept;
    [[nodiscard]] Job NextDetour(const CRangeStore& store, std::span<const Position> wanted,
                                 const Source& source) const noexcept;
    [[nodiscard]] Position EndOfDetour(Position at, const CRangeStore& store, const Source& source) const noexcept;
    [[nodiscard]] std::optional<Position> Frontier(const CRangeStore& store) const noexcept;

    const Position m_mostAhead;
    std::array<std::optional<Answer>, kLanes> m_answers;
    MeasuredRate m_rate;
    std::uint64_t m_roundTripMs = 0;
    Position m_read = 0;            // in all
    bool m_isResting = false;       // the play answer, at the high water
    Range m_detour;                 // all of the last one, as far as it was asked for
    std::uint64_t m_detourMs = 0;   // when it began
    std::uint64_t m_nowMs = 0;      // of the last read
    std::vector<Reader> m_readers;  // kMostReaders at most
    std::vector<Range> m_expected;  // of these
};

}  // namespace dataservices::store
