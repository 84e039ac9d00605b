// One GET by plain WinHTTP calls that block, and nothing else: what a transfer costs at least.
#pragma once

#include "bench/CContender.h"
#include "dataservices/http/CInternetHandle.h"

#include <string>

namespace bench {

class CBareHttp final : public CContender {
public:
    // Asks 127.0.0.1 for `target` and waits for the headers of the answer.  Throws std::runtime_error.
    CBareHttp(unsigned port, const std::wstring& target);

    // `position` is where the last read ended.
    void ReadAt(LONGLONG position, LONG bytes, BYTE* buffer) override;

private:
    dataservices::http::CInternetHandle m_session;
    dataservices::http::CInternetHandle m_connection;
    dataservices::http::CInternetHandle m_request;
};

}  // namespace bench
