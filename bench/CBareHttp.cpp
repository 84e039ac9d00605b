#include "bench/CBareHttp.h"

#include "bench/BenchCheck.h"

namespace bench {

CBareHttp::CBareHttp(unsigned port)
    : m_session(
          ::WinHttpOpen(L"tvbench", WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0)),
      m_connection(::WinHttpConnect(m_session.Get(), L"127.0.0.1", static_cast<INTERNET_PORT>(port), 0)) {
    CheckWin32(static_cast<bool>(m_connection), "WinHttpConnect");
}

void CBareHttp::Ask(const std::wstring& target, const std::wstring& headers) {
    m_request = dataservices::http::CInternetHandle(::WinHttpOpenRequest(
        m_connection.Get(), nullptr, target.c_str(), nullptr, WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, 0));
    CheckWin32(static_cast<bool>(m_request), "WinHttpOpenRequest");
    CheckWin32(::WinHttpSendRequest(m_request.Get(), headers.c_str(), static_cast<DWORD>(-1), WINHTTP_NO_REQUEST_DATA,
                                    0, 0, 0),
               "WinHttpSendRequest");
    CheckWin32(::WinHttpReceiveResponse(m_request.Get(), nullptr), "WinHttpReceiveResponse");
}

void CBareHttp::ReadAt(LONGLONG, LONG bytes, BYTE* buffer) {
    DWORD count = 0;
    for (auto left = static_cast<DWORD>(bytes); left > 0; left -= count, buffer += count)
        CheckWin32(::WinHttpReadData(m_request.Get(), buffer, left, &count) && count > 0, "WinHttpReadData");
}

std::string CBareHttp::ReadText() {
    std::string text;
    char part[4096];
    for (DWORD count = 1; count > 0; text.append(part, count))
        CheckWin32(::WinHttpReadData(m_request.Get(), part, sizeof part, &count), "WinHttpReadData");
    return text;
}

}  // namespace bench
