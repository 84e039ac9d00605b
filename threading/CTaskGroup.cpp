#include "threading/CTaskGroup.h"

#include "base/CDeadline.h"
#include "base/ComBoundary.h"

#include <boost/make_shared.hpp>

#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <utility>

namespace threading {

namespace {

constexpr DWORD kPatienceMs = 10'000;
constexpr DWORD kAskAgainMs = 20;

}  // namespace

// What the workers share with the group, which may be gone before them.
struct CTaskGroup::Core {
    // Runs the next task. False: none waits.
    bool RunNext() noexcept {
        std::optional<Task> task = Next();
        if (!task)
            return false;
        std::exception_ptr thrown;
        try {
            (*task)(token);
        } catch (...) {
            thrown = std::current_exception();
        }
        task.reset();  // before anyone is told
        const std::lock_guard guard(lock);
        ++counts.ended;
        if (thrown && !failure)
            failure = std::exchange(thrown, nullptr);  // it is the waiter's alone
        ::WakeAllConditionVariable(&changed);
        return true;
    }

    // For a worker: one task, and those for which there was no room in the manager's queue.
    void Work() noexcept {
        while (RunNext() && TakeUnposted()) {
        }
    }

    [[nodiscard]] std::optional<Task> Next() noexcept {
        const std::lock_guard guard(lock);
        if (waiting.empty())
            return std::nullopt;
        std::optional<Task> next(std::move(waiting.front()));
        waiting.pop_front();
        return next;
    }

    [[nodiscard]] bool TakeUnposted() noexcept {
        const std::lock_guard guard(lock);
        if (waiting.empty())
            unposted = 0;
        if (unposted == 0)
            return false;
        --unposted;
        return true;
    }

    // True: all tasks have ended.  False: the deadline is over, or there is a task for a waiter that helps, or it is
    // time that another waiter asks for workers again: nobody tells when the manager has room.
    [[nodiscard]] bool AwaitEndOrWork(bool helps, const base::CDeadline& deadline) noexcept {
        const std::lock_guard guard(lock);
        const base::CDeadline until(!helps && unposted > 0 ? deadline.Within(kAskAgainMs) : deadline.Left());
        while (counts.ended < counts.all && !(helps && !waiting.empty()) && lock.Await(changed, until.Left())) {
        }
        return counts.ended == counts.all;
    }

    void Cancel() noexcept {
        std::deque<Task> cancelled;
        {
            const std::lock_guard guard(lock);
            token.m_isCancelled = true;
            cancelled.swap(waiting);
        }
        const std::size_t count = cancelled.size();
        cancelled.clear();  // before anyone is told
        const std::lock_guard guard(lock);
        counts.ended += count;
        ::WakeAllConditionVariable(&changed);
    }

    CCancelToken token;
    base::CSlimLock lock;  // guards all below; a leaf
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
    std::deque<Task> waiting;
    std::size_t unposted = 0;  // so many workers are still to be asked for
    Counts counts;
    std::exception_ptr failure;
};

// A worker's turn, as it stands in the manager's queue. If it is discarded there, nobody would come any more.
struct CTaskGroup::Turn {
    explicit Turn(boost::shared_ptr<Core> group) noexcept : core(std::move(group)) {}
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        if (isPosted)
            core->Cancel();
    }

    void Take() noexcept {
        isPosted = false;
        core->Work();
    }

    const boost::shared_ptr<Core> core;
    std::atomic<bool> isPosted{true};
};

CTaskGroup::CTaskGroup(CParallelManager& manager) : m_manager(manager), m_core(boost::make_shared<Core>()) {}

CTaskGroup::~CTaskGroup() {
    Cancel();
    base::RunQuietly([&] { static_cast<void>(Wait(kPatienceMs)); });
}

void CTaskGroup::Run(Task task) {
    {
        const std::lock_guard guard(m_core->lock);
        if (m_core->token.IsCancelled()) {
            ++m_core->counts.all;
            ++m_core->counts.ended;
            return;
        }
        m_core->waiting.push_back(std::move(task));
        ++m_core->counts.all;
        ++m_core->unposted;
        ::WakeAllConditionVariable(&m_core->changed);  // a waiter may help
    }
    AskForWorkers();
}

void CTaskGroup::AskForWorkers() noexcept {
    while (m_core->TakeUnposted()) {
        auto posted = CParallelManager::Posted::Full;
        base::RunQuietly([&] {
            const auto turn = boost::make_shared<Turn>(m_core);
            posted = m_manager.Post([turn] { turn->Take(); }, 0);
            if (posted != CParallelManager::Posted::Taken)
                turn->isPosted = false;
        });
        if (posted == CParallelManager::Posted::Taken)
            continue;
        if (posted == CParallelManager::Posted::Stopped)
            return Cancel();
        const std::lock_guard guard(m_core->lock);
        ++m_core->unposted;
        return;
    }
}

bool CTaskGroup::Wait(DWORD timeoutMs) {
    const base::CDeadline deadline(timeoutMs);
    const bool helps = m_manager.IsWorker();
    if (!helps)
        AskForWorkers();
    while (!m_core->AwaitEndOrWork(helps, deadline)) {
        const bool isOver = deadline.IsOver();
        if (helps)
            m_core->RunNext();  // also when it is over: a worker that polls must come to an end
        else
            AskForWorkers();
        if (isOver)
            return false;
    }
    const std::lock_guard guard(m_core->lock);
    if (const std::exception_ptr failure = std::exchange(m_core->failure, nullptr))
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
