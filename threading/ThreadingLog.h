// The records of what goes wrong with the work of others.
#pragma once

#include <cstddef>
#include <exception>

namespace threading {

// A call or task of the queue or manager `name` threw, and nobody waits for it.
void LogThrown(const char* name, const std::exception_ptr& thrown) noexcept;

// No thread could be had for `count` tasks of the manager `name`.
void LogLack(const char* name, std::size_t count) noexcept;

}  // namespace threading
