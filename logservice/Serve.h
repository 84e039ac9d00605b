// The service at work: from its publication to its end.
#pragma once

#include "logservice/Options.h"

namespace logservice {

// Runs until somebody ends it or its time is over.  The program's exit code.
// Errors: console::CCommandError, std::bad_alloc.
[[nodiscard]] int Serve(const Options& options);

// Not all that was asked for is there; standard error says what.
inline constexpr int kFailed = 1;
// The service runs already.
inline constexpr int kRunsAlready = 3;

}  // namespace logservice
