#include "dataservices/http/CHttpSession.h"

#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpResults.h"
#include "diagnostics/CCriticalSection.h"

#include <mutex>
#include <utility>

namespace {

constinit TKRuntimeLogger::CSlimLock lock;  // guards `shared`; nothing of ours is taken while it is held
constinit std::weak_ptr<CHttpSession> shared;

[[nodiscard]] CInternetHandle OpenSession() noexcept {
    const auto open = [](DWORD proxies) {
        return CInternetHandle(::WinHttpOpen(L"TvDataServices/0.1", proxies, WINHTTP_NO_PROXY_NAME,
                                             WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC));
    };
    CInternetHandle session = open(WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY);
    if (!session)  // systems before Windows 8.1 don't know it
        session = open(WINHTTP_ACCESS_TYPE_DEFAULT_PROXY);
    // Our own waits are what holds. The library's end the work that we no longer wait for.
    if (session)
        ::WinHttpSetTimeouts(session.Get(), kConnectMs, kConnectMs, kConnectMs, kNextByteMs);
    return session;
}

}  // namespace

CHttpSession::CHttpSession(CAutoLibrary library, CInternetHandle handle) noexcept
    : m_library(std::move(library)), m_handle(std::move(handle)) {}

HRESULT CHttpSession::Get(std::shared_ptr<CHttpSession>& session) {
    // Its functions are looked up at their first call, which must not be made without it.
    CAutoLibrary library(::LoadLibraryW(L"winhttp.dll"));
    if (!library)
        return HRESULT_FROM_WIN32(::GetLastError());
    const std::lock_guard guard(lock);
    session = shared.lock();
    if (session)
        return S_OK;
    CInternetHandle handle = OpenSession();
    if (!handle)
        return ResultOfNetworkError(::GetLastError());
    session = std::make_shared<CHttpSession>(std::move(library), std::move(handle));
    shared = session;
    return S_OK;
}
