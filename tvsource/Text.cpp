#include "tvsource/Text.h"

#include <windows.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

std::string ToUtf8(std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    std::string result(
        static_cast<size_t>(::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr)), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, result.data(), static_cast<int>(result.size()), nullptr,
                          nullptr);
    return result;
}

std::wstring FromUtf8(std::string_view text) {
    const int size = static_cast<int>(text.size());
    std::wstring result(static_cast<size_t>(::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), static_cast<int>(result.size()));
    return result;
}

std::wstring Printable(std::wstring_view text) {
    constexpr struct {
        wchar_t first, last;
    } kSteering[] = {{0, 0x1F}, {0x7F, 0x9F}, {0x061C, 0x061C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};
    std::wstring shown;
    for (const wchar_t c : text) {
        if (std::any_of(std::begin(kSteering), std::end(kSteering),
                        [&](auto& range) { return c >= range.first && c <= range.last; }))
            shown += Format(L"<U+%04X>", c);
        else
            shown += c;
    }
    return shown;
}

std::wstring Format(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    std::wstring result;
    const int length = ::_vscwprintf(format, arguments);
    if (length > 0) {
        result.resize(static_cast<size_t>(length) + 1);  // the function writes the terminator too
        ::vswprintf_s(result.data(), result.size(), format, again);
        result.pop_back();
    }
    va_end(again);
    va_end(arguments);
    return result;
}
