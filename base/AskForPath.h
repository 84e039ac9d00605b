// A path of any length from a call of the platform's that fills a buffer.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <windows.h>

#include <string>

namespace base {

// `ask(buffer, size)` takes a buffer and its size in characters and returns a length. When there is too little room,
// some calls return the size, some one less, some what they need. So a buffer that is full to the last character counts
// as too small. Empty: the call failed; its last-error value stands.
template <class Ask>
[[nodiscard]] std::wstring AskForPath(Ask&& ask) {
    constexpr DWORD kLongestPath = 32768;
    for (DWORD size = MAX_PATH; size <= 2 * kLongestPath; size *= 2) {
        std::wstring path(size, L'\0');
        const DWORD length = ask(path.data(), size);
        if (length + 1 < size) {
            path.resize(length);
            return path;
        }
    }
    return {};
}

}  // namespace base
