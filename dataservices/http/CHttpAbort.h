// Ends the waits of requests that one thread makes, from another.
//
// Threads: any.
#pragma once

#include "base/CSlimLock.h"
#include "dataservices/http/CHttpExchange.h"

#include <memory>
#include <mutex>
#include <utility>

namespace dataservices::http {

class CHttpAbort final {
public:
    // The exchange of the request that is made now; null: of none.  E_ABORT: Abort was called before.
    [[nodiscard]] HRESULT Watch(std::shared_ptr<CHttpExchange> exchange) noexcept {
        const std::lock_guard guard(m_lock);
        m_exchange.swap(exchange);
        return m_isAborted ? E_ABORT : S_OK;
    }

    // The wait of the watched exchange ends, or the next Watch.
    void Abort() noexcept {
        const std::lock_guard guard(m_lock);
        m_isAborted = true;
        if (m_exchange)
            m_exchange->Abort();
    }

    // Whether Abort was called since the last Take.
    [[nodiscard]] bool Take() noexcept {
        const std::lock_guard guard(m_lock);
        return std::exchange(m_isAborted, false);
    }

private:
    base::CSlimLock m_lock;  // guards the next two; before an exchange's
    std::shared_ptr<CHttpExchange> m_exchange;
    bool m_isAborted = false;
};

}  // namespace dataservices::http
