#include "bench/CLinkServer.h"

#include <cstdlib>
#include <stdexcept>

namespace bench {

namespace {

unsigned PortOf(const std::wstring& url) {
    const auto colon = url.rfind(L':');
    return colon == std::wstring::npos ? 0 : static_cast<unsigned>(std::wcstoul(&url[colon + 1], nullptr, 10));
}

double NumberIn(const std::string& json, const std::string& name) {
    const auto at = json.find('"' + name + "\": ");
    if (at == std::string::npos)
        throw std::runtime_error("the link server's answer has no " + name);
    return std::strtod(&json[at + name.size() + 4], nullptr);
}

}  // namespace

CLinkServer::CLinkServer(const std::wstring& url) : m_port(PortOf(url)), m_http(m_port) {}

std::wstring CLinkServer::UrlAt(unsigned port, const std::wstring& target) {
    return L"http://127.0.0.1:" + std::to_wstring(port) + target;
}

std::string CLinkServer::Ask(const std::wstring& target) {
    m_http.Ask(target);
    return m_http.ReadText();
}

CLinkServer::Figures CLinkServer::Take(const std::wstring& path) {
    const std::string json = Ask(L"/stats?of=" + path);
    return {NumberIn(json, "requests"), NumberIn(json, "connections"), NumberIn(json, "most_open"),
            NumberIn(json, "sent")};
}

unsigned CLinkServer::Listen() {
    return static_cast<unsigned>(NumberIn(Ask(L"/listen"), "port"));
}

void CLinkServer::Deafen(unsigned port) {
    static_cast<void>(Ask(L"/deafen?port=" + std::to_wstring(port)));
}

}  // namespace bench
