// Thread names as debuggers show them.
#pragma once

namespace threading {

// Tells an attached debugger the name of the calling thread; without a debugger nothing happens. `name` must not be
// null.
void AnnounceThreadName(const char* name) noexcept;

}  // namespace threading
