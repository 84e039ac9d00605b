// From a source's content to MIME types.
//
// Tags that may stand before any format (ID3v2) are stepped over, and then each rule is asked in turn until one knows
// the content. Names and extensions are never looked at.
//
// Errors: std::bad_alloc.  Threads: any, with a source each.
#pragma once

#include "metadata/FormatRules.h"

#include <vector>

namespace metadata {

// What one rule said. Rules that saw no sign of their format are left out.
struct Finding {
    const FormatRule* rule = nullptr;
    Verdict verdict;                  // its evidence is counted from the source's start
    std::vector<std::uint8_t> bytes;  // the first few of those that decided, if they are in the head
};

struct Detection {
    IByteSource::Result result = 0;  // how the source failed; there are no findings then
    std::vector<Finding> findings;   // in the order of the rules; the last one's verdict is the answer if it has types
    std::uint64_t start = 0;         // where in the source what is judged begins
    int tags = 0;                    // that were stepped over before it
    bool isOutOfTime = false;        // the source was so slow that less was read than usual
};

// The seek pointer is put back, also after a failure.
[[nodiscard]] Detection DetectFormat(IByteSource& source, CContent::Clock clock);

}  // namespace metadata
