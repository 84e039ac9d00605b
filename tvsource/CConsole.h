// Where the program's words go: as UTF-16 to a console, as UTF-8 to a file or pipe.
//
// Threads: one.  Errors: none; a program that can't say something goes on.
#pragma once

#include <windows.h>

#include <string_view>

// To standard output, for what was asked for.
void Print(std::wstring_view text);

// To standard error, for what a person should know beside it.
void Complain(std::wstring_view text);

// Whether this one of the standard handles (STD_OUTPUT_HANDLE, STD_ERROR_HANDLE) leads to a person's eyes.
[[nodiscard]] bool IsTerminal(DWORD standardHandle) noexcept;
