#include "framework/uri/FormatHexBytes.h"

std::wstring FormatHexBytes(const void* bytes, size_t count) {
    static constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    std::wstring text;
    if (!bytes)
        return text;
    text.reserve(count * 3);
    for (size_t i = 0; i < count; ++i) {
        const unsigned char byte = static_cast<const unsigned char*>(bytes)[i];
        if (i > 0)
            text += L'-';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}
