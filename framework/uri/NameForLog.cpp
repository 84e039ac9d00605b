#include "framework/uri/NameForLog.h"

#include "framework/uri/AsciiText.h"
#include "framework/uri/CTKFUri.h"

#include <string_view>

std::wstring NameForLog(const wchar_t* name) {
    const std::wstring_view text = name ? name : L"";
    const size_t colon = text.find(L':');
    // A scheme has no separators: a path may well have "://" in it.
    if (colon == text.npos || text.substr(0, colon).find_first_of(L"/\\") != text.npos)
        return std::wstring(text);
    const bool isWeb = EqualsIgnoringAsciiCase(text.substr(0, colon), L"http") ||
                       EqualsIgnoringAsciiCase(text.substr(0, colon), L"https");
    const size_t begin = text.find_first_not_of(L"/\\", colon + 1);
    const bool hasSlashes = text.substr(colon + 1, begin - colon - 1) == L"//";
    if (begin == text.npos || !(hasSlashes || isWeb))
        return std::wstring(text);
    // In a password that should have been escaped, and where slashes are wrong, anything may stand.
    const size_t end = hasSlashes && CTKFUri::Parse(name) ? text.find_first_of(L"/\\?#", begin) : text.npos;
    const size_t at = text.substr(0, end).rfind(L'@');
    if (at == text.npos || at < begin)
        return std::wstring(text);
    return std::wstring(text.substr(0, begin)) + L"***" + std::wstring(text.substr(at));
}
