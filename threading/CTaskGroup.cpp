#include "threading/CTaskGroup.h"

#include "base/CDeadline.h"
#include "threading/ThreadingLog.h"

#include <exception>
#include <list>
#include <mutex>
#include <utility>

namespace threading {

namespace {

constexpr DWORD kRetryMs = 20;  // for room in the manager's queue

}  // namespace

// What the workers share with the group, which may be gone before them.
struct CTaskGroup::Core {
    // A list, so that tasks change hands under the lock without being copied or destroyed.
    using Tasks = std::list<Task>;

    Core(const char* managerName, unsigned workers) noexcept : name(managerName), mostTurns(workers) {}

    // Runs the next task. False: none waits.
    bool RunNext() noexcept {
        Tasks task;
        {
            const std::lock_guard guard(lock);
            if (waiting.empty())
                return false;
            task.splice(task.end(), waiting, waiting.begin());
        }
        std::exception_ptr thrown;
        try {
            task.front()(token);
        } catch (...) {
            thrown = std::current_exception();
        }
        task.clear();  // before anyone is told
        {
            const std::lock_guard guard(lock);
            ++counts.ended;
            if (!failure)
                failure.swap(thrown);
            ::WakeAllConditionVariable(&changed);
        }
        if (thrown)
            LogThrown(name, thrown);
        return true;
    }

    // True: all tasks have ended.  False: the deadline is over; or there is something to do: a task for a waiter that
    // helps, or for none, and it is time to ask for a worker once more.
    [[nodiscard]] bool AwaitEnd(bool helps, const base::CDeadline& deadline) noexcept {
        const base::CDeadline retry(deadline.Within(kRetryMs));
        const std::lock_guard guard(lock);
        while (counts.ended < counts.all && !(helps && !waiting.empty())) {
            const base::CDeadline& limit = turns == 0 && !waiting.empty() ? retry : deadline;
            if (!lock.Await(changed, limit.Left()) && limit.IsOver())
                break;
        }
        return counts.ended == counts.all;
    }

    void Cancel() noexcept {
        Tasks cancelled;
        {
            const std::lock_guard guard(lock);
            token.m_isCancelled = true;
            cancelled.swap(waiting);
        }
        const std::size_t count = cancelled.size();
        cancelled.clear();  // before anyone is told
        const std::lock_guard guard(lock);
        counts.ended += count;
        counts.cancelled += count;
        ::WakeAllConditionVariable(&changed);
    }

    // True: a task waits, and may have one more turn. That is counted, and the caller has to post it.
    [[nodiscard]] bool BeginTurn() noexcept {
        const std::lock_guard guard(lock);
        if (waiting.empty() || turns >= mostTurns)
            return false;
        ++turns;
        return true;
    }

    // The last turn to end tells whether tasks are left to nobody; a waiter asks for a worker then.
    bool EndTurn() noexcept {
        const std::lock_guard guard(lock);
        ::WakeAllConditionVariable(&changed);
        return --turns == 0 && !waiting.empty();
    }

    // A turn that finds nothing more to do is over: what is added from then on asks for another.
    [[nodiscard]] bool EndIdleTurn() noexcept {
        const std::lock_guard guard(lock);
        if (!waiting.empty())
            return false;
        --turns;
        return true;
    }

    const char* const name;
    const unsigned mostTurns;
    CCancelToken token;
    mutable base::CSlimLock lock;  // guards all below; a leaf
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
    Tasks waiting;
    unsigned turns = 0;
    Counts counts;
    std::exception_ptr failure;
};

// A worker's turn on the group, as it stands in the manager's queue: one task, and then it queues up again. If it is
// discarded there, nobody would come any more.
struct CTaskGroup::Turn {
    explicit Turn(boost::shared_ptr<Core> group) noexcept : core(std::move(group)) {}
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        if (isCounted && core->EndTurn())
            core->Cancel();
    }

    [[nodiscard]] bool Take() noexcept {
        core->RunNext();
        isCounted = !core->EndIdleTurn();
        return isCounted;
    }

    const boost::shared_ptr<Core> core;
    bool isCounted = true;
};

CTaskGroup::CTaskGroup(CParallelManager& manager)
    : m_workers(manager.m_core), m_core(boost::make_shared<Core>(manager.Name(), manager.Workers())) {}

CTaskGroup::~CTaskGroup() {
    Cancel();
    try {
        static_cast<void>(Wait(kPatienceMs));
    } catch (...) {
        LogThrown(m_core->name, std::current_exception());
    }
}

void CTaskGroup::Run(Task task) {
    Core::Tasks node;
    node.push_back(std::move(task));
    {
        const std::lock_guard guard(m_core->lock);
        ++m_core->counts.all;
        if (m_core->token.IsCancelled()) {
            ++m_core->counts.ended;
            ++m_core->counts.cancelled;
            return;
        }
        m_core->waiting.splice(m_core->waiting.end(), node);
        ::WakeAllConditionVariable(&m_core->changed);  // a waiter may help
    }
    AskForWorker();
}

void CTaskGroup::AskForWorker() noexcept {
    if (!m_core->BeginTurn())
        return;
    auto posted = CParallelManager::Posted::Refused;
    base::RunQuietly([&] {
        const auto turn = boost::make_shared<Turn>(m_core);
        posted = CParallelManager::Enqueue(
            m_workers, [turn] { return turn->Take(); }, 0);
        if (posted != CParallelManager::Posted::Taken)
            turn->isCounted = false;
    });
    if (posted == CParallelManager::Posted::Taken)
        return;
    // A worker that waits for the group does its tasks itself.
    if (m_core->EndTurn() && posted == CParallelManager::Posted::Stopped && !CParallelManager::IsWorker(*m_workers))
        Cancel();
}

bool CTaskGroup::Wait(DWORD timeoutMs) {
    const base::CDeadline deadline(timeoutMs);
    const bool helps = CParallelManager::IsWorker(*m_workers);
    for (;;) {
        if (helps)
            m_core->RunNext();
        else
            AskForWorker();
        if (m_core->AwaitEnd(helps, deadline))
            break;
        if (deadline.IsOver())
            return false;
    }
    std::exception_ptr failure;
    {
        const std::lock_guard guard(m_core->lock);
        failure.swap(m_core->failure);
    }
    if (failure)
        std::rethrow_exception(failure);
    return true;
}

void CTaskGroup::Cancel() noexcept {
    m_core->Cancel();
}

CTaskGroup::Counts CTaskGroup::Count() const noexcept {
    const std::lock_guard guard(m_core->lock);
    return m_core->counts;
}

}  // namespace threading
