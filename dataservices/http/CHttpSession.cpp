#include "dataservices/http/CHttpSession.h"

#include "base/CSlimLock.h"
#include "base/LateLoad.h"
#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpResults.h"

#include <mutex>
#include <string>
#include <utility>

namespace dataservices::http {

namespace {

constinit base::CSlimLock g_lock;  // guards g_shared; nothing of ours is taken while it is held
constinit std::weak_ptr<CHttpSession> g_shared;

// Strings that the library has allocated.
struct CGlobalTextFreer {
    static wchar_t* Invalid() noexcept { return nullptr; }
    static bool IsValid(wchar_t* text) noexcept { return text != nullptr; }
    static void Close(wchar_t* text) noexcept { ::GlobalFree(text); }
};
using CGlobalText = base::CAutoDestructor<wchar_t*, CGlobalTextFreer>;

[[nodiscard]] CInternetHandle OpenWith(DWORD access, const wchar_t* proxy, const wchar_t* bypass) noexcept {
    return CInternetHandle(
        ::WinHttpOpen(L"TvDataServices/" TV_USER_AGENT_VERSION, access, proxy, bypass, WINHTTP_FLAG_ASYNC));
}

[[nodiscard]] CInternetHandle OpenSession() {
    // A proxy that is named for the whole machine comes first: with the automatic choice, some systems use no proxy at
    // all.
    WINHTTP_PROXY_INFO info{};
    ::WinHttpGetDefaultProxyConfiguration(&info);
    const CGlobalText proxy(info.lpszProxy), without(info.lpszProxyBypass);
    CInternetHandle session;
    if (info.dwAccessType == WINHTTP_ACCESS_TYPE_NAMED_PROXY && proxy) {
        std::wstring bypass = L"localhost;127.0.0.1;[::1];::1";
        if (without)
            bypass.append(L";").append(without.Get());
        session = OpenWith(WINHTTP_ACCESS_TYPE_NAMED_PROXY, proxy.Get(), bypass.c_str());
    } else {
        session = OpenWith(WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS);
        if (!session)  // systems before Windows 8.1 don't know it
            session = OpenWith(WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS);
    }
    // Our own waits decide. The library's time-outs only end the work that we no longer wait for.
    if (session)
        ::WinHttpSetTimeouts(session.Get(), kConnectMs, kConnectMs, kConnectMs, kNextByteMs);
    return session;
}

}  // namespace

CHttpSession::CHttpSession(base::CAutoLibrary library, CInternetHandle handle) noexcept
    : m_library(std::move(library)), m_handle(std::move(handle)) {}

HRESULT CHttpSession::Get(std::shared_ptr<CHttpSession>& session) {
    // The functions of the library are looked up at their first call, which must not be made unless the library is
    // loaded.
    base::CAutoLibrary library = base::LateLoad(L"winhttp.dll");
    if (!library)
        return HRESULT_FROM_WIN32(::GetLastError());
    const std::lock_guard guard(g_lock);
    session = g_shared.lock();
    if (session)
        return S_OK;
    CInternetHandle handle = OpenSession();
    if (!handle)
        return ResultOfNetworkError(::GetLastError());
    session = std::make_shared<CHttpSession>(std::move(library), std::move(handle));
    g_shared = session;
    return S_OK;
}

}  // namespace dataservices::http
