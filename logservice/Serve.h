// The service at work: from its publication to its end.
#pragma once

#include "logservice/Options.h"

namespace logservice {

// Runs until somebody ends it or its time is over.  The program's exit code.
// Errors: console::CCommandError, console::COutputError.
[[nodiscard]] int Serve(const Options& options);

// The service runs already.
inline constexpr int kRunsAlready = 3;

}  // namespace logservice
