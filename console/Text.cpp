#include "console/Text.h"

#include "base/FormatText.h"

#include <algorithm>

namespace console {

std::wstring Printable(std::wstring_view text) {
    constexpr struct {
        wchar_t first, last;
    } kSteering[] = {{0, 0x1F}, {0x7F, 0x9F}, {0x061C, 0x061C}, {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};
    std::wstring shown;
    for (const wchar_t c : text) {
        if (std::any_of(std::begin(kSteering), std::end(kSteering),
                        [&](auto& range) { return c >= range.first && c <= range.last; }))
            shown += base::FormatText(L"<U+%04X>", c);
        else
            shown += c;
    }
    return shown;
}

std::wstring CountText(long long count, std::wstring_view noun) {
    return std::to_wstring(count).append(L" ").append(noun).append(count == 1 ? L"" : L"s");
}

}  // namespace console
