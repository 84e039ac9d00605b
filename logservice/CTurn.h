// Who is the one service of the session, and how another run of the program ends it.
//
// Threads: one, from the first to the last.  Units: milliseconds.  Lifetime: the service runs, for others, until the
// end of its turn.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

namespace logservice {

class CTurn final {
public:
    CTurn() noexcept = default;
    CTurn(const CTurn&) = delete;
    CTurn& operator=(const CTurn&) = delete;
    ~CTurn();

    // Once. HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS): another service runs. One that was killed doesn't.
    [[nodiscard]] HRESULT Take() noexcept;

    // Signalled when somebody wants the end of this turn.  Null: somebody else holds the name; only that doesn't work
    // then.
    [[nodiscard]] HANDLE EndIsWanted() const noexcept { return m_stop ? m_stop.Get() : nullptr; }

private:
    base::CAutoHandle m_turn;  // a mutex; whoever owns it serves
    base::CAutoHandle m_stop;
};

// Tells the service that runs in this session to end, and waits until it has.
// S_FALSE: there is none.  HRESULT_FROM_WIN32(ERROR_TIMEOUT): it hasn't ended within `limitMs`.
// HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED): it has higher rights.
[[nodiscard]] HRESULT EndRunningService(DWORD limitMs) noexcept;

}  // namespace logservice
