// Why a content was taken for what it was: lines of text for people.
//
// Errors: std::bad_alloc.  Threads: any.
#pragma once

#include "metadata/Detection.h"

#include <string>
#include <vector>

namespace metadata {

// One line for each of: the tags that were stepped over, the rule that spoke and the bytes that decided, each rule that
// saw its signature and was not convinced, and all rules together that were asked and saw nothing.
[[nodiscard]] std::vector<std::wstring> Explain(const Detection& detection);

}  // namespace metadata
