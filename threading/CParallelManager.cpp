#include "threading/CParallelManager.h"

#include "base/CDeadline.h"
#include "base/ComBoundary.h"
#include "threading/ThreadingLog.h"

#include <windows.h>

#include <objbase.h>
#include <boost/make_shared.hpp>

#include <algorithm>
#include <deque>
#include <list>
#include <mutex>
#include <optional>

namespace threading {

namespace {

constexpr DWORD kPatienceMs = 10'000;

[[nodiscard]] unsigned Processors() noexcept {
    SYSTEM_INFO info{};
    ::GetSystemInfo(&info);
    return std::max<unsigned>(info.dwNumberOfProcessors, 1);
}

}  // namespace

// What the workers share with the manager, which may be gone before them.
struct CParallelManager::Core {
    Core(const char* managerName, unsigned most, std::size_t room)
        : name(managerName), mostWorkers(most), mostWaiting(room) {}

    void Serve() noexcept {
        while (std::optional<Task> task = Next()) {
            try {
                (*task)();
            } catch (...) {
                LogThrownCall(name, std::current_exception());
            }
        }
    }

    // No value: the manager was stopped, and nothing waits.
    [[nodiscard]] std::optional<Task> Next() noexcept {
        const std::lock_guard guard(lock);
        ++idle;
        while (waiting.empty() && !isStopped)
            lock.Await(changed, INFINITE);  // every manager is stopped in the end, by its destructor
        --idle;
        if (waiting.empty())
            return std::nullopt;
        std::optional<Task> next(std::move(waiting.front()));
        waiting.pop_front();
        ::WakeAllConditionVariable(&changed);  // there is room
        return next;
    }

    // False: there is no worker, and none can be had. To be called with the lock, before a task is added.
    [[nodiscard]] bool HasWorkers(const boost::shared_ptr<Core>& itself) {
        if (waiting.size() < idle || workers.size() == mostWorkers)
            return true;
        workers.emplace_back(name, COINIT_MULTITHREADED);
        if (!workers.back().Start([itself] { itself->Serve(); }))
            workers.pop_back();
        return !workers.empty();
    }

    const char* const name;
    const unsigned mostWorkers;
    const std::size_t mostWaiting;
    base::CSlimLock lock;  // guards all below; a leaf but for the workers' own
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
    std::deque<Task> waiting;
    std::size_t idle = 0;
    std::list<CWorkerThread> workers;  // grows until the stop
    bool isStopped = false;
};

CParallelManager::CParallelManager(const char* name, unsigned workers, std::size_t mostWaiting)
    : m_core(boost::make_shared<Core>(name, workers == 0 ? Processors() : workers,
                                      std::max<std::size_t>(mostWaiting, 1))) {}

CParallelManager::~CParallelManager() {
    Stop(Rest::Discard, kPatienceMs);
}

CParallelManager::Posted CParallelManager::Post(Task task, DWORD timeoutMs) noexcept {
    Posted posted = Posted::Full;
    base::RunQuietly([&] {
        const base::CDeadline deadline(timeoutMs);
        Core& core = *m_core;
        const std::lock_guard guard(core.lock);
        while (!core.isStopped && core.waiting.size() >= core.mostWaiting &&
               core.lock.Await(core.changed, deadline.Left())) {
        }
        if (core.isStopped) {
            posted = Posted::Stopped;
            return;
        }
        if (core.waiting.size() >= core.mostWaiting || !core.HasWorkers(m_core))
            return;
        core.waiting.push_back(std::move(task));
        posted = Posted::Taken;
        ::WakeAllConditionVariable(&core.changed);
    });
    return posted;
}

bool CParallelManager::IsWorker() const noexcept {
    const std::lock_guard guard(m_core->lock);
    return std::any_of(m_core->workers.begin(), m_core->workers.end(),
                       [](const CWorkerThread& worker) { return worker.IsCurrent(); });
}

bool CParallelManager::Stop(Rest rest, DWORD timeoutMs) noexcept {
    const base::CDeadline deadline(timeoutMs);
    std::deque<Task> discarded;
    {
        const std::lock_guard guard(m_core->lock);
        m_core->isStopped = true;
        if (rest == Rest::Discard)
            discarded.swap(m_core->waiting);
        ::WakeAllConditionVariable(&m_core->changed);
    }
    discarded.clear();
    if (IsWorker())
        return false;  // two workers that stop would wait for each other
    // From here on no worker is added.
    bool haveEnded = true;
    for (CWorkerThread& worker : m_core->workers)
        haveEnded = worker.Join(deadline.Left()) && haveEnded;
    return haveEnded;
}

}  // namespace threading
