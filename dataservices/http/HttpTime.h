// Times as headers have them.
//
// Threads: any.
#pragma once

#include <windows.h>

#include <string>

namespace dataservices::http {

// Zero without a time, or with one that can't be read.
[[nodiscard]] FILETIME FileTimeOf(const std::wstring& header) noexcept;

// In 100 ns, so that times can be compared.
[[nodiscard]] constexpr ULONGLONG TicksOf(const FILETIME& time) noexcept {
    return ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

}  // namespace dataservices::http
