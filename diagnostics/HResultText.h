// The system's texts for result codes, in the user's language.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <windows.h>

#include <string>

namespace TKRuntimeLogger {

// The text without the line break that the system appends; for a code that the system has no text for, its eight
// hexadecimal digits and " <no error message>".
[[nodiscard]] std::wstring HResultText(HRESULT hr);

// The text as the system gives it, usually with its line break; empty if there is none. `flags` are further flags for
// FormatMessageW. With FORMAT_MESSAGE_IGNORE_INSERTS, placeholders stay as they are. Without it, a text that has
// placeholders counts as none.
[[nodiscard]] std::wstring SystemText(HRESULT hr, DWORD flags);

}  // namespace TKRuntimeLogger
