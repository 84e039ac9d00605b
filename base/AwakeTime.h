// Time that stands still while the machine sleeps: for limits that a sleep must not use up.
//
// Units: milliseconds since some moment, which is the same for all processes of the machine.  Threads: any.
#pragma once

#include <windows.h>

namespace base {

[[nodiscard]] inline ULONGLONG AwakeMs() noexcept {
    constexpr ULONGLONG kStepsPerMs = 10'000;
    ULONGLONG steps = 0;
    ::QueryUnbiasedInterruptTime(&steps);
    return steps / kStepsPerMs;
}

}  // namespace base
