// The server of linkserver.py, which another process has started: what it offers, and what it has been asked.
//
// Threads: one.  Errors: std::runtime_error.
#pragma once

#include "bench/CBareHttp.h"

#include <string>

namespace bench {

class CLinkServer final {
public:
    // What one path was asked for since the last time.
    struct Figures {
        double requests = 0, connections = 0, mostOpen = 0;
        double sent = 0;  // bytes of bodies
    };

    // `url`: as the server printed it.
    explicit CLinkServer(const std::wstring& url);

    [[nodiscard]] unsigned Port() const noexcept { return m_port; }
    [[nodiscard]] std::wstring Url(const std::wstring& target) const { return UrlAt(m_port, target); }
    [[nodiscard]] static std::wstring UrlAt(unsigned port, const std::wstring& target);

    [[nodiscard]] Figures Take(const std::wstring& path);

    // Another listener, and its end: who then connects to it hears nothing.
    [[nodiscard]] unsigned Listen();
    void Deafen(unsigned port);

private:
    [[nodiscard]] std::string Ask(const std::wstring& target);

    const unsigned m_port;
    CBareHttp m_http;
};

}  // namespace bench
