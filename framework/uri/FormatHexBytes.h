// Byte strings as text.
#pragma once

#include <string>

// Each byte as two upper-case hexadecimal digits, joined by '-': "00-1A-FF". Null gives the empty string.
[[nodiscard]] std::wstring FormatHexBytes(const void* bytes, size_t count);
