// The process's one session with the platform's HTTP library: proxies as the system has them set, and connections that
// are used again.
//
// Lifetime: shared by the streams that live and closed with the last of them. So the library holds nothing of this
// module when the module is unloaded.  Threads: any.
#pragma once

#include "dataservices/http/CInternetHandle.h"

#include <memory>

namespace dataservices::http {

class CHttpSession final {
public:
    // The session, opened if there is none.
    // HRESULT_FROM_WIN32: the library doesn't load.  Otherwise as ResultOfNetworkError.  Throws std::bad_alloc.
    [[nodiscard]] static HRESULT Get(std::shared_ptr<CHttpSession>& session);

    CHttpSession(base::CAutoLibrary library, CInternetHandle handle) noexcept;

    [[nodiscard]] HINTERNET Handle() const noexcept { return m_handle.Get(); }

private:
    const base::CAutoLibrary m_library;
    const CInternetHandle m_handle;
};

}  // namespace dataservices::http
