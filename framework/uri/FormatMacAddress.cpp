#include "framework/uri/FormatMacAddress.h"

#include <winsock2.h>

#include <iphlpapi.h>

#include <cwchar>

std::wstring FormatMacAddress(ULONG ipv4Address) {
    ULONG words[2] = {};  // the call wants room in units of 32 bits
    BYTE* const address = reinterpret_cast<BYTE*>(words);
    constexpr ULONG ADDRESS_BYTES = 6;
    ULONG length = ADDRESS_BYTES;
    if (::SendARP(ipv4Address, INADDR_ANY, words, &length) != NO_ERROR || length != ADDRESS_BYTES)
        return {};
    wchar_t text[ADDRESS_BYTES * 3];
    const int characters = ::swprintf_s(text, ARRAYSIZE(text), L"%02x-%02x-%02x-%02x-%02x-%02x", address[0], address[1],
                                        address[2], address[3], address[4], address[5]);
    return {text, static_cast<std::size_t>(characters)};
}
