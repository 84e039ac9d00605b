#include "tvsource/trace/Differences.h"

#include <algorithm>
#include <deque>
#include <map>

namespace tvsource {

namespace {

// Null: none.
const char* Different(const TraceCall& expected, const TraceCall& came) noexcept {
    if (expected.result != came.result)
        return "result";
    if (expected.total != came.total || expected.available != came.available)
        return "length";
    if (expected.bytes != came.bytes)
        return "bytes";
    return expected.hash != came.hash ? "content" : nullptr;
}

bool GotSample(const TraceCall& call) noexcept {
    return call.kind == CallKind::WaitForNext && SUCCEEDED(call.result);
}

}  // namespace

std::vector<Difference> Differences(std::span<const TraceCall> recorded, std::span<const TraceCall> came) {
    std::map<LONGLONG, std::deque<size_t>> samples;  // that came in the trace, by position
    for (size_t i = 0; i < recorded.size(); ++i) {
        if (GotSample(recorded[i]))
            samples[recorded[i].position].push_back(i);
    }
    std::vector<size_t> counterparts(recorded.size());  // of each call that came
    for (size_t i = 0; i < came.size(); ++i) {
        counterparts[i] = i;
        if (const auto found = samples.find(came[i].position); GotSample(came[i]) && found != samples.end()) {
            std::deque<size_t>& indexes = found->second;
            if (!indexes.empty()) {
                counterparts[i] = indexes.front();
                indexes.pop_front();
            }
        }
    }
    std::vector<Difference> differences;
    for (size_t i = 0; i < came.size(); ++i) {
        const TraceCall& expected = recorded[counterparts[i]];
        const bool isOther = GotSample(came[i]) && came[i].position != expected.position;
        const char* const what = isOther ? "position" : Different(expected, came[i]);
        if (what)
            differences.push_back({i, what, expected, came[i]});
    }
    return differences;
}

std::array<CallTimes, kCallKinds> TimesOf(std::span<const TraceCall> calls) {
    std::array<std::vector<LONGLONG>, kCallKinds> took;
    for (const TraceCall& call : calls)
        took[static_cast<size_t>(call.kind)].push_back(call.tookUs);
    std::array<CallTimes, kCallKinds> times{};
    for (size_t kind = 0; kind < kCallKinds; ++kind) {
        std::vector<LONGLONG>& sorted = took[kind];
        std::ranges::sort(sorted);
        // The least time that so many of a hundred calls didn't exceed.
        const auto percentile = [&](size_t percent) { return sorted[(sorted.size() * percent + 99) / 100 - 1]; };
        if (!sorted.empty())
            times[kind] = {sorted.size(), percentile(50), percentile(90), percentile(99), sorted.back()};
    }
    return times;
}

}  // namespace tvsource
