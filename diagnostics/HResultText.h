#pragma once

#include <windows.h>

#include <string>

namespace TKRuntimeLogger {

// The system's text for a result code, in the user's language, without the line break that the system appends; for a
// code that the system has no text for, its eight hexadecimal digits and " <no error message>".
// Threads: any.  Throws std::bad_alloc.
[[nodiscard]] std::wstring HResultText(HRESULT hr);

}  // namespace TKRuntimeLogger
