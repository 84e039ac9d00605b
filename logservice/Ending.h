// How the person in front of it tells the program to end: Ctrl+C, Ctrl+Break, the closing of its console. For --stop
// see CTurn.
//
// A logoff or shutdown isn't heard of: the system tells only programs of which no library has to do with windows, and
// COM has. They end the program like a kill.
//
// Threads: any.
#pragma once

#include <windows.h>

namespace logservice {

// From now on the keys and the closing of the console signal the event that is handed out, which is there until the
// process ends. The closing leaves the program a few seconds; a second Ctrl+C ends it at once.  Throws std::bad_alloc.
[[nodiscard]] HANDLE EndingEvent();

// The program has done what it does at its end: whoever closes the console need not wait any longer.
void SetEnded() noexcept;

}  // namespace logservice
