#include "tvsource/CConsole.h"

#include <string>

#include "tvsource/Text.h"

namespace {

bool IsConsole(HANDLE handle) noexcept {
    DWORD mode = 0;
    return ::GetConsoleMode(handle, &mode) != FALSE;
}

void Write(DWORD standardHandle, std::wstring_view text) {
    const HANDLE handle = ::GetStdHandle(standardHandle);
    DWORD written = 0;
    if (IsConsole(handle)) {
        ::WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    const std::string bytes = ToUtf8(text);
    ::WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

}  // namespace

void Print(std::wstring_view text) {
    Write(STD_OUTPUT_HANDLE, text);
}

void Complain(std::wstring_view text) {
    Write(STD_ERROR_HANDLE, text);
}

bool IsTerminal(DWORD standardHandle) noexcept {
    return IsConsole(::GetStdHandle(standardHandle));
}
