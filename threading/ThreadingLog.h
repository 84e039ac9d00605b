// What the calls and tasks of others do to the log.
#pragma once

#include <exception>

namespace threading {

// Logs that a call of the thread or queue `name` threw, and what.
void LogThrownCall(const char* name, const std::exception_ptr& thrown) noexcept;

}  // namespace threading
