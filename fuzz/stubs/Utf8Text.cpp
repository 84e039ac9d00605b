// Takes the place of base/Utf8Text.cpp, which calls the platform: Boost does the same without a platform. So the
// conversion that the product uses isn't fuzzed. wchar_t has 32 bits here and holds units of UTF-16.
#include "base/Utf8Text.h"

#include <boost/locale/utf.hpp>

#include <iterator>

namespace base {

namespace {

template <typename To, typename From>
[[nodiscard]] std::basic_string<To> Converted(std::basic_string_view<From> text) {
    using namespace boost::locale::utf;
    constexpr code_point kReplacement = 0xFFFD;
    std::basic_string<To> converted;
    for (auto at = text.begin(); at != text.end();) {
        const code_point character = utf_traits<From>::decode(at, text.end());
        utf_traits<To>::encode(is_valid_codepoint(character) ? character : kReplacement, std::back_inserter(converted));
    }
    return converted;
}

}  // namespace

std::string Utf8OfWide(std::wstring_view text) {
    const std::u16string units(text.begin(), text.end());
    return Converted<char>(std::u16string_view(units));
}

std::wstring WideOfUtf8(std::string_view bytes) {
    const std::u16string units = Converted<char16_t>(bytes);
    return {units.begin(), units.end()};
}

}  // namespace base
