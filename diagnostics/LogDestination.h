// Where the records of a thread go: for a program that tells the person in front of it where to look.
#pragma once

#include <string>

namespace TKRuntimeLogger {

struct LogDestination {
    enum class Kind { Nowhere, Service, File };

    Kind kind = Kind::Nowhere;
    std::wstring path;  // of the file, in full; with Nowhere, of one that could not be opened
};

// The calling thread's; it looks for a logger if it hasn't yet.  Throws std::bad_alloc.
[[nodiscard]] LogDestination ThreadLogDestination();

}  // namespace TKRuntimeLogger
