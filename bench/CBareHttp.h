// One GET by plain WinHTTP calls that block, and nothing else: what a transfer costs at least.
#pragma once

#include "bench/CContender.h"
#include "dataservices/http/CInternetHandle.h"

#include <string>

class CBareHttp final : public CContender {
public:
    // Asks 127.0.0.1 for `target`; the answer's headers have come.  Throws std::runtime_error.
    CBareHttp(unsigned port, const std::wstring& target);

    // `position` is where the last read ended.
    void ReadAt(LONGLONG position, LONG bytes, BYTE* buffer) override;

private:
    CInternetHandle m_session;
    CInternetHandle m_connection;
    CInternetHandle m_request;
};
