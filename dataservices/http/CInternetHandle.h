// Owns a session, connection or request of the platform's HTTP library. Closing never blocks: what is under way ends
// later, on a thread of the library.  Threads: any.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <winhttp.h>

namespace dataservices::http {

struct CInternetHandleCloser {
    static HINTERNET Invalid() noexcept { return nullptr; }
    static bool IsValid(HINTERNET handle) noexcept { return handle != nullptr; }
    static void Close(HINTERNET handle) noexcept { ::WinHttpCloseHandle(handle); }
};

using CInternetHandle = base::CAutoDestructor<HINTERNET, CInternetHandleCloser>;

}  // namespace dataservices::http
