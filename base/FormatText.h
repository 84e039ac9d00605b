// Text from a format and values, of any length.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <cstdarg>
#include <string>

namespace base {

// Formats as wprintf of the Windows run-time library does: %s is wide text, %I64u a 64-bit number. The result is empty
// for a null format, and for a format that the library refuses.
[[nodiscard]] std::wstring FormatText(const wchar_t* format, ...);
[[nodiscard]] std::wstring FormatTextV(const wchar_t* format, va_list arguments);

}  // namespace base
