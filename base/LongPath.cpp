#include "base/LongPath.h"

#include <windows.h>

namespace base {

std::wstring FullPathOf(const std::wstring& path) {
    if (path.starts_with(kLiteralPrefix))
        return path;
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const DWORD size = static_cast<DWORD>(full.size());
        const DWORD length = ::GetFullPathNameW(path.c_str(), size, full.data(), nullptr);
        if (length == 0)
            return path;
        full.resize(length);  // a buffer that is too small gets the size that is needed
        if (length < size)
            return full;
    }
}

std::wstring OpenablePath(const std::wstring& fullPath) {
    if (fullPath.size() < MAX_PATH || fullPath.starts_with(kLiteralPrefix) || fullPath.starts_with(kDevicePrefix))
        return fullPath;
    if (fullPath.starts_with(kSharePrefix))
        return std::wstring(kLiteralSharePrefix).append(fullPath, kSharePrefix.size());
    return std::wstring(kLiteralPrefix) + fullPath;
}

}  // namespace base
