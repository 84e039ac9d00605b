// Result codes of http sources.
//
//   0x80190000 | status    the server's answer: 0x80190194 is 404
//   kNameNotResolved ...   the platform's own codes of the network
//   STG_E_REVERTED         the source is another one than when the stream was opened
//
// Threads: any.
#pragma once

#include <windows.h>

#include <winhttp.h>

inline constexpr HRESULT kHttpTimeout = HRESULT_FROM_WIN32(ERROR_WINHTTP_TIMEOUT);
inline constexpr HRESULT kHttpConnectionError = HRESULT_FROM_WIN32(ERROR_WINHTTP_CONNECTION_ERROR);
inline constexpr HRESULT kHttpRedirectFailed = HRESULT_FROM_WIN32(ERROR_WINHTTP_REDIRECT_FAILED);
inline constexpr HRESULT kHttpInvalidResponse = HRESULT_FROM_WIN32(ERROR_WINHTTP_INVALID_SERVER_RESPONSE);

[[nodiscard]] constexpr HRESULT ResultOfHttpStatus(DWORD status) noexcept {
    return static_cast<HRESULT>(0x80190000 | (status & 0xFFFF));
}

// A network error becomes one of a few: name not resolved, can't connect, timeout, secure failure (every fault of a
// certificate or a handshake), invalid server response, out of memory, and connection error for all else.
[[nodiscard]] HRESULT ResultOfNetworkError(DWORD error) noexcept;

// True of failures that may pass: of connections, of busy servers and proxies. Asking again may help.
[[nodiscard]] bool MayPass(HRESULT hr) noexcept;
