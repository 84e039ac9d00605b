// One of the connections by which a store comes to the bytes of an http source.
//
// Units: positions and lengths are bytes.  Threads: as for IConnection.  Errors: std::bad_alloc.
#pragma once

#include "dataservices/http/CHttpAbort.h"
#include "dataservices/http/HttpGet.h"
#include "dataservices/http/HttpSource.h"
#include "dataservices/store/IConnection.h"

#include <memory>

namespace dataservices::http {

class CHttpConnection final : public store::IConnection {
public:
    explicit CHttpConnection(std::shared_ptr<HttpSource> source) noexcept : m_source(std::move(source)) {}

    // IConnection
    store::Outcome Open(store::Position at, std::optional<store::Position> end, store::Position* begin,
                        store::SourceFacts* facts) override;
    store::Outcome Read(std::span<const store::Byte>* bytes) override;
    void Close() noexcept override;
    void Abort() noexcept override { m_abort.Abort(); }
    void Tell(store::Position at, HRESULT failure, std::optional<std::uint64_t> pauseMs) override;

private:
    [[nodiscard]] HRESULT Ask(store::Position at, std::optional<store::Position> end, HttpAnswer& answer);
    [[nodiscard]] store::Outcome OutcomeOf(HRESULT hr) noexcept;
    [[nodiscard]] bool IsKnown() const noexcept;
    [[nodiscard]] HRESULT Receive(ULONG atMost, std::span<const BYTE>* bytes);
    [[nodiscard]] HRESULT AskOnceMore();

    const std::shared_ptr<HttpSource> m_source;
    std::shared_ptr<CHttpSession> m_session;
    std::unique_ptr<CHttpRequest> m_request;      // null: no answer is open
    store::Position m_at = 0;                     // of the byte that comes next
    std::optional<store::Position> m_end;         // of the answer, if it tells
    ULONG m_fastBytes = 0;                        // received in a row, fast
    bool m_isUneven = false;                      // a block has taken long
    std::optional<std::uint64_t> m_retryAfterMs;  // as the last answer asks for
    CHttpAbort m_abort;
};

}  // namespace dataservices::http
