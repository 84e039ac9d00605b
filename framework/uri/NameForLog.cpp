#include "framework/uri/NameForLog.h"

#include "framework/uri/CTKFUri.h"

#include <string_view>

std::wstring NameForLog(const wchar_t* name) {
    const std::wstring_view text = name ? name : L"";
    const size_t scheme = text.find(L"://");
    // A scheme has no separators: a path may well have "://" in it.
    if (scheme == text.npos || text.substr(0, scheme).find_first_of(L"/\\") != text.npos)
        return std::wstring(text);
    const size_t begin = scheme + 3;
    // In a password that should have been escaped, anything may stand.
    const size_t end = CTKFUri::Parse(name) ? text.find_first_of(L"/\\?#", begin) : text.npos;
    const size_t at = text.substr(0, end).rfind(L'@');
    if (at == text.npos || at < begin)
        return std::wstring(text);
    return std::wstring(text.substr(0, begin)) + L"***" + std::wstring(text.substr(at));
}
