// Tasks of a CParallelManager that belong together: they are waited for, cancelled and counted as one.
//
//   CTaskGroup group(manager);
//   for (const auto& file : files)
//       group.Run([=](const CCancelToken& token) { Look(file, token); });
//   while (!group.Wait(200))
//       bar.Show(group.Count());
//
// Groups may be nested to any depth, in any number: a worker that waits for a group runs tasks of it that have not
// begun. So it may come back late by the time that one task takes. Other threads only wait. Of groups that share a
// manager each gets its turn; a task must not wait for the group that it belongs to.
//
// A task that throws doesn't end the others; the first exception is kept for Wait, further ones are logged, and so is
// the first if nobody has waited for it.
//
// A task that never begins is destroyed by the thread that cancels it, without a lock, before anybody hears of that.
//
// Threads: any for every operation but the destructor. No lock may be held in Wait or the destructor that a task takes,
// nor in Cancel one that the end of a task takes. A waiting thread serves no calls of its apartment.
// Lifetime: a group may outlive its manager, which has then been stopped. Tasks may go on after the group has gone, if
// they don't look at their token, so they must own what they use. The destructor cancels, and gives the running tasks
// ten seconds.
// Units: milliseconds; INFINITE is no limit.
#pragma once

#include "threading/CParallelManager.h"

#include <atomic>

namespace threading {

// What a task looks at between its steps.
class CCancelToken final {
public:
    [[nodiscard]] bool IsCancelled() const noexcept { return m_isCancelled.load(std::memory_order_relaxed); }

private:
    friend class CTaskGroup;
    std::atomic<bool> m_isCancelled{false};
};

class CTaskGroup final {
public:
    using Task = boost::function<void(const CCancelToken&)>;
    struct Counts {
        std::size_t all = 0;
        std::size_t ended = 0;      // also those that were cancelled
        std::size_t cancelled = 0;  // before they began
    };

    explicit CTaskGroup(CParallelManager& manager);
    CTaskGroup(const CTaskGroup&) = delete;
    CTaskGroup& operator=(const CTaskGroup&) = delete;
    ~CTaskGroup();

    // Never waits. If the manager's queue is full and no task of the group is under way, the task begins only when
    // somebody calls Wait. After Cancel it is cancelled at once; after a stop of the manager too, unless the caller is
    // a worker, which runs it in its Wait. Throws std::bad_alloc.
    void Run(Task task);

    // True: all tasks have ended. The first exception of a task is thrown then, once.  False: not within `timeoutMs`.
    // Tasks whose turn is discarded by a stop of the manager are cancelled.
    [[nodiscard]] bool Wait(DWORD timeoutMs);

    // Tasks that have not begun never will; the others see it in their token.
    void Cancel() noexcept;

    [[nodiscard]] Counts Count() const noexcept;

private:
    struct Core;
    struct Turn;

    void AskForWorker() noexcept;

    const boost::shared_ptr<CParallelManager::Core> m_workers;
    const boost::shared_ptr<Core> m_core;
};

}  // namespace threading
