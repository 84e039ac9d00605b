// How the program is told to end: Ctrl+C, Ctrl+Break, the closing of its console, or another run of it with --stop.
//
// Threads: any.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

namespace logservice {

// From now on the keys and the closing of the console signal the event that is handed out, which is there until the
// process ends. The closing leaves the program a few seconds; a second Ctrl+C ends it at once.  Throws std::bad_alloc.
[[nodiscard]] HANDLE EndingEvent();

// What --stop signals, for the one service of the session.  Empty: somebody else holds the name; only --stop doesn't
// work then.
[[nodiscard]] base::CAutoHandle StopEvent() noexcept;

// The program has done what it does at its end: whoever closes the console need not wait any longer.
void SetEnded() noexcept;

// Tells the service that runs in this session to end, and waits until it has.
// S_FALSE: there is none.  HRESULT_FROM_WIN32(ERROR_TIMEOUT): it hasn't ended within `limitMs`.
[[nodiscard]] HRESULT EndRunningService(DWORD limitMs) noexcept;

}  // namespace logservice
