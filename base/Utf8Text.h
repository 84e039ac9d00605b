// Wide text and its UTF-8 form.
//
// Neither direction fails on what can't be spelt in the other form: half of a surrogate pair, and bytes that are not
// UTF-8, become U+FFFD.
// Threads: any.  Errors: std::bad_alloc; std::length_error for text of hundreds of millions of characters.
#pragma once

#include <string>
#include <string_view>

namespace base {

[[nodiscard]] constexpr bool IsHighSurrogate(wchar_t unit) noexcept {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

[[nodiscard]] constexpr bool IsLowSurrogate(wchar_t unit) noexcept {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

[[nodiscard]] std::string Utf8OfWide(std::wstring_view text);
[[nodiscard]] std::wstring WideOfUtf8(std::string_view bytes);

}  // namespace base
