// Takes the place of the platform's formatting: a text with the format in front and the values that are texts behind.
#pragma once

#include <string>
#include <type_traits>

namespace base {

template <class... Values>
[[nodiscard]] std::wstring FormatText(const wchar_t* format, Values... values) {
    std::wstring text = format;
    const auto add = [&](auto value) {
        if constexpr (std::is_same_v<decltype(value), const wchar_t*>)
            text.replace(text.find(L"%s"), 2, value);
    };
    (add(values), ...);
    return text;
}

}  // namespace base
