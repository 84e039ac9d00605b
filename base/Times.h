// Points in time as numbers: steps of 100 ns since 1601, UTC, as the system's FILETIME counts them. 0 is no time.
//
// Threads: any.
#pragma once

#include <windows.h>

namespace base {

inline constexpr ULONGLONG kTicksASecond = 10'000'000;
inline constexpr LONGLONG kTicksFrom1601To1970 = 116'444'736'000'000'000;

[[nodiscard]] constexpr ULONGLONG TicksOf(const FILETIME& time) noexcept {
    return (ULONGLONG{time.dwHighDateTime} << 32) | time.dwLowDateTime;
}

[[nodiscard]] constexpr FILETIME FileTimeOf(ULONGLONG ticks) noexcept {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

[[nodiscard]] inline ULONGLONG NowInTicks() noexcept {
    FILETIME now{};
    ::GetSystemTimeAsFileTime(&now);
    return TicksOf(now);
}

// Whole microseconds since 1970; below zero for what was before.
[[nodiscard]] constexpr LONGLONG MicrosecondsSince1970(ULONGLONG ticks) noexcept {
    return (static_cast<LONGLONG>(ticks) - kTicksFrom1601To1970) / 10;
}

}  // namespace base
