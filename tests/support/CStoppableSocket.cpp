#include <winsock2.h>

#include "tests/support/CStoppableSocket.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr size_t kPiece = 0x10000;

// A reset that comes after an orderly end is no event; the next try sees it.
constexpr DWORD kTryAgainMs = 100;

[[nodiscard]] bool WouldWait() {
    return ::WSAGetLastError() == WSAEWOULDBLOCK;
}

}  // namespace

CStoppableSocket::CStoppableSocket(UINT_PTR socket, HANDLE stop) : m_socket(socket), m_stop(stop) {
    // From here on no call of the socket waits.
    EXPECT_EQ(0, ::WSAEventSelect(m_socket, m_changed.Get(), FD_ACCEPT | FD_READ | FD_WRITE | FD_CLOSE));
}

CStoppableSocket::~CStoppableSocket() {
    ::closesocket(m_socket);
}

std::optional<UINT_PTR> CStoppableSocket::Accept() {
    do {
        const SOCKET accepted = ::accept(m_socket, nullptr, nullptr);
        if (accepted != INVALID_SOCKET)
            return accepted;
    } while (WouldWait() && WaitForChange());
    return {};
}

size_t CStoppableSocket::Receive(std::span<char> target) {
    do {
        const int count = ::recv(m_socket, target.data(), static_cast<int>(target.size()), 0);
        if (count >= 0)
            return static_cast<size_t>(count);
    } while (WouldWait() && WaitForChange());
    return 0;
}

bool CStoppableSocket::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const int sent = ::send(m_socket, bytes.data(), static_cast<int>(std::min(bytes.size(), kPiece)), 0);
        if (sent >= 0)
            bytes.remove_prefix(static_cast<size_t>(sent));
        else if (!WouldWait() || !WaitForChange())
            return false;
    }
    return true;
}

CStoppableSocket::Wake CStoppableSocket::WaitFor(HANDLE event, DWORD ms) {
    const HANDLE events[] = {m_stop, event, m_changed.Get()};
    while (!m_isGone) {
        switch (::WaitForMultipleObjects(3, events, FALSE, ms)) {
            case WAIT_OBJECT_0 + 1:
                return Wake::Event;
            case WAIT_OBJECT_0 + 2:
                LookAtChange();
                break;
            case WAIT_TIMEOUT:
                return Wake::TimeOut;
            default:
                return Wake::Ended;
        }
    }
    return Wake::Ended;
}

void CStoppableSocket::ResetWhenClosed() const {
    const linger hard{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&hard), sizeof hard);
}

// False: stopped.
bool CStoppableSocket::WaitForChange() {
    const HANDLE events[] = {m_stop, m_changed.Get()};
    const DWORD woken = ::WaitForMultipleObjects(2, events, FALSE, kTryAgainMs);
    if (woken == WAIT_OBJECT_0 + 1)
        LookAtChange();
    return woken == WAIT_OBJECT_0 + 1 || woken == WAIT_TIMEOUT;
}

void CStoppableSocket::LookAtChange() {
    WSANETWORKEVENTS changes{};
    if (::WSAEnumNetworkEvents(m_socket, m_changed.Get(), &changes) != 0 || (changes.lNetworkEvents & FD_CLOSE) != 0)
        m_isGone = true;
}
