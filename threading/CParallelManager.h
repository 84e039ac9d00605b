// A few threads that work on the tasks of one queue: many independent pieces of work, in no order.
//
//   CParallelManager manager("Detection");
//   if (manager.Post([=] { Look(file); }, 1000) != CParallelManager::Posted::Taken) ...
//   manager.Stop(Rest::Discard, 5000);
//
// CTaskGroup stands on it for work whose end somebody waits for. A task may post and may wait for a group of its own,
// but not for anything else that needs a worker: all of them might wait then.
//
// Threads: any, also the workers, for every operation but the destructor. They start at need and stay until Stop.
// Lifetime: a module whose tasks are under way isn't unloaded (see CWorkerThread). Stop it in an explicit call: never
// from DllMain or the end of a static. The destructor discards what waits and gives the running tasks ten seconds.
// Errors: an exception of a task is logged, and harms no other.
// Units: milliseconds; INFINITE is no limit.
#pragma once

#include "threading/CWorkerThread.h"
#include "threading/Rest.h"

#include <cstddef>

namespace threading {

class CParallelManager final {
public:
    using Task = boost::function<void()>;
    enum class Posted { Taken, Full, Stopped };

    // `workers`: the most threads; 0 is one for each processor. `mostWaiting`: the most tasks that wait for one.
    explicit CParallelManager(const char* name, unsigned workers = 0, std::size_t mostWaiting = 1024);
    CParallelManager(const CParallelManager&) = delete;
    CParallelManager& operator=(const CParallelManager&) = delete;
    ~CParallelManager();

    // Full: there was no room within `timeoutMs`, or no memory, or no thread at all can be started.
    Posted Post(Task task, DWORD timeoutMs) noexcept;

    // Whether the calling thread is one of the workers.
    [[nodiscard]] bool IsWorker() const noexcept;

    // As CCallQueue::Stop, for all workers; on one of them it answers false at once.
    bool Stop(Rest rest, DWORD timeoutMs) noexcept;

private:
    struct Core;

    const boost::shared_ptr<Core> m_core;
};

}  // namespace threading
