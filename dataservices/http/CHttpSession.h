// The process's sessions with the platform's HTTP library, one for each proxy, and their connections, which are used
// again. (Not every version of the library lets a request choose its proxy.)
//
// Lifetime: shared by the streams that live and closed with the last of them. So the library holds nothing of this
// module when the module is unloaded.  Threads: any.
#pragma once

#include "dataservices/http/CInternetHandle.h"

#include <memory>
#include <string>

namespace dataservices::http {

class CHttpSession final {
public:
    // The session by way of this proxy (see SourceOptions), opened if there is none.
    // HRESULT_FROM_WIN32: the library doesn't load.  Otherwise as ResultOfNetworkError.  Throws std::bad_alloc.
    [[nodiscard]] static HRESULT Get(const std::wstring& proxy, std::shared_ptr<CHttpSession>& session);

    CHttpSession(base::CAutoLibrary library, CInternetHandle handle) noexcept;

    [[nodiscard]] HINTERNET Handle() const noexcept { return m_handle.Get(); }

private:
    const base::CAutoLibrary m_library;
    const CInternetHandle m_handle;
};

}  // namespace dataservices::http
