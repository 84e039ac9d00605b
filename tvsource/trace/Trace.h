// A trace that is read from a file. Whoever wrote the file may have meant harm: nothing in it makes the program take
// more memory than it says here, or ask a source for more. What CTraceRecorder writes is within these limits.
//
// Errors: CCommandError, with the number of the line that makes no sense.
#pragma once

#include "tvsource/trace/TraceCall.h"

#include <string>
#include <vector>

namespace tvsource {

struct Trace {
    std::wstring source;             // by the name that was shown to people
    std::optional<LONGLONG> length;  // of the source; empty: not known
    std::string ended;               // how the run ended that was recorded
    std::vector<TraceCall> calls;
    unsigned threads = 0;  // numbered from 1 on
};

// What a line or a trace may have.
inline constexpr size_t kMostLineBytes = 0x10000;
inline constexpr size_t kMostCalls = 5'000'000;
inline constexpr unsigned kMostThreads = 64;
inline constexpr LONGLONG kMostReadBytes = 0x4000000;   // in one call that is made again
inline constexpr LONGLONG kMostRunUs = 86'400'000'000;  // a day

// Whether the call is made again: not one that asks for too much at once, or for what no sample can carry.
[[nodiscard]] bool IsReplayable(const TraceCall& call) noexcept;

[[nodiscard]] Trace ReadTrace(const std::wstring& path);

}  // namespace tvsource
