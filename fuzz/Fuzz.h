// What the fuzz targets share.
#pragma once

#include "base/Utf8Text.h"

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

// Checks a promise of the code under test. A broken promise counts as a crash.
inline void Require(bool holds) {
    if (!holds)
        std::abort();
}

// The bytes, read as UTF-8. U+E000 to U+E7FF become halves of surrogate pairs, which UTF-8 itself can't express.
// wchar_t has 32 bits here, but holds units of UTF-16 as on Windows: none is above 0xFFFF.
[[nodiscard]] inline std::wstring WideOf(std::span<const std::uint8_t> bytes) {
    std::wstring text = base::WideOfUtf8({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    for (wchar_t& unit : text)
        if (unit >= 0xE000 && unit <= 0xE7FF)
            unit = static_cast<wchar_t>(unit - 0x800);
    return text;
}

// What libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
