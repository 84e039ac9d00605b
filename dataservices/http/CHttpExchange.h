// What a request shares with the HTTP library's threads: the outcome of the one operation that is under way, and the
// buffer that it reads into.
//
// Lifetime: kept by its request, and by itself until the library says that it is done with the request's handle. An
// operation that nobody waits for any more may still write into the buffer until then; the module counts as in use.
// Threads: one thread at a time begins operations and waits. The library completes them on any other thread, or within
// the very call that begins one; that call may be made on another thread, too.
#pragma once

#include "base/CSlimLock.h"
#include "baseclasses/CBaseObject.h"

#include <windows.h>

#include <winhttp.h>

#include <memory>
#include <vector>

namespace dataservices::http {

class CHttpExchange final : private CBaseObject {
public:
    // Made for `request` and its operations.  Null: the library refused.  Throws std::bad_alloc.
    [[nodiscard]] static std::shared_ptr<CHttpExchange> AttachTo(HINTERNET request);

    CHttpExchange();

    // An operation is under way from Announce on, and there may be only one at a time. Start makes the call that begins
    // it, a callable that returns BOOL. Fail is for an operation that is never begun.
    void Announce() noexcept;
    template <class Call>
    void Start(Call&& call) noexcept {
        if (!call())
            Complete(::GetLastError(), 0);
    }
    void Fail(DWORD error) noexcept { Complete(error, 0); }

    // S_OK: the request has been sent, or the operation is done. Otherwise as Wait.
    [[nodiscard]] HRESULT WaitUntilSent(DWORD ms) noexcept;

    // S_OK: it is done; `*value` is its number of bytes, if it has one.  E_PENDING: not within `ms`; it goes on and may
    // be waited for again.  Otherwise its failure, as ResultOfNetworkError gives it.
    [[nodiscard]] HRESULT Wait(DWORD ms, DWORD* value) noexcept;

    // Whether what is under way is done within `ms`, also behind Abort.
    [[nodiscard]] bool IsDoneWithin(DWORD ms) noexcept;

    // The Wait that waits, and all later ones, end with E_ABORT. What is under way goes on.  Threads: any.
    void Abort() noexcept;

    // kBlockBytes long.
    [[nodiscard]] BYTE* Buffer() noexcept { return m_buffer.data(); }

private:
    static void CALLBACK OnStatus(HINTERNET, DWORD_PTR context, DWORD status, void* information, DWORD length) noexcept;
    void Complete(DWORD error, DWORD value) noexcept;

    base::CSlimLock m_lock;  // guards the next five; nothing else is taken while it is held
    bool m_isDone = true;
    bool m_isAborted = false;
    bool m_isSent = false;
    DWORD m_error = ERROR_SUCCESS;
    DWORD m_value = 0;
    CONDITION_VARIABLE m_done = CONDITION_VARIABLE_INIT;
    std::vector<BYTE> m_buffer;
    std::shared_ptr<CHttpExchange> m_self;
};

}  // namespace dataservices::http
