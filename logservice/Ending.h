// How the program is told to end: Ctrl+C, Ctrl+Break, the closing of its console, or another run of it with --stop.
//
// Threads: any.
#pragma once

#include <windows.h>

namespace logservice {

// From now on those signal the event that is handed out, which is there until the process ends. The closing of the
// console leaves the program a few seconds. Null: there is no memory for it; they then end the process at once.
[[nodiscard]] HANDLE EndingEvent() noexcept;

// The program has done what it does at its end: whoever closes the console need not wait any longer.
void SetEnded() noexcept;

// Tells the service that runs in this session to end, and waits until it has.
// S_FALSE: there is none.  HRESULT_FROM_WIN32(ERROR_TIMEOUT): it hasn't ended within `limitMs`.
[[nodiscard]] HRESULT EndRunningService(DWORD limitMs) noexcept;

}  // namespace logservice
