// What a test can't expect of Wine.
//
// Threads: any.
#pragma once

#include <windows.h>

[[nodiscard]] inline bool IsWine() noexcept {
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}
