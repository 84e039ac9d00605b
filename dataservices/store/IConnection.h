// How a store comes to the bytes of its source: whatever can give bytes from a position on.
//
// Units: positions and counts are bytes.
// Threads: one call at a time, but Abort, which any thread may call at any time.
#pragma once

#include "dataservices/store/CRangeStore.h"

#include <windows.h>

#include <optional>
#include <span>

namespace dataservices::store {

// What is known of the source; the first answer tells.
struct SourceFacts {
    std::optional<Position> length{};  // empty: it is live, and its end is not known
    bool hasRanges = false;            // any range can be asked for
};

// How an answer, or the lack of one, bears on the next try.
struct Outcome {
    HRESULT result = S_OK;
    bool mayPass = false;                         // of a failure: another try may do better
    std::optional<std::uint64_t> retryAfterMs{};  // what the server asks for
};

class IConnection {
public:
    virtual ~IConnection() = default;

    // Asks for the bytes from `at` on, to before `end` where that is given; an answer that is open is given up.
    // `*begin`: where the answer begins, which is before `at` where the source has no ranges. `*facts`: as far as this
    // answer tells.
    // STG_E_REVERTED: the source has changed.  E_ABORT: Abort was called.
    [[nodiscard]] virtual Outcome Open(Position at, std::optional<Position> end, Position* begin,
                                       SourceFacts* facts) = 0;

    // The next bytes of the answer, as soon as there are any; valid until the next call.
    // S_FALSE: the answer has come to its end, and all that was promised has come.  E_ABORT: Abort was called.
    [[nodiscard]] virtual Outcome Read(std::span<const Byte>* bytes) = 0;

    // Gives the open answer up, if there is one.
    virtual void Close() noexcept = 0;

    // The Open or Read that waits, or else the next one, ends at once.
    virtual void Abort() noexcept = 0;

    // What becomes of a failure, for a log: the source is asked again after the pause, or has failed at `at`.
    // Throws std::bad_alloc.
    virtual void Tell(Position at, HRESULT failure, std::optional<std::uint64_t> pauseMs) = 0;
};

}  // namespace dataservices::store
