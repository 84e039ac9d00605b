// How often a source is asked again, and for how long it then stays failed.
//
// While somebody waits, a failure is followed by a pause and another try, five times. Every new byte starts the count
// anew. When it is used up, the source stays failed for a while, so that a reader that goes on after failures, as
// parsers do, comes to its end; then it has all tries again. Failures while nobody waits count as one: what is read
// ahead may be tried again later.
//
// Units: milliseconds.  Threads: one at a time.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>

namespace dataservices::store {

class CPatience final {
public:
    static constexpr std::uint64_t kPausesMs[] = {100, 200, 400, 800, 1600};
    static constexpr std::uint64_t kFailedMs = 10'000;
    static constexpr std::uint64_t kMostRetryAfterMs = 30'000;
    static constexpr std::uint64_t kForGood = ~std::uint64_t{0};

    // `mostTries`: without a new byte, after the first.
    explicit CPatience(std::size_t mostTries = std::size(kPausesMs)) noexcept : m_mostTries(mostTries) {}

    // What a failure is: for good, or for a while, or one that another try may get over.
    enum class Kind { ForGood, ForAWhile, MayPass };

    // A try has failed. The pause before the next one; empty: there is none, and readers are told.
    // `retryAfterMs`: what the server asks for.
    std::optional<std::uint64_t> Failed(HRESULT failure, Kind kind, bool isWaitedFor,
                                        std::optional<std::uint64_t> retryAfterMs, std::uint64_t nowMs) noexcept {
        const std::uint64_t asked = std::min(retryAfterMs.value_or(0), kMostRetryAfterMs);
        if (kind != Kind::MayPass || (isWaitedFor && m_tries >= m_mostTries)) {
            StayFailed(failure, kind == Kind::ForGood ? kForGood : nowMs + std::max(kFailedMs, asked));
            return std::nullopt;
        }
        m_failure = failure;
        const std::uint64_t pauseMs = kPausesMs[std::min(m_tries, std::size(kPausesMs) - 1)];
        m_tries = isWaitedFor ? m_tries + 1 : std::max<std::size_t>(m_tries, 1);
        return std::max(pauseMs, asked);
    }

    // The time of a reader is up.  True: trying again had brought nothing, so the source stays failed.
    bool GiveUp(std::uint64_t nowMs) noexcept {
        if (m_tries == 0)
            return false;
        StayFailed(m_failure, nowMs + kFailedMs);
        return true;
    }

    // New bytes have come.
    void Succeeded() noexcept { m_tries = 0; }

    // The failure that readers are told at once; S_OK: they wait.
    [[nodiscard]] HRESULT Failure(std::uint64_t nowMs) const noexcept {
        return nowMs < m_failedUntilMs ? m_failure : S_OK;
    }

private:
    void StayFailed(HRESULT failure, std::uint64_t untilMs) noexcept {
        m_failure = failure;
        m_failedUntilMs = untilMs;
        m_tries = 0;
    }

    const std::size_t m_mostTries;
    HRESULT m_failure = S_OK;
    std::size_t m_tries = 0;
    std::uint64_t m_failedUntilMs = 0;
};

}  // namespace dataservices::store
