// A point in time at which waits end.
//
// Units: milliseconds; INFINITE never ends.  Threads: any.
#pragma once

#include <windows.h>

#include <algorithm>

namespace base {

class CDeadline final {
public:
    explicit CDeadline(DWORD ms) noexcept : m_isNever(ms == INFINITE), m_end(::GetTickCount64() + ms) {}

    // 0 when it is over.
    [[nodiscard]] DWORD Left() const noexcept {
        if (m_isNever)
            return INFINITE;
        const ULONGLONG now = ::GetTickCount64();
        return now < m_end ? static_cast<DWORD>(m_end - now) : 0;
    }
    [[nodiscard]] bool IsOver() const noexcept { return Left() == 0; }
    // The shorter one of `ms` and what is left.
    [[nodiscard]] DWORD Within(DWORD ms) const noexcept { return std::min(ms, Left()); }

private:
    bool m_isNever;
    ULONGLONG m_end;
};

}  // namespace base
