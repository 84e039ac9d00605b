// Tasks of a CParallelManager that belong together: they are waited for, cancelled and counted as one.
//
//   CTaskGroup group(manager);
//   for (const auto& file : files)
//       group.Run([=](const CCancelToken& token) { Look(file, token); });
//   while (!group.Wait(200))
//       bar.Show(group.Count());
//
// Groups may be nested to any depth, in any number: a worker that waits for a group runs tasks of it that have not
// begun, one of them even with a limit of 0. So it may come back late by the time that one task takes. Other threads
// only wait.
//
// A task that throws doesn't end the others; the first exception is kept for Wait.
//
// Threads: any for every operation but the destructor. No lock may be held in Wait that a task takes.
// Lifetime: the manager must outlive the group. Tasks may go on after the group has gone, if they don't look at their
// token, so they must own what they use. The destructor cancels, and gives the running tasks ten seconds.
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
        std::size_t ended = 0;  // those that were cancelled before they began, too
    };

    explicit CTaskGroup(CParallelManager& manager);
    CTaskGroup(const CTaskGroup&) = delete;
    CTaskGroup& operator=(const CTaskGroup&) = delete;
    ~CTaskGroup();

    // Never waits: where the manager's queue has no room, the task begins after another of the group, or in Wait. After
    // Cancel it counts as ended at once. Throws std::bad_alloc.
    void Run(Task task);

    // True: all tasks have ended. The first exception of a task is thrown then, once.  False: not within `timeoutMs`.
    // Tasks that have not begun when the manager has been stopped are cancelled.
    [[nodiscard]] bool Wait(DWORD timeoutMs);

    // Tasks that have not begun never will; the others see it in their token.
    void Cancel() noexcept;

    [[nodiscard]] Counts Count() const noexcept;

private:
    struct Core;
    struct Turn;

    // Asks the manager for a worker for each task that has none; never waits, so a part of them stays if it has no
    // room.
    void AskForWorkers() noexcept;

    CParallelManager& m_manager;
    const boost::shared_ptr<Core> m_core;
};

}  // namespace threading
