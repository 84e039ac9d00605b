// GETs by plain WinHTTP calls that block, on a connection that is kept, and nothing else: what a transfer costs at
// least.
#pragma once

#include "bench/CContender.h"
#include "dataservices/http/CInternetHandle.h"

#include <string>

namespace bench {

class CBareHttp final : public CContender {
public:
    // Of the server on 127.0.0.1.  Throws std::runtime_error.
    explicit CBareHttp(unsigned port);
    CBareHttp(unsigned port, const std::wstring& target) : CBareHttp(port) { Ask(target); }

    // Asks for `target`, with these headers, and waits for the headers of the answer.
    void Ask(const std::wstring& target, const std::wstring& headers = {});

    // `position` is where the last read ended.
    void ReadAt(LONGLONG position, LONG bytes, BYTE* buffer) override;

    // The answer from here to its end.
    [[nodiscard]] std::string ReadText();

private:
    dataservices::http::CInternetHandle m_session;
    dataservices::http::CInternetHandle m_connection;
    dataservices::http::CInternetHandle m_request;
};

}  // namespace bench
