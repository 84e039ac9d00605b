#include "dataservices/http/HttpGet.h"

#include "base/AsciiText.h"
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

[[nodiscard]] bool IsSecureText(std::wstring_view url) noexcept {
    constexpr std::wstring_view kScheme = L"https:";
    return base::EqualsIgnoringAsciiCase(url.substr(0, kScheme.size()), kScheme);
}

[[nodiscard]] std::wstring HeadersOf(const HttpAsker& asker, const CHttpUrl& url, const HttpStart& start) {
    const SourceOptions& options = asker.options;
    const bool isOrigin = url.HasOriginOf(asker.original);
    // Compressed content would have other positions than the source.
    std::wstring headers = L"Accept-Encoding: identity\r\n";
    const auto add = [&](const std::wstring& name, const std::wstring& value) {
        if (!value.empty())
            headers += name + L": " + value + L"\r\n";
    };
    // Unless the host has one of its own.
    const auto addOurs = [&](const wchar_t* name, const std::wstring& value) {
        if (!isOrigin || !options.HasHeader(name))
            add(name, value);
    };
    addOurs(L"Accept", L"*/*");
    if (start.from)
        headers += L"Range: bytes=" + std::to_wstring(*start.from) + L"-" +
                   (start.end ? std::to_wstring(*start.end - 1) : L"") + L"\r\n";
    if (start.from && !start.validator.empty())
        headers += L"If-Range: " + start.validator + L"\r\n";
    addOurs(L"Authorization", url.Authorization());
    add(L"User-Agent", options.userAgent);
    if (url.IsSecure() || !IsSecureText(options.referer))
        add(L"Referer", options.referer);
    if (isOrigin) {
        add(L"Cookie", options.cookies);
        for (const SourceOptions::Header& header : options.headers)
            add(header.name, header.value);
    }
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

HRESULT HttpGet(const HttpAsker& asker, CHttpUrl& url, const HttpStart& start, const base::CDeadline& deadline,
                std::unique_ptr<CHttpRequest>& request, HttpAnswer& answer, CHttpAbort* abort) {
    for (int redirects = 0; redirects <= kMaxRedirects; ++redirects) {
        const TKRuntimeLogger::CHangDetector asking(kHttpLog, __LINE__, L"HttpGet", kSilentMs,
                                                    [&] { return L"asking for " + url.Printable(); });
        const HRESULT hr = CHttpRequest::Send(asker.session, url, HeadersOf(asker, url, start), asker.options, deadline,
                                              request, abort);
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
