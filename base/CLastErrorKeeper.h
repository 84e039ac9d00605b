// Leaves the thread's last-error value as it was: a log line between a failed call and GetLastError() must not change
// what the caller reports. (Even reading a thread-local slot clears the value.)
#pragma once

#include <windows.h>

namespace base {

class CLastErrorKeeper final {
public:
    CLastErrorKeeper() noexcept : m_lastError(::GetLastError()) {}
    CLastErrorKeeper(const CLastErrorKeeper&) = delete;
    CLastErrorKeeper& operator=(const CLastErrorKeeper&) = delete;
    ~CLastErrorKeeper() { ::SetLastError(m_lastError); }

private:
    const DWORD m_lastError;
};

}  // namespace base
