// One thread of this module, in a COM apartment, that may be left behind: what waits for it has a limit.
//
//   CWorkerThread worker("Reader", COINIT_MULTITHREADED);
//   if (!worker.Start([state](HRESULT) { state->Work(); })) ...
//   if (!worker.Join(2000)) ...   // it works on, and may be joined again
//
// Threads: Start and the destructor are for the owner, which may be the thread itself; Join and IsCurrent for any.
// Lifetime: the module stays loaded while the thread runs. If the object goes before the thread was joined, the thread
// is left behind and cleans up after itself, so the body must own everything that it uses. Only a thread that has just
// left its body is waited for, for ten seconds at most.
// Not from DllMain or from the destructor of a static: no thread begins or ends while the loader's lock is held.
// Units: milliseconds.
#pragma once

#include "base/CSlimLock.h"

#include <objbase.h>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

namespace threading {

// How long those that stand on threads wait for them in their destructors.
inline constexpr DWORD kPatienceMs = 10'000;

class CWorkerThread final {
public:
    // Takes the result of entering the apartment: after a failure it runs outside of any.
    using Body = boost::function<void(HRESULT)>;

    // `name`, which debuggers show, is a literal. `apartment`: flags for CoInitializeEx.
    CWorkerThread(const char* name, DWORD apartment) noexcept;
    CWorkerThread(const CWorkerThread&) = delete;
    CWorkerThread& operator=(const CWorkerThread&) = delete;
    ~CWorkerThread();

    // Again only after a Join. `body` must not throw; it is destroyed on the thread.  False: no memory, no thread, or
    // there is one already.
    [[nodiscard]] bool Start(const Body& body) noexcept;

    // True: the thread has ended, or was never started.  False: it runs on after `timeoutMs`; at once for the thread
    // itself.
    [[nodiscard]] bool Join(DWORD timeoutMs) noexcept;

    // For the owner, to wait for the thread's end together with something else; still this object's. Null: not started,
    // or joined.
    [[nodiscard]] HANDLE GetHandle() const noexcept;

    // Whether the calling thread is this one.
    [[nodiscard]] bool IsCurrent() const noexcept;

private:
    struct Life;

    void Become(boost::shared_ptr<Life> life) noexcept;
    [[nodiscard]] boost::shared_ptr<Life> Current() const noexcept;

    const char* const m_name;
    const DWORD m_apartment;
    mutable base::CSlimLock m_lock;  // guards m_life; a leaf
    boost::shared_ptr<Life> m_life;  // null: not started, or joined
};

}  // namespace threading
