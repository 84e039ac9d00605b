// How long an operation takes, on a machine that others use at the same time.
//
// Contenders take turns, round after round, so that a busy second hits them all; the best round of each one counts,
// since disturbances can only add time. Times are microseconds.
#pragma once

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <vector>

namespace bench {

class CStopwatch final {
public:
    CStopwatch() noexcept : m_start(Ticks()) {}

    [[nodiscard]] double Microseconds() const noexcept {
        static const double ticksPerMicrosecond = TicksPerSecond() / 1e6;
        return static_cast<double>(Ticks() - m_start) / ticksPerMicrosecond;
    }

private:
    static LONGLONG Ticks() noexcept {
        LARGE_INTEGER now{};
        ::QueryPerformanceCounter(&now);
        return now.QuadPart;
    }
    static double TicksPerSecond() noexcept {
        LARGE_INTEGER frequency{};
        ::QueryPerformanceFrequency(&frequency);
        return static_cast<double>(frequency.QuadPart);
    }

    LONGLONG m_start;
};

// The time of one call, from as many calls as fill some two milliseconds: less than the system gives to one process
// before it turns to the next, so that there are rounds which nobody disturbs. The clock is read after 1, 2, 4, ...
// further calls, so that it doesn't weigh on operations of a few nanoseconds.
template <class Operation>
[[nodiscard]] double TimePerCall(Operation& operation) {
    constexpr double kEnough = 2'000;
    ::Sleep(1);  // begins with a fresh share of the processor, whatever the contender before has used up
    long long calls = 0;
    double elapsed = 0;
    const CStopwatch watch;
    for (long long more = 1; elapsed < kEnough; more *= 2) {
        for (long long i = 0; i < more; ++i)
            operation();
        calls += more;
        elapsed = watch.Microseconds();
    }
    return elapsed / static_cast<double>(calls);
}

// The best time of one call of each operation, in the order of the arguments.
template <class... Operations>
[[nodiscard]] auto BestTimes(Operations&&... operations) {
    constexpr int kRounds = 80;
    std::array<double, sizeof...(operations)> best;
    best.fill(std::numeric_limits<double>::infinity());
    for (int round = 0; round < kRounds; ++round) {
        std::size_t i = 0;
        ((best[i] = std::min(best[i], TimePerCall(operations)), ++i), ...);
    }
    return best;
}

template <class Operation>
[[nodiscard]] double BestTime(Operation&& operation) {
    return BestTimes(operation)[0];
}

// For what can't be repeated at once: the time of a single call.
template <class Operation>
[[nodiscard]] double TimeOnce(Operation&& operation) {
    const CStopwatch watch;
    operation();
    return watch.Microseconds();
}

[[nodiscard]] inline double Median(std::vector<double> times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

}  // namespace bench
