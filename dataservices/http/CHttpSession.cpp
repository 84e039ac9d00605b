#include "dataservices/http/CHttpSession.h"

#include "TavelVersion.h"
#include "base/CSlimLock.h"
#include "base/LateLoad.h"
#include "dataservices/SourceOptions.h"
#include "dataservices/http/HttpResults.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace dataservices::http {

namespace {

struct Shared {
    std::wstring proxy;
    std::weak_ptr<CHttpSession> session;
};
constinit base::CSlimLock g_lock;  // guards g_shared; nothing of ours is taken while it is held
constinit std::vector<Shared> g_shared;

// Strings that the library has allocated.
struct CGlobalTextFreer {
    static wchar_t* Invalid() noexcept { return nullptr; }
    static bool IsValid(wchar_t* text) noexcept { return text != nullptr; }
    static void Close(wchar_t* text) noexcept { ::GlobalFree(text); }
};
using CGlobalText = base::CAutoDestructor<wchar_t*, CGlobalTextFreer>;

[[nodiscard]] CInternetHandle OpenWith(DWORD access, const wchar_t* proxy, const wchar_t* bypass) noexcept {
    return CInternetHandle(::WinHttpOpen(L"TvDataServices/" TAVEL_VERSION, access, proxy, bypass, WINHTTP_FLAG_ASYNC));
}

// As the system says.
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
    return session;
}

[[nodiscard]] CInternetHandle OpenSession(const std::wstring& proxy) {
    if (proxy.empty())
        return OpenSession();
    return proxy == kNoProxy ? OpenWith(WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS)
                             : OpenWith(WINHTTP_ACCESS_TYPE_NAMED_PROXY, proxy.c_str(), WINHTTP_NO_PROXY_BYPASS);
}

}  // namespace

CHttpSession::CHttpSession(base::CAutoLibrary library, CInternetHandle handle) noexcept
    : m_library(std::move(library)), m_handle(std::move(handle)) {}

HRESULT CHttpSession::Get(const std::wstring& proxy, std::shared_ptr<CHttpSession>& session) {
    // The functions of the library are looked up at their first call, which must not be made unless the library is
    // loaded.
    base::CAutoLibrary library = base::LateLoadSystem(L"winhttp.dll");
    if (!library)
        return HRESULT_FROM_WIN32(::GetLastError());
    const std::lock_guard guard(g_lock);
    std::erase_if(g_shared, [](const Shared& each) { return each.session.expired(); });
    const auto found = std::ranges::find(g_shared, proxy, &Shared::proxy);
    session = found == g_shared.end() ? nullptr : found->session.lock();
    if (session)
        return S_OK;
    CInternetHandle handle = OpenSession(proxy);
    if (!handle)
        return ResultOfNetworkError(::GetLastError());
    session = std::make_shared<CHttpSession>(std::move(library), std::move(handle));
    g_shared.push_back({proxy, session});
    return S_OK;
}

}  // namespace dataservices::http
