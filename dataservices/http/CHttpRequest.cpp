#include "dataservices/http/CHttpRequest.h"

#include "base/ModuleFolder.h"
#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpResults.h"

#include <algorithm>
#include <new>
#include <utility>

namespace dataservices::http {

namespace {

constexpr DWORD kEndsByItselfMs = 200;

}  // namespace

struct CHttpRequest::StepToBegin {
    std::shared_ptr<Handles> handles;
    Step step;
    ULONG bytes;
};

// Runs the callback on a thread on which nobody waits. The module stays loaded meanwhile. False: it won't run.
bool CHttpRequest::RunOnPool(PTP_SIMPLE_CALLBACK callback, void* context) noexcept {
    TP_CALLBACK_ENVIRON environment;
    ::InitializeThreadpoolEnvironment(&environment);
    ::SetThreadpoolCallbackLibrary(&environment, base::OwnModule());
    const bool runs = ::TrySubmitThreadpoolCallback(callback, context, &environment) != FALSE;
    ::DestroyThreadpoolEnvironment(&environment);
    return runs;
}

CHttpRequest::~CHttpRequest() {
    if (m_step == Step::None)
        return;
    // A call that waits although it need not (see Begin) would go on until its bytes are there.
    std::unique_ptr<StepToBegin> step(new (std::nothrow) StepToBegin{m_handles, m_step, 0});
    if (step && RunOnPool(&EndOnPool, step.get()))
        static_cast<void>(step.release());
}

// Short time-outs end the call, if it doesn't end by itself: some versions of the library don't bear them at the moment
// at which it does. The handles stay open until then: behind closed ones the same versions read on, and nothing ends
// that.
void CALLBACK CHttpRequest::EndOnPool(PTP_CALLBACK_INSTANCE instance, void* context) noexcept {
    ::CallbackMayRunLong(instance);
    const std::unique_ptr<StepToBegin> step(static_cast<StepToBegin*>(context));
    const Handles& handles = *step->handles;
    if (!handles.exchange->IsDoneWithin(kEndsByItselfMs))
        ::WinHttpSetTimeouts(handles.request.Get(), 1, 1, 1, 1);
}

HRESULT CHttpRequest::Open(std::shared_ptr<CHttpSession> session, const CHttpUrl& url, const SourceOptions& options) {
    m_handles = std::make_shared<Handles>();
    Handles& handles = *m_handles;
    handles.session = std::move(session);
    handles.connection =
        CInternetHandle(::WinHttpConnect(handles.session->Handle(), url.Host().c_str(), url.Port(), 0));
    if (!handles.connection)
        return ResultOfNetworkError(::GetLastError());
    const DWORD flags = WINHTTP_FLAG_ESCAPE_DISABLE | WINHTTP_FLAG_ESCAPE_DISABLE_QUERY |
                        (url.IsSecure() ? static_cast<DWORD>(WINHTTP_FLAG_SECURE) : 0);
    handles.request =
        CInternetHandle(::WinHttpOpenRequest(handles.connection.Get(), L"GET", url.Target().c_str(), nullptr,
                                             WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, flags));
    // Redirects are followed by our own code, which checks their targets. And wherever the library takes a server for a
    // near one, it would log in by itself, with the user's own name. Cookies of the host's go as they are.
    DWORD disabled = WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_AUTHENTICATION |
                     (options.cookies.empty() ? 0 : static_cast<DWORD>(WINHTTP_DISABLE_COOKIES));
    if (handles.request &&
        ::WinHttpSetOption(handles.request.Get(), WINHTTP_OPTION_DISABLE_FEATURE, &disabled, sizeof(disabled)))
        handles.exchange = CHttpExchange::AttachTo(handles.request.Get());
    if (!handles.exchange)
        return ResultOfNetworkError(::GetLastError());
    // Our own waits decide, and their limit may be another one by then. The library's time-outs only end the work that
    // we no longer wait for.
    const auto ms = [](DWORD limit) { return static_cast<int>(limit); };
    ::WinHttpSetTimeouts(handles.request.Get(), ms(options.connectMs), ms(options.connectMs), ms(options.connectMs),
                         ms(std::max(options.answerMs, kMostSilenceMs)));
    return S_OK;
}

HRESULT CHttpRequest::Send(std::shared_ptr<CHttpSession> session, const CHttpUrl& url, const std::wstring& headers,
                           const SourceOptions& options, const base::CDeadline& deadline,
                           std::unique_ptr<CHttpRequest>& request, CHttpAbort* abort) {
    request.reset();
    auto made = std::make_unique<CHttpRequest>();
    HRESULT hr = made->Open(std::move(session), url, options);
    if (SUCCEEDED(hr) && abort)
        hr = abort->Watch(made->m_handles->exchange);
    if (FAILED(hr))
        return hr;

    const HINTERNET handle = made->m_handles->request.Get();
    CHttpExchange& exchange = *made->m_handles->exchange;
    DWORD unused = 0;
    exchange.Announce();
    exchange.Start([&] {
        return ::WinHttpSendRequest(handle, headers.c_str(), static_cast<DWORD>(headers.size()),
                                    WINHTTP_NO_REQUEST_DATA, 0, 0, reinterpret_cast<DWORD_PTR>(&exchange));
    });
    // Some versions of the library say that they are done with this only when the answer is there.
    hr = exchange.WaitUntilSent(deadline.Within(options.connectMs));
    const base::CDeadline answered(deadline.Within(options.answerMs));
    if (SUCCEEDED(hr))
        hr = exchange.Wait(answered.Left(), &unused);
    if (SUCCEEDED(hr)) {
        exchange.Announce();
        exchange.Start([&] { return ::WinHttpReceiveResponse(handle, nullptr); });
        hr = exchange.Wait(answered.Left(), &unused);
    }
    if (SUCCEEDED(hr))
        request = std::move(made);
    return hr == E_PENDING ? kHttpTimeout : hr;
}

DWORD CHttpRequest::Status() const noexcept {
    DWORD status = 0;
    DWORD size = sizeof(status);
    ::WinHttpQueryHeaders(m_handles->request.Get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                          WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX);
    return status;
}

// All headers are read at once: if asked for them by number, the library would search from the first one each time.
CHttpHeaders CHttpRequest::Headers() const {
    const HINTERNET request = m_handles->request.Get();
    std::wstring headers;
    const auto query = [&](wchar_t* buffer, DWORD* size) {
        return ::WinHttpQueryHeaders(request, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, buffer,
                                     size, WINHTTP_NO_HEADER_INDEX);
    };
    DWORD size = 0;
    query(nullptr, &size);
    headers.resize(size / sizeof(wchar_t) + 1);
    size = static_cast<DWORD>(headers.size() * sizeof(wchar_t));
    headers.resize(query(headers.data(), &size) ? size / sizeof(wchar_t) : 0);
    return CHttpHeaders(std::move(headers));
}

// Some versions of the library finish a read within the call that begins it, however long that takes. So the call is
// made on a thread on which nobody waits.
void CHttpRequest::Begin(Step step, ULONG bytes) noexcept {
    m_step = step;
    CHttpExchange& exchange = *m_handles->exchange;
    exchange.Announce();
    std::unique_ptr<StepToBegin> begin(new (std::nothrow) StepToBegin{m_handles, step, std::min(bytes, kBlockBytes)});
    if (begin && RunOnPool(&OnPool, begin.get()))
        static_cast<void>(begin.release());
    else
        exchange.Fail(ERROR_NOT_ENOUGH_MEMORY);
}

void CALLBACK CHttpRequest::OnPool(PTP_CALLBACK_INSTANCE, void* context) noexcept {
    const std::unique_ptr<StepToBegin> begin(static_cast<StepToBegin*>(context));
    Handles& handles = *begin->handles;
    handles.exchange->Start([&] {
        return begin->step == Step::Asking
                   ? ::WinHttpQueryDataAvailable(handles.request.Get(), nullptr)
                   : ::WinHttpReadData(handles.request.Get(), handles.exchange->Buffer(), begin->bytes, nullptr);
    });
}

HRESULT CHttpRequest::Receive(ULONG atMost, Wait wait, DWORD timeoutMs, std::span<const BYTE>* bytes) noexcept {
    *bytes = {};
    const base::CDeadline deadline(timeoutMs);
    CHttpExchange& exchange = *m_handles->exchange;
    if (m_step == Step::None)
        Begin(wait == Wait::ForAll ? Step::Reading : Step::Asking, atMost);

    DWORD count = 0;
    HRESULT hr = exchange.Wait(timeoutMs, &count);
    if (hr == S_OK && m_step == Step::Asking && count > 0) {
        Begin(Step::Reading, std::min<ULONG>(atMost, count));
        hr = exchange.Wait(deadline.Left(), &count);
    }
    if (hr == E_PENDING || hr == E_ABORT)  // in both cases the step goes on, and the destructor has to know
        return hr;
    m_step = Step::None;
    if (FAILED(hr))
        return hr;
    *bytes = {exchange.Buffer(), count};
    return count > 0 ? S_OK : S_FALSE;
}

}  // namespace dataservices::http
