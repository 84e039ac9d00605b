// Owns a session, connection or request of the platform's HTTP library. Closing never blocks: what is under way ends
// later, on a thread of the library.  Threads: any.
#pragma once

#include "diagnostics/CAutoDestructor.h"

#include <windows.h>

#include <winhttp.h>

struct CInternetHandleCloser {
    static HINTERNET Invalid() noexcept { return nullptr; }
    static bool IsValid(HINTERNET handle) noexcept { return handle != nullptr; }
    static void Close(HINTERNET handle) noexcept { ::WinHttpCloseHandle(handle); }
};

using CInternetHandle = CAutoDestructor<HINTERNET, CInternetHandleCloser>;
