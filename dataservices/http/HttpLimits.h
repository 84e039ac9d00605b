// How long the network is waited for, how often it is asked again, and how much is kept. Times are milliseconds.
#pragma once

#include <windows.h>

namespace dataservices::http {

// To resolve the name, connect (with TLS, by way of proxies) and send the request.
inline constexpr DWORD kConnectMs = 10'000;
// From there to the end of the answer's headers.
inline constexpr DWORD kFirstByteMs = 10'000;
// From one byte of the body to the next.
inline constexpr DWORD kNextByteMs = 10'000;
// How often a wait for bytes looks whether its limit is another one now.
inline constexpr DWORD kLookMs = 250;
// How long each of these may take before the log says that it hangs.
inline constexpr DWORD kSilentMs = 5'000;
// An open with all its redirects.
inline constexpr DWORD kOpenMs = 60'000;
// A whole Read, pauses and repeated requests included, even if bytes trickle in. Six stalls in a row, with the pauses
// between them, would take longer. (No test waits for kOpenMs or kReadMs to pass: both are a minute.)
inline constexpr DWORD kReadMs = 60'000;

// For the end of a source whose length the server doesn't tell, when it is opened.
inline constexpr DWORD kEndMs = 1'000;

// What SetSilenceLimit may say at most.
inline constexpr DWORD kMostSilenceMs = 60'000;

inline constexpr int kMaxRedirects = 10;

// Reading a whole block takes one call of the HTTP library instead of many, but none of its bytes can be used before
// the last one has come. So only fast sources are read in this way: those that have delivered kFastBytes in a row at
// kFastPerMs or faster. A block that takes longer than kSlowBlockMs is given up, and the connection reads in small
// pieces from then on.
inline constexpr ULONG kBlockBytes = 0x20000;
inline constexpr ULONG kFastBytes = 0x10000;
inline constexpr ULONG kFastPerMs = 0x1000;
inline constexpr DWORD kSlowBlockMs = 500;

}  // namespace dataservices::http
