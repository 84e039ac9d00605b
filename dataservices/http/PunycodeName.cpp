#include "dataservices/http/PunycodeName.h"

#include <windows.h>

#include <algorithm>

namespace dataservices::http {

std::wstring PunycodeName(const std::wstring& name) {
    constexpr int kMaxCharacters = 255;
    wchar_t ascii[kMaxCharacters];
    const int length = ::IdnToAscii(0, name.data(), static_cast<int>(name.size()), ascii, kMaxCharacters);
    return {ascii, static_cast<size_t>(std::max(length, 0))};
}

}  // namespace dataservices::http
