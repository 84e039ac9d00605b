// One GET and its answer. The library follows no redirect and sends no credentials on its own here.
//
// Units: bytes, and milliseconds for times.
// Threads: one at a time.  Lifetime: ends at once, also while data are awaited.
#pragma once

#include "dataservices/http/CDeadline.h"
#include "dataservices/http/CHttpExchange.h"
#include "dataservices/http/CHttpSession.h"
#include "dataservices/http/CHttpUrl.h"

#include <memory>
#include <span>
#include <string>

class CHttpRequest final {
public:
    // What a Receive waits for: whatever there is, or all the bytes that were asked for.
    enum class Wait { ForSome, ForAll };

    // Sends the request and waits for the answer's headers. `headers` are more request headers, each with its CR LF.
    // Results: S_OK, whatever status the server answered; else as ResultOfNetworkError.  Throws std::bad_alloc.
    [[nodiscard]] static HRESULT Send(std::shared_ptr<CHttpSession> session, const CHttpUrl& url,
                                      const std::wstring& headers, const CDeadline& deadline,
                                      std::unique_ptr<CHttpRequest>& request);

    [[nodiscard]] DWORD Status() const noexcept;
    // The first header of this name; empty without one.
    [[nodiscard]] std::wstring Header(const wchar_t* name) const;

    // The next bytes of the body, at most `atMost` and kBlockBytes; they are valid until the next call. A wait that has
    // begun goes on in the next call as it began.
    // S_FALSE: the body has ended. Whether all of it came is for the caller to see; in a chunked one that breaks off
    // some systems see its end.  kHttpTimeout with IsUnderWay: not within `timeoutMs`; may be called again. Other
    // failures are final.
    [[nodiscard]] HRESULT Receive(ULONG atMost, Wait wait, DWORD timeoutMs, std::span<const BYTE>* bytes) noexcept;
    [[nodiscard]] bool IsUnderWay() const noexcept { return m_exchange->IsUnderWay(); }

private:
    CHttpRequest() = default;
    [[nodiscard]] bool Open(const CHttpUrl& url);
    void StartReading(ULONG bytes) noexcept;

    enum class Step { None, Asking, Reading };

    // In this order: the request is closed first.
    std::shared_ptr<CHttpSession> m_session;
    CInternetHandle m_connection;
    std::shared_ptr<CHttpExchange> m_exchange;
    CInternetHandle m_request;
    Step m_step = Step::None;
};
