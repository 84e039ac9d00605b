#include "threading/CParallelManager.h"

#include "base/CDeadline.h"
#include "threading/ThreadingLog.h"

#include <windows.h>

#include <algorithm>
#include <exception>
#include <list>
#include <mutex>

namespace threading {

namespace {

[[nodiscard]] unsigned Processors() noexcept {
    SYSTEM_INFO info{};
    ::GetSystemInfo(&info);
    return std::max<unsigned>(info.dwNumberOfProcessors, 1);
}

}  // namespace

// What the workers share with the manager, which may be gone before them.
struct CParallelManager::Core {
    // A list, so that tasks change hands under the lock without being copied or destroyed.
    using Tasks = std::list<Task>;

    Core(const char* managerName, unsigned most, std::size_t room)
        : name(managerName), mostWorkers(most), mostWaiting(room) {}

    void Serve(HRESULT apartment) noexcept {
        if (FAILED(apartment))
            return LoseWorker();  // and so would any other thread in its place
        Tasks task;
        while (Take(task)) {
            bool wantsMore = false;
            try {
                wantsMore = task.front()();
            } catch (...) {
                LogThrown(name, std::current_exception());
            }
            if (wantsMore)
                PutBack(task);
            task.clear();
        }
    }

    // False: the manager was stopped, and nothing waits.
    [[nodiscard]] bool Take(Tasks& task) noexcept {
        const std::lock_guard guard(lock);
        ++idle;
        while (waiting.empty() && !isStopped)
            lock.Await(changed, INFINITE);  // every manager is stopped in the end, by its destructor
        --idle;
        if (waiting.empty())
            return false;
        task.splice(task.end(), waiting, waiting.begin());
        ::WakeAllConditionVariable(&changed);  // there is room
        return true;
    }

    void PutBack(Tasks& task) noexcept {
        const std::lock_guard guard(lock);
        if (!isDiscarding)
            waiting.splice(waiting.end(), task);
    }

    // With the lock. True: one more worker is of use. It is counted, and the caller has to add it.
    [[nodiscard]] bool PlanWorker() noexcept {
        if (isStopped || waiting.size() <= idle + starting || planned >= mostWorkers)
            return false;
        ++starting;
        ++planned;
        return true;
    }

    // False: it could not be started.
    static bool AddWorker(const boost::shared_ptr<Core>& core) noexcept {
        std::list<CWorkerThread> node;
        bool hasStarted = false;
        base::RunQuietly([&] {
            node.emplace_back(core->name, COINIT_MULTITHREADED);
            const auto worker = node.begin();
            core->MoveWorker(core->workers, node, worker);  // before its tasks ask whether it is one
            hasStarted = worker->Start([core](HRESULT hr) { core->Serve(hr); });
            if (!hasStarted)
                core->MoveWorker(node, core->workers, worker);
        });
        core->EndStart(hasStarted);
        return hasStarted;
    }

    void EndStart(bool hasStarted) noexcept {
        Tasks stranded;
        {
            const std::lock_guard guard(lock);
            --starting;
            if (!hasStarted && --planned == lost)
                stranded.swap(waiting);
            ::WakeAllConditionVariable(&changed);
        }
        if (!stranded.empty())
            LogLack(name, stranded.size());
    }

    // Without any other worker, nobody would come for what waits.
    void LoseWorker() noexcept {
        Tasks stranded;
        {
            const std::lock_guard guard(lock);
            isStopped = ++lost == planned || isStopped;
            if (lost == planned)
                stranded.swap(waiting);
            ::WakeAllConditionVariable(&changed);
        }
        if (!stranded.empty())
            LogLack(name, stranded.size());
    }

    void MoveWorker(std::list<CWorkerThread>& to, std::list<CWorkerThread>& from,
                    std::list<CWorkerThread>::iterator worker) noexcept {
        const std::lock_guard guard(lock);
        to.splice(to.end(), from, worker);
    }

    [[nodiscard]] bool IsStopped() noexcept {
        const std::lock_guard guard(lock);
        return isStopped;
    }

    void Close(Rest rest) noexcept {
        Tasks discarded;
        const std::lock_guard guard(lock);
        isStopped = true;
        if (rest == Rest::Discard) {
            isDiscarding = true;
            discarded.swap(waiting);
        }
        ::WakeAllConditionVariable(&changed);
    }

    const char* const name;
    const unsigned mostWorkers;
    const std::size_t mostWaiting;
    mutable base::CSlimLock lock;  // guards all below; a leaf but for the workers' own
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
    Tasks waiting;
    std::size_t idle = 0;
    std::size_t starting = 0;  // of the workers
    std::size_t planned = 0;   // workers, also those that are starting
    std::size_t lost = 0;      // those of them that could not enter their apartment
    std::list<CWorkerThread> workers;
    bool isStopped = false;
    bool isDiscarding = false;
};

CParallelManager::CParallelManager(const char* name, unsigned workers, std::size_t mostWaiting)
    : m_core(boost::make_shared<Core>(name, workers == 0 ? Processors() : workers,
                                      std::max<std::size_t>(mostWaiting, 1))) {}

CParallelManager::~CParallelManager() {
    Stop(Rest::Discard, m_core->IsStopped() ? 0 : kPatienceMs);
}

CParallelManager::Posted CParallelManager::Enqueue(const boost::shared_ptr<Core>& of, Task task, DWORD timeoutMs) {
    const auto core = of;  // the manager may go meanwhile
    const base::CDeadline deadline(IsWorker(*core) ? 0 : timeoutMs);
    Core::Tasks node;
    node.push_back(std::move(task));
    {
        const std::lock_guard guard(core->lock);
        while (!core->isStopped && core->waiting.size() >= core->mostWaiting &&
               core->lock.Await(core->changed, deadline.Left())) {
        }
        if (core->isStopped)
            return Posted::Stopped;
        if (core->waiting.size() >= core->mostWaiting)
            return Posted::Refused;
        core->waiting.splice(core->waiting.end(), node);
        ::WakeAllConditionVariable(&core->changed);
        if (!core->PlanWorker())
            return Posted::Taken;
    }
    // Where a new worker has taken a task before it was counted as started, the next one is still without.
    while (Core::AddWorker(core)) {
        const std::lock_guard guard(core->lock);
        if (!core->PlanWorker())
            return Posted::Taken;
    }
    const std::lock_guard guard(core->lock);
    return core->planned > core->lost ? Posted::Taken : Posted::Refused;
}

const char* CParallelManager::Name() const noexcept {
    return m_core->name;
}

unsigned CParallelManager::Workers() const noexcept {
    return m_core->mostWorkers;
}

bool CParallelManager::IsWorker(const Core& core) noexcept {
    const std::lock_guard guard(core.lock);
    return std::any_of(core.workers.begin(), core.workers.end(),
                       [](const CWorkerThread& worker) { return worker.IsCurrent(); });
}

bool CParallelManager::Stop(Rest rest, DWORD timeoutMs) noexcept {
    const base::CDeadline deadline(timeoutMs);
    m_core->Close(rest);
    if (IsWorker())
        return false;
    {
        const std::lock_guard guard(m_core->lock);
        while (m_core->starting > 0 && m_core->lock.Await(m_core->changed, deadline.Left())) {
        }
        if (m_core->starting > 0)
            return false;
    }
    // From here on no worker comes or goes.
    bool haveEnded = true;
    for (CWorkerThread& worker : m_core->workers)
        haveEnded = worker.Join(deadline.Left()) && haveEnded;
    return haveEnded;
}

}  // namespace threading
