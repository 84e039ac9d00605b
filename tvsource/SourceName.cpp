#include "tvsource/SourceName.h"

#include <windows.h>

#include <algorithm>

#include "diagnostics/LongPath.h"
#include "tvsource/CHostError.h"

namespace {

bool IsAsciiLetter(wchar_t c) {
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
}

}  // namespace

bool IsUri(const std::wstring& name) {
    const size_t colon = name.find(L':');
    if (colon == name.npos || colon < 2 || !IsAsciiLetter(name.front()))
        return false;
    return std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(colon), [](wchar_t c) {
        return IsAsciiLetter(c) || (c >= L'0' && c <= L'9') || c == L'+' || c == L'-' || c == L'.';
    });
}

std::wstring SourceName(const std::wstring& typed) {
    if (IsUri(typed))
        return typed;
    std::wstring path = FullPathOf(typed);
    const DWORD attributes = ::GetFileAttributesW(OpenablePath(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        throw CHostError(L"Cannot find " + path, HRESULT_FROM_WIN32(::GetLastError()));
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        throw CHostError(path + L" is a folder, not a file");
    return path;
}
