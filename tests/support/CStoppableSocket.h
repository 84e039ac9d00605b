// A socket of which no call outlives an event: every wait ends as soon as that is set.
//
// Threads: one at a time.  Lifetime: the event outlives it; the destructor closes the socket.
#pragma once

#include <windows.h>

#include "diagnostics/CAutoDestructor.h"

#include <optional>
#include <span>
#include <string_view>

class CStoppableSocket final {
public:
    CStoppableSocket(UINT_PTR socket, HANDLE stop);
    CStoppableSocket(const CStoppableSocket&) = delete;
    CStoppableSocket& operator=(const CStoppableSocket&) = delete;
    ~CStoppableSocket();

    // The next connection of a socket that listens. Nothing: stopped, or broken.
    [[nodiscard]] std::optional<UINT_PTR> Accept();
    // The number of bytes that came. 0: the other side has ended the connection, or it is broken, or stopped.
    [[nodiscard]] size_t Receive(std::span<char> target);
    // False: broken or stopped before all was taken over.
    [[nodiscard]] bool Send(std::string_view bytes);

    enum class Wake { Event, TimeOut, Ended };
    // Waits until `event` is set or `ms` are over. Ended: the other side has gone, or stopped.
    [[nodiscard]] Wake WaitFor(HANDLE event, DWORD ms);

    // The other side sees a reset when the socket is closed.
    void ResetWhenClosed() const;

private:
    [[nodiscard]] bool WaitForChange();
    void LookAtChange();

    const UINT_PTR m_socket;
    const HANDLE m_stop;
    const CAutoHandle m_changed{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    bool m_isGone = false;  // the other side has closed the connection
};
