// Opens names on a thread of its own, in the multithreaded apartment, and hands each stream over to whoever asked for
// it. So an opened stream belongs to no caller's apartment.
//
//   CAutoLock loadLock(&opener.LoadLock());
//   if (const HRESULT hr = opener.Open(std::move(name), &result); FAILED(hr)) return hr;
//   return opener.Take(&stream);
//
// Its records name the filter's functions, Load and CreateStreamThread: readers of the log look for these names.
//
// Threads: Start and Stop are for the owner. Any thread may load; it holds the load lock from before Open until its
// load is over.  Lifetime: the owner stops it before it goes.
#pragma once

#include "base/CAutoDestructor.h"
#include "baseclasses/CCritSec.h"
#include "framework/com/CStreamCookie.h"
#include "framework/uri/CParsedName.h"
#include "threading/CComThreadRunnableAdapter.h"
#include "threading/CRunnableThread.h"

#include <windows.h>

#include <objidl.h>

#include <optional>

namespace filter {

class CStreamOpener final {
public:
    CStreamOpener();
    CStreamOpener(const CStreamOpener&) = delete;
    CStreamOpener& operator=(const CStreamOpener&) = delete;

    // Starts the thread. It isn't there afterwards when the system had no thread or not all of its events.
    void Start() noexcept;

    // Ends the thread, and waits for a name that is being opened.
    void Stop() noexcept;

    [[nodiscard]] bool IsRunning() const noexcept;

    // One load at a time, from Open until the filter uses the new source.
    [[nodiscard]] CCritSec& LoadLock() noexcept { return m_loadLock; }

    // Has the thread open `name` and waits for it without time limit. `*result` is what opening the name gave, S_OK for
    // any success; empty when the thread has ended meanwhile.
    // S_OK: the name has been tried.  Otherwise an earlier stream could not be revoked, and nothing was tried.
    [[nodiscard]] HRESULT Open(framework::CParsedName name, std::optional<HRESULT>* result) noexcept;

    // Hands out the stream that the last Open made, for the calling apartment. Fails when there is none.
    [[nodiscard]] HRESULT Take(IStream** stream) noexcept;

private:
    HRESULT CreateStreamThread() noexcept;
    void ServeCreateRequest() noexcept;
    [[nodiscard]] HRESULT CreatePendingStream(IStream** stream) noexcept;
    void AwaitCreation() const noexcept;

    // In the order of construction.
    CRunnableThread m_creationThread;
    CComThreadRunnableAdapter<CStreamOpener> m_creationRunnable;
    base::CAutoHandle m_stop;           // manual-reset: the creation thread is to end
    base::CAutoHandle m_createRequest;  // auto-reset: the pending name is to be opened
    base::CAutoHandle m_creationDone;   // auto-reset: it has been tried
    CCritSec m_loadLock;
    framework::CParsedName m_pendingName;      // written by Open before the request, read by the thread after it
    framework::CStreamCookie m_createdStream;  // written by the thread before it is done, read by Take after that
    std::optional<HRESULT> m_creationResult;   // in the same way, read by Open; empty while there is none
};

}  // namespace filter
