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
// How long each of these may take before the log says that it hangs.
inline constexpr DWORD kSilentMs = 5'000;
// An open with all its redirects.
inline constexpr DWORD kOpenMs = 60'000;
// A whole Read, pauses and repeated requests included, even if bytes trickle in. Six stalls in a row, with the pauses
// between them, would take longer. (No test waits for kOpenMs or kReadMs to pass: both are a minute.)
inline constexpr DWORD kReadMs = 60'000;

// Pauses before a request is made again. When they are used up without one more byte, the read fails.
inline constexpr DWORD kPausesMs[] = {100, 200, 400, 800, 1600};
// How long the source then stays failed: reads that need it fail at once. Otherwise a reader that goes on after
// failures, as parsers do, would spend all the pauses on each of its reads.
inline constexpr DWORD kFailedMs = 10'000;

inline constexpr int kMaxRedirects = 10;

// A stream keeps this many of the last bytes that it has given, besides the block that it is reading. Over this
// distance it reads on instead of asking again.
inline constexpr ULONG kKeptBytes = 0x40000;
inline constexpr ULONG kSkippedBytes = 0x40000;

// Reading a whole block takes one call of the HTTP library instead of many, but none of its bytes can be used before
// the last one has come. So only fast sources are read in this way: those that have delivered kFastBytes in a row at
// kBlockBytes per kFastBlockMs or faster. A block that takes longer than kSlowBlockMs is given up, and the source is
// read in small pieces from then on.
inline constexpr ULONG kBlockBytes = 0x20000;
inline constexpr ULONG kFastBytes = 0x8000;
inline constexpr DWORD kFastBlockMs = 1'000;
inline constexpr DWORD kSlowBlockMs = 2'000;

}  // namespace dataservices::http
