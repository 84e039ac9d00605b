// Where the program's words and bytes go: words as UTF-16 to a console, as UTF-8 to a file or pipe.
//
// Threads: any, but words of two at once may mix.
#pragma once

#include <windows.h>

#include <span>
#include <string_view>

namespace console {

// The output can't be written. This ends every command: main says why and gives the exit code.
class COutputError final {
public:
    explicit COutputError(DWORD error) noexcept : m_error(error) {}

    [[nodiscard]] DWORD Error() const noexcept { return m_error; }
    // Whoever read the output has read enough: nothing to complain about.
    [[nodiscard]] bool IsClosedPipe() const noexcept {
        return m_error == ERROR_BROKEN_PIPE || m_error == ERROR_NO_DATA || m_error == ERROR_PIPE_NOT_CONNECTED;
    }

private:
    DWORD m_error;  // the system's
};

// Writes to standard output what was asked for.  Errors: COutputError.
void Print(std::wstring_view text);

// Writes all of the bytes to any file or pipe.  Errors: COutputError.
void WriteAll(HANDLE output, std::span<const BYTE> bytes);

// Writes to standard error what a person should know beside the output. If that can't be written, the program goes on.
void Complain(std::wstring_view text);

// Whether this standard handle (STD_OUTPUT_HANDLE or STD_ERROR_HANDLE) is a terminal.
[[nodiscard]] bool IsTerminal(DWORD standardHandle) noexcept;

}  // namespace console
