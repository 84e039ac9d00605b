// Ends of the program that wait for nothing: Ctrl+C, Ctrl+Break and the closing of the console, and limits for what
// should have ended by itself.
//
// Threads: the main thread; RunOrEndProcess: any.
#pragma once

#include "console/CCommandError.h"

#include <windows.h>

#include <functional>

namespace tvsource {

// The program's exit code after an interrupt: the one that shells give to a program that Ctrl+C has ended.
inline constexpr int kInterrupted = 130;

// From now on an interrupt wipes the progress line and ends the process, in whatever state it is.
void EndOnInterrupt();

// From now on an interrupt first signals the event that is handed out, and leaves the program `graceMs` to end by
// itself, in order. The event is there until the process ends.
[[nodiscard]] HANDLE InterruptEvent(DWORD graceMs = 500);

// Runs a step that waits for reads of the source, on another thread of the multithreaded apartment. Throws what it
// throws. If it hasn't ended after five seconds, the last words are that a read does not end, and the process ends with
// code 1. Where no thread can be had, the step runs on the caller's, without a limit.
void RunOrEndProcess(const std::function<void()>& step);

// Who says the last words, in place of a line on standard error. Empty: nobody else. Called on the thread of
// RunOrEndProcess, once.
void SetLastWords(std::function<void(const console::CCommandError& error)> say);

}  // namespace tvsource
