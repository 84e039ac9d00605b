// The hardware address of a machine on the local network, as text.
#pragma once

#include <windows.h>

#include <string>

// Asks the network for the hardware address of `ipv4Address` (in network byte order, as inet_addr gives it) and gives
// its six bytes in lower case: "00-1a-2b-3c-4d-5e". Empty: no machine answered, or the platform can't ask. Waits for
// the answer; without one, for seconds.
[[nodiscard]] std::wstring FormatMacAddress(ULONG ipv4Address);
