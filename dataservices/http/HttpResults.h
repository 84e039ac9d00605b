// Result codes of http sources.
//
//   0x80190000 | status           the server's answer: 0x80190194 is 404
//   HRESULT_FROM_WIN32            the platform's own codes of the network; those that we give ourselves are below
//   STG_E_REVERTED (0x80030102)   the source is another one than when the stream was opened
//
// Words for people: console/CCommandError.cpp.
// Threads: any.
#pragma once

#include "TKDataServices.h"

#include <windows.h>

#include <winhttp.h>

namespace dataservices::http {

inline constexpr HRESULT kHttpTimeout = HRESULT_FROM_WIN32(ERROR_WINHTTP_TIMEOUT);                   // 0x80072EE2
inline constexpr HRESULT kHttpConnectionError = HRESULT_FROM_WIN32(ERROR_WINHTTP_CONNECTION_ERROR);  // 0x80072EFE
inline constexpr HRESULT kHttpRedirectFailed = HRESULT_FROM_WIN32(ERROR_WINHTTP_REDIRECT_FAILED);    // 0x80072F7C
inline constexpr HRESULT kHttpInvalidResponse =
    HRESULT_FROM_WIN32(ERROR_WINHTTP_INVALID_SERVER_RESPONSE);  // 0x80072F78

[[nodiscard]] constexpr HRESULT ResultOfHttpStatus(DWORD status) noexcept {
    return static_cast<HRESULT>(TKDS_HTTP_STATUS_BASE | (status & 0xFFFF));
}

// A network error becomes one of a few: name not resolved, can't connect, timeout, secure failure (every fault of a
// certificate or a handshake), invalid server response, out of memory, and connection error for all else.
[[nodiscard]] HRESULT ResultOfNetworkError(DWORD error) noexcept;

// True of failures that may pass: of connections, of busy servers and proxies. Asking again may help.
[[nodiscard]] bool MayPass(HRESULT hr) noexcept;

}  // namespace dataservices::http
