#include "tests/support/CHttpServer.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>
#include <type_traits>
#include <utility>

static constexpr size_t kPiece = 0x10000;

// A socket of which no call outlives an event: every wait ends as soon as that is set.
class CStoppableSocket final {
public:
    CStoppableSocket(UINT_PTR socket, HANDLE stop) : m_socket(socket), m_stop(stop) {
        // From here on no call on the socket blocks.
        EXPECT_EQ(0, ::WSAEventSelect(m_socket, m_changed.Get(), FD_ACCEPT | FD_READ | FD_WRITE | FD_CLOSE));
    }
    CStoppableSocket(const CStoppableSocket&) = delete;
    CStoppableSocket& operator=(const CStoppableSocket&) = delete;
    ~CStoppableSocket() { ::closesocket(m_socket); }

    // The next connection of a socket that listens. INVALID_SOCKET: stopped, or broken.
    [[nodiscard]] SOCKET Accept() {
        return WhenItNeedNotWait([&] { return ::accept(m_socket, nullptr, nullptr); });
    }
    // The number of bytes that came. Empty: the other side has ended the connection, or it is broken or stopped.
    [[nodiscard]] size_t Receive(std::span<char> to) {
        const int count =
            WhenItNeedNotWait([&] { return ::recv(m_socket, to.data(), static_cast<int>(to.size()), 0); });
        return static_cast<size_t>(std::max(count, 0));
    }
    // False: broken or stopped before all was taken over.
    [[nodiscard]] bool Send(std::string_view bytes) {
        while (!bytes.empty()) {
            const int size = static_cast<int>(std::min(bytes.size(), kPiece));
            const int sent = WhenItNeedNotWait([&] { return ::send(m_socket, bytes.data(), size, 0); });
            if (sent < 0)
                return false;
            bytes.remove_prefix(static_cast<size_t>(sent));
        }
        return true;
    }
    // Waits until `event` is set, or `ms` are over (false). Empty: the other side has gone, or the server stops.
    [[nodiscard]] std::optional<bool> WaitFor(HANDLE event, DWORD ms) {
        const HANDLE events[] = {m_stop, m_changed.Get(), event};
        while (!m_isGone) {
            const DWORD woken = ::WaitForMultipleObjects(3, events, FALSE, ms);
            if (woken == WAIT_OBJECT_0)
                break;
            if (woken != WAIT_OBJECT_0 + 1)
                return woken == WAIT_OBJECT_0 + 2;
            LookAtChange();
        }
        return {};
    }
    // The other side sees a reset when the socket is closed.
    void ResetWhenClosed() const {
        const linger hard{1, 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&hard), sizeof hard);
    }

private:
    // What the call gives. -1: broken or stopped.
    template <class Call>
    std::invoke_result_t<Call> WhenItNeedNotWait(Call&& call) {
        // A reset after an orderly close isn't an event here; the next call reports it.
        constexpr DWORD kTryAgainMs = 100;
        const HANDLE events[] = {m_stop, m_changed.Get()};
        for (;;) {
            const auto result = call();
            if (result != static_cast<decltype(result)>(-1) || ::WSAGetLastError() != WSAEWOULDBLOCK ||
                ::WaitForMultipleObjects(2, events, FALSE, kTryAgainMs) == WAIT_OBJECT_0)
                return result;
            LookAtChange();
        }
    }
    void LookAtChange() {
        WSANETWORKEVENTS changes{};
        if (::WSAEnumNetworkEvents(m_socket, m_changed.Get(), &changes) != 0 || (changes.lNetworkEvents & FD_CLOSE))
            m_isGone = true;
    }

    const UINT_PTR m_socket;
    const HANDLE m_stop;
    const base::CAutoHandle m_changed{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    bool m_isGone = false;  // the other side has closed the connection
};

namespace {

using Fault = CHttpServer::Fault;

bool SendBody(CStoppableSocket& socket, std::string_view bytes, bool chunked, size_t piece) {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
        const std::string_view part = bytes.substr(0, piece);
        char size[20]{};
        std::to_chars(size, size + sizeof size, part.size(), 16);
        if (!(chunked ? socket.Send(std::string(size) + "\r\n" + std::string(part) + "\r\n") : socket.Send(part)))
            return false;
    }
    return true;
}

// The next request; what came behind it stays in `pending`. Empty when the connection ends, or the server.
std::optional<CHttpServer::Request> Receive(CStoppableSocket& socket, std::string& pending) {
    size_t end = 0;
    while ((end = pending.find("\r\n\r\n")) == pending.npos) {
        char bytes[4096];
        const size_t count = socket.Receive(bytes);
        if (count == 0)
            return {};
        pending.append(bytes, count);
        if (pending[0] == 0x16)  // TLS, which is not spoken here
            return {};
    }
    CHttpServer::Request request;
    const size_t target = pending.find(' ') + 1;
    request.target = pending.substr(target, pending.find(' ', target) - target);
    for (size_t at = pending.find("\r\n") + 2; at < end; at = pending.find("\r\n", at) + 2) {
        const size_t colon = pending.find(':', at), value = pending.find_first_not_of(' ', colon + 1);
        std::string name = pending.substr(at, colon - at);
        std::ranges::transform(name, name.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
        request.headers[name] = pending.substr(value, pending.find("\r\n", value) - value);
    }
    pending.erase(0, end + 4);
    return request;
}

// First byte and end of what was asked for, if the resource gives ranges.
std::optional<std::pair<size_t, size_t>> RangeOf(const CHttpServer::Request& request,
                                                 const CHttpServer::Resource& resource) {
    const std::string range = request.Header("range"), validator = request.Header("if-range");
    const bool same = validator.empty() || validator == resource.etag || resource.headers.find(validator) != range.npos;
    if (resource.live || !resource.ranges || resource.status != 200 || !same || !range.starts_with("bytes="))
        return {};
    size_t first = 0, last = resource.bytes.size();
    const char* const end = range.data() + range.size();
    const char* const dash = std::from_chars(range.data() + 6, end, first).ptr;
    if (std::from_chars(dash + 1, end, last).ec == std::errc())
        ++last;
    return std::pair{first, std::min(last, resource.bytes.size())};
}

// Status line and headers as they are sent, and the body, which lasts as long as the resource.
struct Prepared {
    std::string head;
    std::string_view body;
};

size_t BytesOf(const CHttpServer::Misbehaviour& misbehaviour) {
    return static_cast<size_t>(std::max<LONGLONG>(misbehaviour.after, 0));
}

Prepared Prepare(const CHttpServer::Request& request, const CHttpServer::Resource& resource,
                 const CHttpServer::Misbehaviour& misbehaviour) {
    const auto number = [](auto value) { return std::to_string(value); };
    const Fault fault = misbehaviour.fault;
    int status = fault == Fault::Unavailable ? 503 : resource.status;
    std::string_view body = resource.bytes;
    std::string headers = resource.headers;
    if (!resource.etag.empty())
        headers += "ETag: " + resource.etag + "\r\n";
    const auto range = status == 200 && fault != Fault::IgnoredRange ? RangeOf(request, resource) : std::nullopt;
    if (range) {
        const size_t end = range->second;
        const size_t first = std::min(range->first, end);
        status = first < end ? 206 : 416;
        headers += "Content-Range: bytes " + (status == 416 ? "*" : number(first) + "-" + number(end - 1)) + "/" +
                   number(body.size()) + "\r\n";
        body = status == 416 ? std::string_view() : body.substr(first, end - first);
    }
    headers += resource.live ? "Transfer-Encoding: chunked\r\n" : "Content-Length: " + number(body.size()) + "\r\n";
    return {"HTTP/1.1 " + number(status) + " As scripted\r\n" + headers + "\r\n", body};
}

}  // namespace

bool CHttpServer::IsSupported() {
    static const bool supported = ::LoadLibraryW(L"ws2_32.dll") != nullptr;
    return supported;
}

CHttpServer::CHttpServer(bool ipv6) : m_ipv6(ipv6) {
    if (!IsSupported())
        return;
    WSADATA data{};
    EXPECT_EQ(0, ::WSAStartup(MAKEWORD(2, 2), &data));
    const SOCKET listener = ::socket(ipv6 ? AF_INET6 : AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_addr.s6_addr[15] = 1;
    auto* const address = ipv6 ? reinterpret_cast<sockaddr*>(&v6) : reinterpret_cast<sockaddr*>(&v4);
    int size = ipv6 ? sizeof v6 : sizeof v4;
    EXPECT_TRUE(::bind(listener, address, size) == 0 && ::listen(listener, SOMAXCONN) == 0 &&
                ::getsockname(listener, address, &size) == 0)
        << ::WSAGetLastError();
    m_port = ntohs(ipv6 ? v6.sin6_port : v4.sin_port);
    m_acceptor = std::jthread([this, listener] { Accept(listener); });
}

CHttpServer::~CHttpServer() {
    if (!IsSupported())
        return;
    ::SetEvent(m_stop.Get());
    m_acceptor.join();
    m_connections.clear();
    ::WSACleanup();
}

void CHttpServer::ServeInTurn(const std::string& path, std::vector<Resource> inTurn) {
    std::vector<std::shared_ptr<const Resource>> resources;
    for (Resource& resource : inTurn)
        resources.push_back(std::make_shared<const Resource>(std::move(resource)));
    const std::lock_guard lock(m_lock);
    m_resources[path] = std::move(resources);
}

std::wstring CHttpServer::Url(const std::wstring& target, const std::wstring& credentials) const {
    return L"http://" + credentials + (m_ipv6 ? L"[::1]:" : L"127.0.0.1:") + std::to_wstring(m_port) + target;
}

std::vector<CHttpServer::Request> CHttpServer::Requests() const {
    const std::lock_guard lock(m_lock);
    return m_requests;
}

std::shared_ptr<const CHttpServer::Resource> CHttpServer::Find(const std::string& path) const {
    const auto found = m_resources.find(path);
    return found == m_resources.end() ? std::make_shared<const Resource>(Resource{.status = 404})
                                      : found->second.front();
}

void CHttpServer::Accept(UINT_PTR listener) {
    CStoppableSocket from(listener, m_stop.Get());
    for (SOCKET socket = from.Accept(); socket != INVALID_SOCKET; socket = from.Accept()) {
        const BOOL noDelay = TRUE;
        ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&noDelay), sizeof noDelay);
        m_connections.emplace_back([this, socket] { Work(socket); });
    }
}

void CHttpServer::Work(UINT_PTR accepted) {
    CStoppableSocket socket(accepted, m_stop.Get());
    std::string pending;
    while (const auto request = Receive(socket, pending))
        if (!Answer(socket, *request))
            break;
}

// False: the connection is not to be used again.
bool CHttpServer::Answer(CStoppableSocket& socket, const Request& request) {
    const size_t begin = request.target.starts_with("http://") ? request.target.find('/', 7) : 0;  // asked as a proxy
    const std::string path = request.target.substr(begin, request.target.find('?') - begin);
    std::unique_lock lock(m_lock);
    m_requests.push_back(request);
    const auto asked = Find(path);
    const Misbehaviour misbehaviour = asked->script ? asked->script(request) : Misbehaviour{};
    const auto resource = Find(path);
    if (const auto at = m_resources.find(path); at != m_resources.end() && at->second.size() > 1)
        at->second.erase(at->second.begin());
    lock.unlock();

    if (misbehaviour.fault == Fault::Garbage)
        return socket.Send("\x01\xFF garbage \r\n\r\n: 200\r\n\r\n") && false;
    if (misbehaviour.fault != Fault::EndlessHeaders)
        return AnswerFrom(socket, request, *resource, misbehaviour);
    bool goesOn = socket.Send("HTTP/1.1 200 OK\r\n");
    while (goesOn && ::WaitForSingleObject(m_stop.Get(), 10) == WAIT_TIMEOUT)
        goesOn = socket.Send("X-Another: one\r\n");
    return false;
}

bool CHttpServer::AnswerFrom(CStoppableSocket& socket, const Request& request, const Resource& resource,
                             const Misbehaviour& misbehaviour) const {
    const auto [head, body] = Prepare(request, resource, misbehaviour);
    const Fault fault = misbehaviour.fault;
    const bool stalls = fault == Fault::Stall || fault == Fault::Drip;
    const bool breaks = stalls || fault == Fault::Reset || fault == Fault::Close;
    const bool breaksEarly = breaks && misbehaviour.after < 0;
    const bool trickles = fault == Fault::Trickle;
    if (fault == Fault::Reset)
        socket.ResetWhenClosed();

    const std::string_view before = body.substr(0, breaks || trickles ? BytesOf(misbehaviour) : 0);
    std::string_view rest = body.substr(before.size());
    std::string_view* const drip = fault == Fault::Drip ? &rest : nullptr;
    if (breaksEarly && !(stalls && Stall(socket, drip)))
        return false;
    if (!socket.Send(head) || !SendBody(socket, before, resource.live, trickles ? 1 : kPiece))
        return false;
    if (breaks && !breaksEarly && !(stalls && Stall(socket, drip)))
        return false;
    if (!SendBody(socket, rest, resource.live, kPiece))
        return false;
    if (fault == Fault::LongBody) {
        static_cast<void>(socket.Send(std::string(BytesOf(misbehaviour), '!')));
        return false;
    }
    return !resource.live || socket.Send("0\r\n\r\n");
}

// True: the stall was released. False: the client has gone, or the server goes. Meanwhile the bytes of `drip` are sent
// one by one, if it isn't null.
bool CHttpServer::Stall(CStoppableSocket& socket, std::string_view* drip) const {
    ::SetEvent(m_stalled.Get());
    std::optional<bool> released;
    while ((released = socket.WaitFor(m_release.Get(), drip ? 100 : INFINITE)) == false && !drip->empty() &&
           socket.Send(drip->substr(0, 1)))
        drip->remove_prefix(1);
    return released == true;
}
