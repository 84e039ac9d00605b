// An HTTP/1.1 server on the loopback interface: serves what a test puts there, and misbehaves as the test says.
//
//   CHttpServer server;
//   server.Serve("/a", {.bytes = "0123456789"});
//   host.Load(server.Url(L"/a"));
//
// Threads: any, several at once. Each connection has a thread of its own, on which scripts run, one at a time.
// Lifetime: the destructor breaks all connections off, stalled ones too, and waits for their threads: no call of theirs
// outlives it.
#pragma once

#include "base/CAutoDestructor.h"

#include <windows.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

class CStoppableSocket;

class CHttpServer final {
public:
    struct Request {
        std::string target;                          // path and query as they came
        std::map<std::string, std::string> headers;  // names in lower case

        // Empty when there is none.
        [[nodiscard]] std::string Header(const std::string& name) const {
            const auto found = headers.find(name);
            return found == headers.end() ? "" : found->second;
        }
    };

    // What goes wrong with one answer. `after` counts bytes of its body; for Stall, Reset and Close, -1 means before
    // the headers.
    enum class Fault {
        None,
        Stall,           // after these bytes nothing comes until the client goes or ReleaseStalls
        Drip,            // after these, one byte each tenth of a second until then
        Reset,           // the connection is reset
        Close,           // it is closed in order
        Trickle,         // these bytes arrive one by one, the others in large pieces
        LongBody,        // so many bytes follow the end that was announced
        IgnoredRange,    // 200 and all bytes
        Unavailable,     // 503
        Garbage,         // this is no HTTP
        EndlessHeaders,  // headers that arrive for ever, though slowly
    };
    struct Misbehaviour {
        Fault fault = Fault::None;
        LONGLONG after = 0;
    };

    struct Resource {
        std::string bytes{};
        int status = 200;
        bool ranges = true;              // as asked for, unless If-Range names neither the tag nor one of the headers
        bool live = false;               // chunked, without a length and without ranges
        std::string etag = "\"first\"";  // empty: none is sent
        std::string headers{};           // further ones, each with its CR LF
        // Called before each answer; it may call Serve, and the answer then uses the new resource.
        std::function<Misbehaviour(const Request&)> script{};
    };

    // False: programs of this bitness have no sockets on this platform. Then a server serves nothing.
    [[nodiscard]] static bool IsSupported();

    explicit CHttpServer(bool ipv6 = false);
    CHttpServer(const CHttpServer&) = delete;
    CHttpServer& operator=(const CHttpServer&) = delete;
    ~CHttpServer();

    // Replaces what was at `path` (without query) before. Of several resources each serves one answer, and the last one
    // all later answers. Any other path is answered with 404.
    void Serve(const std::string& path, Resource resource) { ServeInTurn(path, std::vector{std::move(resource)}); }
    void ServeInTurn(const std::string& path, std::vector<Resource> inTurn);
    // `credentials`: user and password as they stand in a URL, with the @.
    [[nodiscard]] std::wstring Url(const std::wstring& target, const std::wstring& credentials = {}) const;

    [[nodiscard]] unsigned Port() const { return m_port; }

    // All requests until now, in the order of their arrival.
    [[nodiscard]] std::vector<Request> Requests() const;

    // Waits until an answer has stalled, ten seconds at most.
    [[nodiscard]] bool WaitForStall() const { return ::WaitForSingleObject(m_stalled.Get(), 10'000) == WAIT_OBJECT_0; }
    // Stalled answers go on, and later ones don't stall.
    void ReleaseStalls() const { ::SetEvent(m_release.Get()); }

private:
    void Accept(UINT_PTR listener);
    void Work(UINT_PTR accepted);
    [[nodiscard]] bool Answer(CStoppableSocket& socket, const Request& request);
    [[nodiscard]] bool AnswerFrom(CStoppableSocket& socket, const Request& request, const Resource& resource,
                                  const Misbehaviour& misbehaviour) const;
    [[nodiscard]] bool Stall(CStoppableSocket& socket, std::string_view* drip) const;
    [[nodiscard]] std::shared_ptr<const Resource> Find(const std::string& path) const;

    const bool m_ipv6;
    const base::CAutoHandle m_stalled{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const base::CAutoHandle m_release{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    const base::CAutoHandle m_stop{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    unsigned m_port = 0;

    mutable std::recursive_mutex m_lock;  // guards the next two; held while a script runs, which may Serve
    std::map<std::string, std::vector<std::shared_ptr<const Resource>>> m_resources;
    std::vector<Request> m_requests;

    std::vector<std::jthread> m_connections;  // the acceptor's own while that runs
    std::jthread m_acceptor;
};
