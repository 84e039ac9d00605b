// Wakes one thread, which serves its single-threaded apartment while it waits.
//
// Threads: Ring any; the others one.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <objbase.h>

namespace threading {

class CDoorbell final {
public:
    // `apartment`: the thread's, flags for CoInitializeEx.
    explicit CDoorbell(DWORD apartment) noexcept : m_servesMessages((apartment & COINIT_APARTMENTTHREADED) != 0) {}

    // False: the system gave nothing to wait for; Await would not return then.
    [[nodiscard]] bool IsThere() const noexcept { return static_cast<bool>(m_event); }

    // The next Await, or the one that waits, returns. More than one ring before that count as one.
    void Ring() noexcept { ::SetEvent(m_event.Get()); }

    // In a single-threaded apartment this dispatches the messages that come meanwhile.
    void Await() noexcept;

    // Dispatches the messages that have come, in a single-threaded apartment.
    void ServeMessages() noexcept;

private:
    const bool m_servesMessages;
    const base::CAutoHandle m_event{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

}  // namespace threading
