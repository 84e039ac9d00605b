// Holds one IStream as a registration in the Global Interface Table, so that any apartment can get a pointer to it that
// is valid there. A free-threaded stream is held directly, too, and handed out without asking the table.
//
// Threads: any thread that is in an apartment; one call at a time, except that CopyTo may run on several threads at
// once.  Lifetime: the table keeps a reference to the stream until Revoke, the next Attach or the destructor. For a
// free-threaded stream this object keeps one as well.
#pragma once

#include "base/ComBoundary.h"

#include <windows.h>

#include <objidl.h>
#include <wrl/client.h>

#include <atomic>

namespace framework {

class CStreamCookie final {
public:
    CStreamCookie() noexcept = default;
    CStreamCookie(const CStreamCookie&) = delete;
    CStreamCookie& operator=(const CStreamCookie&) = delete;
    ~CStreamCookie();

    // Registers `stream` in place of what was registered before. Null does nothing and gives S_OK.
    // A failure to revoke the old registration is returned, and then nothing changed. If the new registration fails,
    // the holder is empty.
    [[nodiscard]] HRESULT Attach(IStream* stream) noexcept;

    // Hands out the stream with a reference, for the calling apartment. Fails when the holder is empty; `*stream` is
    // null on failure.  E_POINTER: `stream` is null, or the table succeeds and gives nothing.  Otherwise the failure of
    // the table, or of the stream if the table has asked it.
    [[nodiscard]] HRESULT CopyTo(IStream** stream) const noexcept;

    // Fetches the stream for the calling apartment and gives what `function`, called with it, returns. An exception
    // counts as a failure of the stream.  Otherwise as CopyTo.
    template <class Function>
    [[nodiscard]] HRESULT Call(Function&& function) const noexcept {
        Microsoft::WRL::ComPtr<IStream> stream;
        if (const HRESULT hr = CopyTo(&stream); FAILED(hr))
            return hr;
        return base::ComBoundary([&] { return function(*stream.Get()); });
    }

    // Hands out a clone of the stream, for the calling apartment; `clone` is empty on failure.
    // E_UNEXPECTED: the stream reported success and gave no clone.  Otherwise the stream's failure, or as CopyTo.
    [[nodiscard]] HRESULT Clone(Microsoft::WRL::ComPtr<IStream>& clone) const noexcept;

    // Ends the registration; S_OK when there is none. After a failure it is still held.
    HRESULT Revoke() noexcept;

    [[nodiscard]] bool IsEmpty() const noexcept { return m_cookie == 0; }

    // The table's cookie, 0 when empty.
    [[nodiscard]] DWORD Get() const noexcept { return m_cookie; }

private:
    std::atomic<DWORD> m_cookie{0};  // read by IsEmpty without the caller's lock

    // The registered stream, when it aggregates the free-threaded marshaler; otherwise null. The table would give out
    // this very pointer in any apartment, but only after making an unmarshaler for it at each fetch, which costs more
    // than a read.
    Microsoft::WRL::ComPtr<IStream> m_freeThreaded;
};

}  // namespace framework
