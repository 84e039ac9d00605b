// Compressed audio without a container is a chain of frames, each of which says how long it is. One header proves
// nothing; several that lead from one to the next and agree do.
//
// Threads: any.  Units: bytes.
#pragma once

#include "metadata/CContent.h"

#include <optional>

namespace metadata {

struct Frame {
    std::uint32_t bytes = 0;   // from this frame's start to the next one's, at least 1
    std::uint32_t family = 0;  // what all frames of a stream have in common, as a number
};

// The frame that starts at `at`, if one can.
using ParseFrame = std::optional<Frame> (*)(CBytes bytes, size_t at);

struct FrameChain {
    size_t frames = 0;  // of one family, in a row; the last may be cut off by the content's end
    size_t end = 0;     // where the next one would start
    // Nothing follows the frames but a tag or the content's end, perhaps with a little of one more header or zeros
    // before it.
    bool reachesEnd = false;
};

// Follows the chain at `at` for at most `most` frames. Four bytes that repeat immediately don't start a
// frame; they are a fill pattern of a picture or a table.
[[nodiscard]] FrameChain FollowFrames(const CContent& content, size_t at, ParseFrame parse, size_t most);

// Follows the whole chain at `at`, and the chains of other families that come without a gap and have at least `wanted`
// frames: songs of different sample rates in one file, say.
[[nodiscard]] FrameChain FollowAllFrames(const CContent& content, size_t at, ParseFrame parse, size_t wanted);

// Where in the head the first chain of at least `wanted` frames starts, or of `wantedToTheEnd` that reach the content's
// end. `sync` is every frame's first byte. A chain that breaks off and is no longer than a container's packet counts as
// part of a container: nothing is found. The same holds for a chain that the head's end cuts off, where the content can
// be walked on. `wanted` is small, so that the search takes time in proportion to the head.
[[nodiscard]] std::optional<size_t> FindFrames(const CContent& content, ParseFrame parse, std::uint8_t sync,
                                               size_t wanted, size_t wantedToTheEnd);

}  // namespace metadata
