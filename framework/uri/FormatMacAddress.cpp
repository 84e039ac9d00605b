#include "framework/uri/FormatMacAddress.h"

#include "base/FormatText.h"

#include <winsock2.h>

#include <iphlpapi.h>

std::wstring FormatMacAddress(ULONG ipv4Address) {
    ULONG words[2] = {};  // the call wants room in units of 32 bits
    BYTE* const address = reinterpret_cast<BYTE*>(words);
    constexpr ULONG kAddressBytes = 6;
    ULONG length = kAddressBytes;
    if (::SendARP(ipv4Address, INADDR_ANY, words, &length) != NO_ERROR || length != kAddressBytes)
        return {};
    return base::FormatText(L"%02x-%02x-%02x-%02x-%02x-%02x", address[0], address[1], address[2], address[3],
                            address[4], address[5]);
}
