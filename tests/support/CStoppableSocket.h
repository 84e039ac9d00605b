// A socket of which no call outlives an event: every wait ends as soon as that is set.
//
// Threads: one at a time.  Lifetime: the event outlives it; the destructor closes the socket.
#pragma once

#include <winsock2.h>

#include "diagnostics/CAutoDestructor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>

class CStoppableSocket final {
public:
    CStoppableSocket(UINT_PTR socket, HANDLE stop) : m_socket(socket), m_stop(stop) {
        // From here on no call of the socket waits.
        EXPECT_EQ(0, ::WSAEventSelect(m_socket, m_changed.Get(), FD_ACCEPT | FD_READ | FD_WRITE | FD_CLOSE));
    }
    CStoppableSocket(const CStoppableSocket&) = delete;
    CStoppableSocket& operator=(const CStoppableSocket&) = delete;
    ~CStoppableSocket() { ::closesocket(m_socket); }

    // The next connection of a socket that listens. Nothing: stopped, or broken.
    [[nodiscard]] std::optional<UINT_PTR> Accept() {
        do {
            const SOCKET accepted = ::accept(m_socket, nullptr, nullptr);
            if (accepted != INVALID_SOCKET)
                return accepted;
        } while (WaitForChange());
        return {};
    }
    // The number of bytes that came. 0: the other side has ended the connection, or it is broken, or stopped.
    [[nodiscard]] size_t Receive(std::span<char> target) {
        do {
            const int count = ::recv(m_socket, target.data(), static_cast<int>(target.size()), 0);
            if (count >= 0)
                return static_cast<size_t>(count);
        } while (WaitForChange());
        return 0;
    }
    // False: broken or stopped before all was taken over.
    [[nodiscard]] bool Send(std::string_view bytes) {
        constexpr size_t kPiece = 0x10000;
        while (!bytes.empty()) {
            const int sent = ::send(m_socket, bytes.data(), static_cast<int>(std::min(bytes.size(), kPiece)), 0);
            if (sent >= 0)
                bytes.remove_prefix(static_cast<size_t>(sent));
            else if (!WaitForChange())
                return false;
        }
        return true;
    }

    enum class Wake { Event, TimeOut, Ended };
    // Waits until `event` is set or `ms` are over. Ended: the other side has gone, or stopped.
    [[nodiscard]] Wake WaitFor(HANDLE event, DWORD ms) {
        const HANDLE events[] = {m_stop, m_changed.Get(), event};
        while (!m_isGone) {
            const DWORD woken = ::WaitForMultipleObjects(3, events, FALSE, ms);
            if (woken != WAIT_OBJECT_0 + 1)
                return woken == WAIT_OBJECT_0 + 2 ? Wake::Event : woken == WAIT_TIMEOUT ? Wake::TimeOut : Wake::Ended;
            LookAtChange();
        }
        return Wake::Ended;
    }

    // The other side sees a reset when the socket is closed.
    void ResetWhenClosed() const {
        const linger hard{1, 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&hard), sizeof hard);
    }

private:
    // After a call that failed. False: not because it would have had to wait, or stopped.
    [[nodiscard]] bool WaitForChange() {
        // A reset that comes after an orderly end is no event; the next try sees it.
        constexpr DWORD kTryAgainMs = 100;
        if (::WSAGetLastError() != WSAEWOULDBLOCK)
            return false;
        const HANDLE events[] = {m_stop, m_changed.Get()};
        const DWORD woken = ::WaitForMultipleObjects(2, events, FALSE, kTryAgainMs);
        if (woken == WAIT_OBJECT_0 + 1)
            LookAtChange();
        return woken == WAIT_OBJECT_0 + 1 || woken == WAIT_TIMEOUT;
    }
    void LookAtChange() {
        WSANETWORKEVENTS changes{};
        if (::WSAEnumNetworkEvents(m_socket, m_changed.Get(), &changes) != 0 || (changes.lNetworkEvents & FD_CLOSE))
            m_isGone = true;
    }

    const UINT_PTR m_socket;
    const HANDLE m_stop;
    const CAutoHandle m_changed{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    bool m_isGone = false;  // the other side has closed the connection
};
