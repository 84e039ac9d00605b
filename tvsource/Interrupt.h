// Ctrl+C, Ctrl+Break and the closing of the console end the program at once, whatever it waits for: the network, say.
//
// Threads: the main thread.
#pragma once

#include <windows.h>

// The program's exit code then, the one that shells give a program that Ctrl+C has ended.
inline constexpr int kInterrupted = 130;

// From now on an interrupt wipes the progress line and ends the process, in whatever state it is.
void EndOnInterrupt();

// From now on an interrupt first signals the event that is handed out, and leaves the program half a second to end by
// itself, in order. The event is there until the process ends.
[[nodiscard]] HANDLE InterruptEvent();
