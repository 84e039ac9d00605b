// Finds out what streams a source has, for whoever doesn't want to play it.
#pragma once

#include "tvsource/graph/CPlayGraph.h"

namespace tvsource {

// How long a search may take without anything coming from the source. A read of a source that has ITKDSSourceControl
// has limits of its own; elsewhere nothing else ends it.
struct SearchLimits {
    DWORD readMs;  // for one read; INFINITE: reads end by themselves
};

// Runs `search` (TryParsers or Build) on a thread of its own, and throws what it throws. Gives the graph up
// (CPlayGraph::IsGivenUp) after a read that takes too long, or when a parser has read for half a minute and got
// nothing, five seconds if it did that very often. If a parser doesn't stop then, RunOrEndProcess ends the process.
void Search(CPlayGraph& graph, const SearchLimits& limits, const std::function<void()>& search);

// Why a graph was given up.
inline constexpr wchar_t kNothingComes[] = L"nothing comes from the source while a parser reads it";

// Connects the first parser that takes the source, and nothing behind it.  False: none does, or the source was given
// up, for example because one read took five seconds.
[[nodiscard]] bool FindStreams(CPlayGraph& graph);

}  // namespace tvsource
