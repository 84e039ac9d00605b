// A re-entrant lock: the thread that has it may take it again, and gives it back as often as it took it.
#pragma once

#include <windows.h>

class CCritSec final {
public:
    CCritSec() noexcept { ::InitializeCriticalSection(&m_section); }
    ~CCritSec() { ::DeleteCriticalSection(&m_section); }
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;

    void Lock() noexcept { ::EnterCriticalSection(&m_section); }
    // False, without waiting: another thread holds it.
    [[nodiscard]] bool TryLock() noexcept { return ::TryEnterCriticalSection(&m_section) != FALSE; }
    void Unlock() noexcept { ::LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};
