#include "base/Base64.h"

namespace base {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kBlanks = " \t\r\n\f";
constexpr size_t kDigitsInGroup = 4;
constexpr size_t kBytesInGroup = 3;
constexpr unsigned kBitsOfDigit = 6;

}  // namespace

std::wstring EncodeBase64(std::string_view bytes) {
    std::wstring text;
    text.reserve((bytes.size() / kBytesInGroup + 1) * kDigitsInGroup);
    for (size_t i = 0; i < bytes.size(); i += kBytesInGroup) {
        const std::string_view group = bytes.substr(i, kBytesInGroup);
        unsigned bits = 0;
        for (size_t k = 0; k < kBytesInGroup; ++k)
            bits = bits << 8 | (k < group.size() ? static_cast<unsigned char>(group[k]) : 0u);
        for (size_t k = 0; k < kDigitsInGroup; ++k) {
            const unsigned shift = kBitsOfDigit * static_cast<unsigned>(kBytesInGroup - k);
            text += k <= group.size() ? static_cast<wchar_t>(kDigits[bits >> shift & 63]) : L'=';
        }
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> DecodeBase64(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / kDigitsInGroup * kBytesInGroup + kBytesInGroup);
    unsigned bits = 0;
    unsigned bitCount = 0;
    size_t digits = 0;
    size_t padding = 0;
    for (const char character : text) {
        if (kBlanks.find(character) != kBlanks.npos)
            continue;
        if (character == '=') {
            ++padding;
            continue;
        }
        const size_t digit = kDigits.find(character);
        if (digit == kDigits.npos || padding > 0)
            return std::nullopt;
        ++digits;
        bits = (bits << kBitsOfDigit | static_cast<unsigned>(digit)) & 0xFFFF;
        bitCount += kBitsOfDigit;
        if (bitCount >= 8) {
            bitCount -= 8;
            bytes.push_back(static_cast<std::uint8_t>(bits >> bitCount & 0xFF));
        }
    }
    const size_t last = digits % kDigitsInGroup;
    if (last == 1 || (padding > 0 && (last == 0 || last + padding != kDigitsInGroup)))
        return std::nullopt;
    return bytes;
}

}  // namespace base
