#include "dataservices/http/CHttpExchange.h"

#include "base/CDeadline.h"
#include "dataservices/http/HttpLimits.h"
#include "dataservices/http/HttpResults.h"

#include <mutex>
#include <utility>

namespace dataservices::http {

CHttpExchange::CHttpExchange() : CBaseObject(L"CHttpExchange"), m_buffer(kBlockBytes) {}

std::shared_ptr<CHttpExchange> CHttpExchange::AttachTo(HINTERNET request) {
    auto exchange = std::make_shared<CHttpExchange>();
    DWORD_PTR context = reinterpret_cast<DWORD_PTR>(exchange.get());
    if (!::WinHttpSetOption(request, WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof(context)))
        return nullptr;
    const DWORD events =
        WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS | WINHTTP_CALLBACK_FLAG_HANDLES | WINHTTP_CALLBACK_FLAG_SEND_REQUEST;
    if (::WinHttpSetStatusCallback(request, &OnStatus, events, 0) == WINHTTP_INVALID_STATUS_CALLBACK)
        return nullptr;
    exchange->m_self = exchange;
    return exchange;
}

void CHttpExchange::Announce() noexcept {
    const std::lock_guard guard(m_lock);
    m_isDone = false;
}

HRESULT CHttpExchange::WaitUntilSent(DWORD ms) noexcept {
    const base::CDeadline deadline(ms);
    const std::lock_guard guard(m_lock);
    while (!m_isSent && !m_isDone && !m_isAborted && m_lock.Await(m_done, deadline.Left())) {
    }
    if (m_isAborted)
        return E_ABORT;
    return m_isSent || m_isDone ? S_OK : E_PENDING;
}

HRESULT CHttpExchange::Wait(DWORD ms, DWORD* value) noexcept {
    const base::CDeadline deadline(ms);
    const std::lock_guard guard(m_lock);
    while (!m_isDone && !m_isAborted && m_lock.Await(m_done, deadline.Left())) {
    }
    *value = m_value;
    if (m_isAborted)
        return E_ABORT;
    if (!m_isDone)
        return E_PENDING;
    return m_error == ERROR_SUCCESS ? S_OK : ResultOfNetworkError(m_error);
}

bool CHttpExchange::IsDoneWithin(DWORD ms) noexcept {
    const base::CDeadline deadline(ms);
    const std::lock_guard guard(m_lock);
    while (!m_isDone && m_lock.Await(m_done, deadline.Left())) {
    }
    return m_isDone;
}

void CHttpExchange::Abort() noexcept {
    const std::lock_guard guard(m_lock);
    m_isAborted = true;
    ::WakeAllConditionVariable(&m_done);
}

void CHttpExchange::Complete(DWORD error, DWORD value) noexcept {
    const std::lock_guard guard(m_lock);
    m_isDone = true;
    m_error = error;
    m_value = value;
    ::WakeAllConditionVariable(&m_done);
}

void CALLBACK CHttpExchange::OnStatus(HINTERNET, DWORD_PTR context, DWORD status, void* information,
                                      DWORD length) noexcept {
    CHttpExchange& exchange = *reinterpret_cast<CHttpExchange*>(context);
    switch (status) {
        case WINHTTP_CALLBACK_STATUS_REQUEST_SENT: {
            const std::lock_guard guard(exchange.m_lock);
            exchange.m_isSent = true;
            ::WakeAllConditionVariable(&exchange.m_done);
            break;
        }
        case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
        case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
            exchange.Complete(ERROR_SUCCESS, 0);
            break;
        case WINHTTP_CALLBACK_STATUS_DATA_AVAILABLE:
            exchange.Complete(ERROR_SUCCESS, *static_cast<const DWORD*>(information));
            break;
        case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
            exchange.Complete(ERROR_SUCCESS, length);
            break;
        case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
            exchange.Complete(static_cast<const WINHTTP_ASYNC_RESULT*>(information)->dwError, 0);
            break;
        case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING: {
            const auto last = std::move(exchange.m_self);  // `exchange` may end with it
            break;
        }
        default:
            break;
    }
}

}  // namespace dataservices::http
