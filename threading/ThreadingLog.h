// What the calls and tasks of others do to the log.
#pragma once

#include <exception>

namespace threading {

// Logs that a call or task of the thread or queue `name` threw, and what.
void LogThrown(const char* name, const std::exception_ptr& thrown) noexcept;

}  // namespace threading
