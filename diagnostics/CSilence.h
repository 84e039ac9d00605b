// For how long an activity has shown no sign of life, as far as its watcher was awake to see it.
//
// Units: milliseconds.  Threads: the watcher's.
#pragma once

#include <windows.h>

#include <algorithm>
#include <utility>

namespace TKRuntimeLogger {

class CSilence final {
public:
    enum class News { None, Hangs, GoesOn };

    // From look to look. One that comes much later means that the machine slept or a debugger stopped it, so no more
    // than twice the interval counts.
    static constexpr DWORD kIntervalMs = 250;

    explicit CSilence(DWORD limitMs) noexcept : m_limitMs(limitMs) {}

    // One look: the activity has given `signs` signs of life so far, and the last look was `sinceMs` ago. Each silence
    // over the limit is news once when it is too long, and once when it is over.
    News Look(unsigned signs, ULONGLONG sinceMs) noexcept {
        if (!std::exchange(m_isKnown, true) || m_signs != signs) {
            m_signs = signs;
            m_current = 0;
            return std::exchange(m_isTold, false) ? News::GoesOn : News::None;
        }
        m_current += std::min<ULONGLONG>(sinceMs, 2 * kIntervalMs);
        m_last = m_current;
        if (m_isTold || m_current < m_limitMs)
            return News::None;
        m_isTold = true;
        return News::Hangs;
    }

    // The current silence, or the length of the last.
    [[nodiscard]] ULONGLONG Ms() const noexcept { return m_last; }

private:
    const DWORD m_limitMs;
    bool m_isKnown = false;  // looked at before
    unsigned m_signs = 0;
    ULONGLONG m_current = 0;
    ULONGLONG m_last = 0;
    bool m_isTold = false;
};

}  // namespace TKRuntimeLogger
