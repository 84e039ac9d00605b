// Runs calls one after the other, in the order in which they came, on one thread of its own.
//
//   CCallQueue queue("Reader", COINIT_MULTITHREADED);
//   queue.Post([=] { source->Prefetch(); });                            // returns at once
//   const auto size = queue.Call([=] { return source->Size(); }, 2000);  // no value: not within two seconds
//   queue.Stop(Rest::Discard, 2000);
//
// In a single-threaded apartment the thread dispatches messages between the calls. A thread that waits in Call or Stop
// dispatches none: no call may need it meanwhile, nor take a lock that it holds.
//
// The queue's copy of a call is destroyed on the queue's thread, without any lock, also when the call never began. A
// call that is still running after its waiter's deadline goes on, so it must own what it uses.
//
// Threads: any, also the queue's own, for every operation and the destructor. The queue may go when no other thread is
// inside an operation of it but Call: whoever waits there goes on waiting until the call has run or was discarded, or
// until the limit.
// Lifetime: the thread runs from the constructor to Stop. The destructor discards what waits; unless somebody has
// stopped the queue before, it gives the running call ten seconds. A thread that still runs then is left behind, see
// CWorkerThread.
// Errors: the constructor throws std::bad_alloc. A queue without a thread takes no call.
// Units: milliseconds; INFINITE is no limit.
#pragma once

#include "base/ComBoundary.h"
#include "threading/CWorkerThread.h"
#include "threading/Rest.h"

#include <boost/make_shared.hpp>

#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>

namespace threading {

class CCallQueue final {
public:
    using Function = boost::function<void()>;
    using Ticket = std::uint64_t;  // of one call of this queue; 0 is none

    // As for CWorkerThread. Where the apartment can't be entered, every call is refused.
    CCallQueue(const char* name, DWORD apartment);
    CCallQueue(const CCallQueue&) = delete;
    CCallQueue& operator=(const CCallQueue&) = delete;
    ~CCallQueue();

    // Never waits. An exception of the call is logged.  0: the queue was stopped, or has no memory or thread for it.
    template <class Work>
    Ticket Post(Work&& call) noexcept {
        Ticket ticket = 0;
        base::RunQuietly([&] { ticket = Enqueue(Function(std::forward<Work>(call))); });
        return ticket;
    }

    // True: the call had not begun, and never will.
    bool Cancel(Ticket ticket) noexcept;

    // Waits for the result of `call`, which may be void; on the queue's own thread it is run at once. Throws what it
    // throws, and std::bad_alloc.  No value (void: false): it hasn't ended within `timeoutMs`, and was cancelled if it
    // had not begun; or it was discarded or refused by a Stop.
    template <class Work>
    [[nodiscard]] auto Call(Work&& call, DWORD timeoutMs) {
        using Result = std::invoke_result_t<Work>;
        if constexpr (std::is_void_v<Result>) {
            return RunAndWait(Function(std::forward<Work>(call)), timeoutMs);
        } else {
            const auto result = boost::make_shared<std::optional<Result>>();
            const bool hasEnded =
                RunAndWait([result, call = std::forward<Work>(call)]() mutable { result->emplace(call()); }, timeoutMs);
            return hasEnded ? std::move(*result) : std::optional<Result>();
        }
    }

    // No call is taken any more; those that wait are run or discarded, and the thread ends. May be called again, by
    // several threads, with another wish and another limit.
    // True: the thread has ended, or there was none.  False: not within `timeoutMs`, or it is the calling thread
    // itself, which then ends after its call.
    bool Stop(Rest rest, DWORD timeoutMs) noexcept;

private:
    struct Outcome;
    struct Core;

    [[nodiscard]] Ticket Enqueue(Function call);
    [[nodiscard]] bool RunAndWait(Function call, DWORD timeoutMs);

    const boost::shared_ptr<Core> m_core;
    CWorkerThread m_thread;
};

}  // namespace threading
