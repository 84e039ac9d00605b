#include "dataservices/http/HttpGet.h"

#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpLog.h"
#include "dataservices/http/HttpResults.h"

#include <utility>

namespace dataservices::http {

namespace {

[[nodiscard]] bool IsRedirect(DWORD status) noexcept {
    return status == HTTP_STATUS_MOVED || status == HTTP_STATUS_REDIRECT || status == HTTP_STATUS_REDIRECT_METHOD ||
           status == HTTP_STATUS_REDIRECT_KEEP_VERB || status == 308;
}

[[nodiscard]] std::wstring HeadersOf(const CHttpUrl& url, const HttpStart& start) {
    // Compressed content would have other positions than the source.
    std::wstring headers = L"Accept: */*\r\nAccept-Encoding: identity\r\n";
    if (start.from)
        headers += L"Range: bytes=" + std::to_wstring(*start.from) + L"-\r\n";
    if (start.from && !start.validator.empty())
        headers += L"If-Range: " + start.validator + L"\r\n";
    if (!url.Authorization().empty())
        headers += L"Authorization: " + url.Authorization() + L"\r\n";
    return headers;
}

void LogRequest(const CHttpUrl& url, const HttpStart& start, HRESULT hr, const CHttpRequest* request) {
    const std::wstring from = start.from ? L"from byte " + std::to_wstring(*start.from) : L"from the start";
    if (FAILED(hr))
        HTTP_LOG(TKRuntimeLogger::kWarn, L"HttpGet", L"GET %s %s: no answer, hr=0x%08X", url.Printable().c_str(),
                 from.c_str(), hr);
    else
        HTTP_LOG(TKRuntimeLogger::kInfo, L"HttpGet", L"GET %s %s: status %lu", url.Printable().c_str(), from.c_str(),
                 request->Status());
}

[[nodiscard]] std::optional<CHttpUrl> TargetOf(const CHttpUrl& url, const CHttpHeaders& headers) {
    const std::wstring location = headers.First(L"Location");
    return location.empty() ? std::nullopt : url.Resolve(location);
}

}  // namespace

HRESULT HttpGet(const std::shared_ptr<CHttpSession>& session, CHttpUrl& url, const HttpStart& start,
                const base::CDeadline& deadline, std::unique_ptr<CHttpRequest>& request, HttpAnswer& answer) {
    for (int redirects = 0; redirects <= kMaxRedirects; ++redirects) {
        const TKRuntimeLogger::CHangDetector asking(kHttpLog, __LINE__, L"HttpGet", kSilentMs,
                                                    [&] { return L"asking for " + url.Printable(); });
        const HRESULT hr = CHttpRequest::Send(session, url, HeadersOf(url, start), deadline, request);
        LogRequest(url, start, hr, request.get());
        if (FAILED(hr))
            return hr;
        const CHttpHeaders headers = request->Headers();
        answer = ReadHttpAnswer(request->Status(), headers);
        if (!IsRedirect(answer.status))
            return S_OK;
        auto target = TargetOf(url, headers);
        request.reset();
        if (!target)
            break;
        url = std::move(*target);
    }
    return kHttpRedirectFailed;
}

}  // namespace dataservices::http
