#include "base/Utf8Text.h"

#include <windows.h>

#include <limits>
#include <stdexcept>

namespace base {

namespace {

constexpr std::size_t kMaxBytesPerUnit = 3;

// The platform counts in int.
void ThrowIfTooLong(std::size_t count) {
    if (count > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw std::length_error("string too long");
}

}  // namespace

std::string Utf8OfWide(std::wstring_view text) {
    if (text.empty())
        return {};
    ThrowIfTooLong(text.size());
    ThrowIfTooLong(text.size() * kMaxBytesPerUnit);
    std::string bytes(text.size() * kMaxBytesPerUnit, '\0');
    const int length = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                                             static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

std::wstring WideOfUtf8(std::string_view bytes) {
    if (bytes.empty())
        return {};
    ThrowIfTooLong(bytes.size());
    std::wstring text(bytes.size(), L'\0');  // no byte makes more than one unit
    const int length = ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(),
                                             static_cast<int>(text.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

}  // namespace base
