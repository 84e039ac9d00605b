// The process's one session with the platform's HTTP library: proxies as the system has them set, and connections that
// are used again.
//
// Lifetime: shared by the streams that live and closed with the last of them, so that the library holds nothing of this
// module when it is unloaded.  Threads: any.
#pragma once

#include "dataservices/http/CInternetHandle.h"

#include <memory>

class CHttpSession final {
public:
    // The session, opened if there is none. Null when it can't be opened; GetLastError says why.  Throws
    // std::bad_alloc.
    [[nodiscard]] static std::shared_ptr<CHttpSession> Get();

    explicit CHttpSession(CInternetHandle handle) noexcept;

    [[nodiscard]] HINTERNET Handle() const noexcept { return m_handle.Get(); }

private:
    const CInternetHandle m_handle;
};
