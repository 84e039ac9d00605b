#include "console/CConsole.h"

#include "base/Utf8Text.h"

#include <string>

namespace console {

namespace {

bool IsConsole(HANDLE handle) noexcept {
    DWORD mode = 0;
    return ::GetConsoleMode(handle, &mode) != FALSE;
}

void Write(DWORD standardHandle, std::wstring_view text) {
    const HANDLE handle = ::GetStdHandle(standardHandle);
    if (!IsConsole(handle)) {
        const std::string bytes = base::Utf8OfWide(text);
        WriteAll(handle, {reinterpret_cast<const BYTE*>(bytes.data()), bytes.size()});
        return;
    }
    DWORD written = 0;
    for (; !text.empty(); text.remove_prefix(written)) {
        if (!::WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr))
            throw COutputError(::GetLastError());
        if (written == 0)
            throw COutputError(ERROR_WRITE_FAULT);
    }
}

}  // namespace

void Print(std::wstring_view text) {
    Write(STD_OUTPUT_HANDLE, text);
}

void WriteAll(HANDLE output, std::span<const BYTE> bytes) {
    DWORD written = 0;
    for (; !bytes.empty(); bytes = bytes.subspan(written)) {
        if (!::WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr))
            throw COutputError(::GetLastError());
        if (written == 0)  // a full disk, or a pipe that doesn't wait
            throw COutputError(ERROR_WRITE_FAULT);
    }
}

void Complain(std::wstring_view text) {
    try {
        Write(STD_ERROR_HANDLE, text);
    } catch (const COutputError&) {
        // Nobody hears it.
    }
}

bool IsTerminal(DWORD standardHandle) noexcept {
    return IsConsole(::GetStdHandle(standardHandle));
}

}  // namespace console
