// A few threads that work on the tasks of one queue: many independent pieces of work, in no order.
//
//   CParallelManager manager("Detection");
//   if (manager.Post([=] { Look(file); }, 1000) != CParallelManager::Posted::Taken) ...
//   manager.Stop(Rest::Discard, 5000);
//
// CTaskGroup stands on it for work whose end somebody waits for. A task may post and may wait for a group of its own,
// but not for anything else that needs a worker: all of them might wait then.
//
// Threads: any, also the workers, for every operation and the destructor. They start at need, in the multithreaded
// apartment, and stay until Stop. The manager may go when no other thread is inside an operation of it but Post.
// Lifetime: a module whose tasks are under way isn't unloaded (see CWorkerThread). Stop it in an explicit call: never
// from DllMain or the end of a static. The destructor discards what waits; unless somebody has stopped the manager
// before, it gives the running tasks ten seconds. A worker that still runs then is left behind.
// Errors: an exception of a task is logged, and harms no other. The constructor throws std::bad_alloc.
// Units: milliseconds; INFINITE is no limit.
#pragma once

#include "base/ComBoundary.h"
#include "threading/CWorkerThread.h"
#include "threading/Rest.h"

#include <boost/make_shared.hpp>

#include <cstddef>
#include <type_traits>
#include <utility>

namespace threading {

class CParallelManager final {
public:
    // True: the task wants to be run again, after those that wait by then.
    using Task = boost::function<bool()>;
    // Taken: it will be run, unless a Stop discards it, or there turns out to be no thread at all. Where no worker can
    // enter its apartment, the manager is stopped.
    enum class Posted { Taken, Refused, Stopped };

    // `workers`: the most threads; 0 is one for each processor. `mostWaiting`: the most tasks that wait for one.
    explicit CParallelManager(const char* name, unsigned workers = 0, std::size_t mostWaiting = 1024);
    CParallelManager(const CParallelManager&) = delete;
    CParallelManager& operator=(const CParallelManager&) = delete;
    ~CParallelManager();

    // `task` is a Task, or returns nothing and is run once. One that never begins is destroyed by the thread that
    // discards it, without a lock.
    // Refused: there was no room within `timeoutMs`, or no memory, or no thread at all can be started. A worker doesn't
    // wait for room, since it may be the one that has to make it.
    template <class Work>
    Posted Post(Work&& task, DWORD timeoutMs) noexcept {
        Posted posted = Posted::Refused;
        base::RunQuietly([&] {
            if constexpr (std::is_void_v<std::invoke_result_t<Work>>)
                posted = Enqueue(
                    m_core, [once = std::forward<Work>(task)]() mutable { return once(), false; }, timeoutMs);
            else
                posted = Enqueue(m_core, std::forward<Work>(task), timeoutMs);
        });
        return posted;
    }

    [[nodiscard]] const char* Name() const noexcept;

    // The most threads.
    [[nodiscard]] unsigned Workers() const noexcept;

    // Whether the calling thread is one of the workers.
    [[nodiscard]] bool IsWorker() const noexcept { return IsWorker(*m_core); }

    // No task is taken any more; those that wait are run or discarded, and the workers end. May be called again, by
    // several threads, with another wish and another limit.
    // No lock may be held that a task takes. A waiting thread serves no calls of its apartment.
    // True: all workers have ended.  False: not within `timeoutMs`, or the calling thread is one of them.
    bool Stop(Rest rest, DWORD timeoutMs) noexcept;

private:
    friend class CTaskGroup;  // whose tasks may outlive the manager
    struct Core;

    [[nodiscard]] static bool IsWorker(const Core& core) noexcept;
    [[nodiscard]] static Posted Enqueue(const boost::shared_ptr<Core>& core, Task task, DWORD timeoutMs);

    const boost::shared_ptr<Core> m_core;
};

}  // namespace threading
