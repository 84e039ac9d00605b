// One thread of this module, in a COM apartment, that may be left behind: what waits for it has a limit.
//
//   CWorkerThread worker("Reader", COINIT_MULTITHREADED);
//   if (!worker.Start([state] { state->Work(); })) ...
//   if (!worker.Join(2000)) ...   // it works on, and may be joined again
//
// Threads: Start and the destructor are for the owner; Join and IsCurrent for any thread.
// Lifetime: the module stays loaded while the thread runs. If the object goes before the thread was joined, the thread
// is left behind and the module stays loaded for good, so the body must own everything that it uses.
// Not from DllMain or from the destructor of a static: a thread can't end while the loader's lock is held.
#pragma once

#include "base/CSlimLock.h"

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

namespace threading {

class CWorkerThread final {
public:
    // `name`, which debuggers show, is a literal. `apartment`: flags for CoInitializeEx.
    CWorkerThread(const char* name, DWORD apartment) noexcept;
    CWorkerThread(const CWorkerThread&) = delete;
    CWorkerThread& operator=(const CWorkerThread&) = delete;
    ~CWorkerThread();

    // Once. `body` must not throw.  False: no memory, no thread, or it has been started already.
    [[nodiscard]] bool Start(const boost::function<void()>& body) noexcept;

    // True: the thread has ended, or was never started.  False: it runs on after `timeoutMs`; at once for the thread
    // itself.
    [[nodiscard]] bool Join(DWORD timeoutMs) noexcept;

    // Whether the calling thread is this one.
    [[nodiscard]] bool IsCurrent() const noexcept;

private:
    struct Run;

    [[nodiscard]] boost::shared_ptr<Run> Current() const noexcept;

    const char* const m_name;
    const DWORD m_apartment;
    mutable base::CSlimLock m_lock;  // guards m_run; a leaf
    boost::shared_ptr<Run> m_run;    // null: not started, or joined
};

}  // namespace threading
