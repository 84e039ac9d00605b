// Recordings and log files, shown again.
#pragma once

#include "logservice/Options.h"

namespace logservice {

// Shows what options.open names, through the filter, and writes the outputs that are asked for.  The program's exit
// code. Errors: console::CCommandError, console::COutputError.
[[nodiscard]] int Open(const Options& options);

}  // namespace logservice
