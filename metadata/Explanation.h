// Why detection gave its answer: lines of text for people.
//
// Errors: std::bad_alloc.  Threads: any.
#pragma once

#include "metadata/Detection.h"

#include <string>
#include <vector>

namespace metadata {

// Gives one line for the tags that were stepped over, one for the rule that spoke and the bytes that decided, one for
// each rule that saw its signature but was not convinced, and one for all rules that were asked and saw nothing.
[[nodiscard]] std::vector<std::wstring> Explain(const Detection& detection);

}  // namespace metadata
