// What came of the calls of a trace, beside what had come when it was recorded.
#pragma once

#include "tvsource/trace/TraceCall.h"

#include <array>
#include <span>
#include <vector>

namespace tvsource {

struct Difference {
    size_t index;      // of the call in both lists
    const char* what;  // "result", "position", "bytes", "content" or "length"
    TraceCall expected;
    TraceCall came;
};

// In the order of the calls. Samples are matched by their positions: which of several requests a WaitForNext gets may
// be another one each time.
[[nodiscard]] std::vector<Difference> Differences(std::span<const TraceCall> recorded, std::span<const TraceCall> came);

// In microseconds.
struct CallTimes {
    size_t calls = 0;
    LONGLONG p50 = 0, p90 = 0, p99 = 0, longest = 0;
};

// By CallKind.
[[nodiscard]] std::array<CallTimes, kCallKinds> TimesOf(std::span<const TraceCall> calls);

}  // namespace tvsource
