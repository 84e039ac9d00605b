#include "console/Markup.h"

#include "base/Utf8Text.h"

namespace console {

std::string MarkupText(std::wstring_view text) {
    std::wstring marked;
    marked.reserve(text.size());
    for (const wchar_t c : text) {
        const bool isBlank = c == L'\t' || c == L'\n' || c == L'\r';
        if (isBlank || c == L'&' || c == L'<' || c == L'>' || c == L'"' || c == L'\'')
            marked += L"&#" + std::to_wstring(static_cast<unsigned>(c)) + L';';
        else
            marked += c < 0x20 || c >= 0xFFFE ? L'\uFFFD' : c;
    }
    return base::Utf8OfWide(marked);
}

std::string MarkupText(std::string_view utf8) {
    return MarkupText(base::WideOfUtf8(utf8));
}

}  // namespace console
