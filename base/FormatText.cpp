#include "base/FormatText.h"

#include <cstdio>

namespace base {

std::wstring FormatTextV(const wchar_t* format, va_list arguments) {
    if (!format)
        return {};
    va_list counted;
    va_copy(counted, arguments);
    const int length = ::_vscwprintf(format, counted);
    va_end(counted);
    if (length <= 0)
        return {};
    std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');  // the function writes the terminator too
    const int written = ::vswprintf_s(text.data(), text.size(), format, arguments);
    text.resize(written > 0 ? static_cast<std::size_t>(written) : 0);
    return text;
}

std::wstring FormatText(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    // va_end is a formality on our platforms, so an exception may skip it.
    std::wstring text = FormatTextV(format, arguments);
    va_end(arguments);
    return text;
}

}  // namespace base
