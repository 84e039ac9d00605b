// Runs calls one after the other, in the order in which they came, on one thread of its own.
//
//   CCallQueue queue("Reader", COINIT_MULTITHREADED);
//   queue.Post([=] { source->Prefetch(); });                            // returns at once
//   const auto size = queue.Call([=] { return source->Size(); }, 2000);  // no value: not within two seconds
//   queue.Stop(Rest::Discard, 2000);
//
// What a call captures is destroyed on the queue's thread if the call has begun, else where it was given up, never
// under the queue's lock. A call that is still running after its waiter's deadline goes on, so it must own what it
// uses.
//
// Threads: any, also the queue's own, for every operation but the destructor. No lock may be held that a call takes.
// Lifetime: the thread starts with the first call and stays until Stop. The destructor discards what waits, and gives
// the running call ten seconds; then the thread is left behind, see CWorkerThread.
// Units: milliseconds; INFINITE is no limit.
#pragma once

#include "threading/CWorkerThread.h"
#include "threading/Rest.h"

#include <boost/make_shared.hpp>

#include <cstdint>
#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

namespace threading {

class CCallQueue final {
public:
    using Function = boost::function<void()>;
    using Ticket = std::uint64_t;  // of one call of this queue; 0 is none

    // As for CWorkerThread.
    CCallQueue(const char* name, DWORD apartment);
    CCallQueue(const CCallQueue&) = delete;
    CCallQueue& operator=(const CCallQueue&) = delete;
    ~CCallQueue();

    // Never waits. An exception of the call is logged.  0: the queue was stopped, or has no memory or thread for it.
    Ticket Post(Function call) noexcept;

    // True: the call had not begun, and never will.
    bool Cancel(Ticket ticket) noexcept;

    // Waits for the result of `call`, which may be void; on the queue's own thread it is run at once. Throws what it
    // throws.  No value (void: false): it hasn't ended within `timeoutMs`, and was cancelled if it had not begun; or it
    // was discarded or refused by a Stop.
    template <class Work>
    [[nodiscard]] auto Call(Work&& call, DWORD timeoutMs) {
        using Result = std::invoke_result_t<Work>;
        if constexpr (std::is_void_v<Result>) {
            return RunAndWait(Function(std::forward<Work>(call)), timeoutMs);
        } else {
            const auto result = boost::make_shared<std::optional<Result>>();
            const auto keep = [result, call = std::forward<Work>(call)]() mutable { result->emplace(call()); };
            const bool hasEnded = RunAndWait(keep, timeoutMs);
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

    [[nodiscard]] bool RunAndWait(const Function& call, DWORD timeoutMs);
    [[nodiscard]] Ticket Enqueue(Function call, boost::shared_ptr<Outcome> outcome);

    const boost::shared_ptr<Core> m_core;
    bool m_hasThread = false;  // guarded by the core's lock
    CWorkerThread m_thread;
};

}  // namespace threading
