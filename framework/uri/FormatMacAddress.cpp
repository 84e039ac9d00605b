#include "framework/uri/FormatMacAddress.h"

#include <winsock2.h>

#include <iphlpapi.h>

#include <cwchar>

std::wstring FormatMacAddress(ULONG ipv4Address) {
    ULONG words[2] = {};  // the call wants room in units of 32 bits
    BYTE* const address = reinterpret_cast<BYTE*>(words);
    constexpr ULONG kAddressBytes = 6;
    ULONG length = kAddressBytes;
    if (::SendARP(ipv4Address, INADDR_ANY, words, &length) != NO_ERROR || length != kAddressBytes)
        return {};
    wchar_t text[kAddressBytes * 3];
    const int characters = ::swprintf_s(text, ARRAYSIZE(text), L"%02x-%02x-%02x-%02x-%02x-%02x", address[0], address[1],
                                        address[2], address[3], address[4], address[5]);
    return {text, static_cast<std::size_t>(characters)};
}
