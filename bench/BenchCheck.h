// What a benchmark does when a call fails: it stops, since the time of something that failed means nothing.
#pragma once

#include <windows.h>

#include <stdexcept>
#include <string>
#include <system_error>

namespace bench {

// Throws std::runtime_error that names the call, unless `hr` is S_OK. A short read (S_FALSE) counts as failed too.
inline void Check(HRESULT hr, const char* call) {
    if (hr != S_OK)
        throw std::runtime_error(std::string(call) + " gave " + std::to_string(hr));
}

// The same for a call that reports through GetLastError().
inline void CheckWin32(bool succeeded, const char* call) {
    if (!succeeded)
        throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), call);
}

}  // namespace bench
