// Wakes one thread, which serves the calls of its COM apartment while it waits.
//
// Threads: Ring any; Await one.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

namespace threading {

class CDoorbell final {
public:
    // False: the system gave nothing to wait for; Await would not return then.
    [[nodiscard]] bool IsThere() const noexcept { return static_cast<bool>(m_event); }

    // The next Await, or the one that waits, returns. More than one ring before that count as one.
    void Ring() noexcept { ::SetEvent(m_event.Get()); }

    void Await() noexcept;

private:
    const base::CAutoHandle m_event{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

}  // namespace threading
