// One GET and its answer. The library follows no redirect and sends no credentials on its own here.
//
// Units: bytes, and milliseconds for times.
// Threads: one at a time.  Lifetime: ends at once, also while data are awaited; what is under way then ends by itself.
#pragma once

#include "base/CDeadline.h"
#include "dataservices/SourceOptions.h"
#include "dataservices/http/CHttpAbort.h"
#include "dataservices/http/CHttpExchange.h"
#include "dataservices/http/CHttpHeaders.h"
#include "dataservices/http/CHttpSession.h"
#include "dataservices/http/CHttpUrl.h"

#include <memory>
#include <span>
#include <string>

namespace dataservices::http {

class CHttpRequest final {
public:
    // What a Receive waits for: whatever there is, or all the bytes that were asked for.
    enum class Wait { ForSome, ForAll };

    // Sends the request and waits for the answer's headers. `headers` are more request headers, each with its CR LF. Of
    // the options the time-outs count, and whether there are cookies.
    // Results: S_OK, whatever status the server answered; else as ResultOfNetworkError.  Throws std::bad_alloc.
    [[nodiscard]] static HRESULT Send(std::shared_ptr<CHttpSession> session, const CHttpUrl& url,
                                      const std::wstring& headers, const SourceOptions& options,
                                      const base::CDeadline& deadline, std::unique_ptr<CHttpRequest>& request,
                                      CHttpAbort* abort = nullptr);

    // From now on, `abort` ends the waits of this request, and of no other.  E_ABORT: as CHttpAbort::Watch.
    [[nodiscard]] HRESULT WatchBy(CHttpAbort& abort) noexcept { return abort.Watch(m_handles->exchange); }

    [[nodiscard]] DWORD Status() const noexcept;
    // Empty if there are none to be had.
    [[nodiscard]] CHttpHeaders Headers() const;

    // The next bytes of the body, at most `atMost` and kBlockBytes; they are valid until the next call. A wait that has
    // begun goes on in the next call as it began.
    // S_FALSE: the body has ended. The caller has to see whether all of it came: some systems report the end of a
    // chunked body that breaks off.  E_PENDING: not within `timeoutMs`; may be called again.  Other failures are final.
    [[nodiscard]] HRESULT Receive(ULONG atMost, Wait wait, DWORD timeoutMs, std::span<const BYTE>* bytes) noexcept;

    CHttpRequest() = default;  // for Send only
    CHttpRequest(const CHttpRequest&) = delete;
    CHttpRequest& operator=(const CHttpRequest&) = delete;
    ~CHttpRequest();

private:
    // In this order: the request is closed first. A read that is being begun keeps them open. Otherwise the platform
    // might give a new request the number of the closed one.
    struct Handles {
        std::shared_ptr<CHttpSession> session;
        CInternetHandle connection;
        std::shared_ptr<CHttpExchange> exchange;
        CInternetHandle request;
    };
    enum class Step { None, Asking, Reading };
    struct StepToBegin;

    [[nodiscard]] HRESULT Open(std::shared_ptr<CHttpSession> session, const CHttpUrl& url,
                               const SourceOptions& options);
    void Begin(Step step, ULONG bytes) noexcept;
    static bool RunOnPool(PTP_SIMPLE_CALLBACK callback, void* context) noexcept;
    static void CALLBACK OnPool(PTP_CALLBACK_INSTANCE, void* context) noexcept;
    static void CALLBACK EndOnPool(PTP_CALLBACK_INSTANCE instance, void* context) noexcept;

    std::shared_ptr<Handles> m_handles;
    Step m_step = Step::None;  // the one that is under way
};

}  // namespace dataservices::http
