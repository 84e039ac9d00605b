#include "dataservices/http/CHttpRequest.h"

#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpResults.h"

#include <algorithm>
#include <utility>

bool CHttpRequest::Open(const CHttpUrl& url) {
    m_connection = CInternetHandle(::WinHttpConnect(m_session->Handle(), url.Host().c_str(), url.Port(), 0));
    if (!m_connection)
        return false;
    const DWORD flags = WINHTTP_FLAG_ESCAPE_DISABLE | WINHTTP_FLAG_ESCAPE_DISABLE_QUERY |
                        (url.IsSecure() ? static_cast<DWORD>(WINHTTP_FLAG_SECURE) : 0);
    m_request = CInternetHandle(::WinHttpOpenRequest(m_connection.Get(), L"GET", url.Target().c_str(), nullptr,
                                                     WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, flags));
    // Redirects are followed where their targets are checked; and the library would log in by itself, with the user's
    // own name, wherever it takes the server for a near one.
    DWORD disabled = WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_AUTHENTICATION;
    if (!m_request || !::WinHttpSetOption(m_request.Get(), WINHTTP_OPTION_DISABLE_FEATURE, &disabled, sizeof(disabled)))
        return false;
    m_exchange = CHttpExchange::AttachTo(m_request.Get());
    return m_exchange != nullptr;
}

HRESULT CHttpRequest::Send(std::shared_ptr<CHttpSession> session, const CHttpUrl& url, const std::wstring& headers,
                           const CDeadline& deadline, std::unique_ptr<CHttpRequest>& request) {
    request.reset();
    std::unique_ptr<CHttpRequest> made(new CHttpRequest);
    made->m_session = std::move(session);
    if (!made->Open(url))
        return ResultOfNetworkError(::GetLastError());

    const HINTERNET handle = made->m_request.Get();
    const auto context = reinterpret_cast<DWORD_PTR>(made->m_exchange.get());
    DWORD unused = 0;
    made->m_exchange->Begin([&] {
        return ::WinHttpSendRequest(handle, headers.c_str(), static_cast<DWORD>(headers.size()),
                                    WINHTTP_NO_REQUEST_DATA, 0, 0, context);
    });
    HRESULT hr = made->m_exchange->Wait(deadline.Within(kConnectMs), &unused);
    if (FAILED(hr))
        return hr;
    made->m_exchange->Begin([&] { return ::WinHttpReceiveResponse(handle, nullptr); });
    hr = made->m_exchange->Wait(deadline.Within(kFirstByteMs), &unused);
    if (SUCCEEDED(hr))
        request = std::move(made);
    return hr;
}

DWORD CHttpRequest::Status() const noexcept {
    DWORD status = 0;
    DWORD size = sizeof(status);
    ::WinHttpQueryHeaders(m_request.Get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                          WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX);
    return status;
}

std::wstring CHttpRequest::Header(const wchar_t* name) const {
    DWORD size = 0;
    ::WinHttpQueryHeaders(m_request.Get(), WINHTTP_QUERY_CUSTOM, name, WINHTTP_NO_OUTPUT_BUFFER, &size,
                          WINHTTP_NO_HEADER_INDEX);
    std::wstring value(size / sizeof(wchar_t), L'\0');
    if (value.empty() || !::WinHttpQueryHeaders(m_request.Get(), WINHTTP_QUERY_CUSTOM, name, value.data(), &size,
                                                WINHTTP_NO_HEADER_INDEX))
        return {};
    value.resize(size / sizeof(wchar_t));
    return value;
}

void CHttpRequest::StartReading(ULONG bytes) noexcept {
    m_step = Step::Reading;
    m_exchange->Begin([&] {
        return ::WinHttpReadData(m_request.Get(), m_exchange->Buffer(), std::min(bytes, kBlockBytes), nullptr);
    });
}

HRESULT CHttpRequest::Receive(ULONG atMost, Wait wait, DWORD timeoutMs, std::span<const BYTE>* bytes) noexcept {
    *bytes = {};
    const CDeadline deadline(timeoutMs);
    if (m_step == Step::None) {
        if (wait == Wait::ForAll) {
            StartReading(atMost);
        } else {
            m_step = Step::Asking;
            m_exchange->Begin([&] { return ::WinHttpQueryDataAvailable(m_request.Get(), nullptr); });
        }
    }

    DWORD count = 0;
    HRESULT hr = m_exchange->Wait(timeoutMs, &count);
    if (SUCCEEDED(hr) && m_step == Step::Asking) {
        if (count == 0) {
            m_step = Step::None;
            return S_FALSE;
        }
        StartReading(std::min<ULONG>(atMost, count));
        hr = m_exchange->Wait(deadline.Left(), &count);
    }
    if (m_exchange->IsUnderWay())
        return hr;
    m_step = Step::None;
    if (FAILED(hr))
        return hr;
    *bytes = {m_exchange->Buffer(), count};
    return count > 0 ? S_OK : S_FALSE;
}
