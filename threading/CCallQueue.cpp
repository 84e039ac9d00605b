#include "threading/CCallQueue.h"

#include "base/CDeadline.h"
#include "base/ComBoundary.h"
#include "threading/ThreadingLog.h"

#include <algorithm>
#include <deque>
#include <mutex>

namespace threading {

namespace {

constexpr DWORD kPatienceMs = 10'000;

}  // namespace

// What a waiter is told of its call. Guarded by the queue's lock.
struct CCallQueue::Outcome {
    enum class State { Waiting, Ended, GivenUp };

    State state = State::Waiting;
    bool isAwaited = true;
    std::exception_ptr thrown;
};

// What the thread shares with the queue, which may be gone before it.
struct CCallQueue::Core {
    struct Entry {
        Ticket ticket = 0;
        Function call;
        boost::shared_ptr<Outcome> outcome;  // null: posted
    };

    explicit Core(const char* queueName) noexcept : name(queueName) {}

    void Serve() noexcept {
        for (std::optional<Entry> entry; (entry = Next());) {
            std::exception_ptr thrown;
            try {
                entry->call();
            } catch (...) {
                thrown = std::current_exception();
            }
            entry->call.clear();  // before anyone is told
            Tell(*entry, std::move(thrown));
        }
    }

    // No value: the queue was stopped, and nothing waits.
    [[nodiscard]] std::optional<Entry> Next() noexcept {
        const std::lock_guard guard(lock);
        while (waiting.empty() && !isStopped)
            lock.Await(changed, INFINITE);  // every queue is stopped in the end, by its destructor
        if (waiting.empty())
            return std::nullopt;
        std::optional<Entry> next(std::move(waiting.front()));
        waiting.pop_front();
        return next;
    }

    // An exception that somebody waits for is the waiter's alone from then on.
    void Tell(const Entry& entry, std::exception_ptr thrown) noexcept {
        if (entry.outcome) {
            const std::lock_guard guard(lock);
            if (entry.outcome->isAwaited)
                entry.outcome->thrown = std::exchange(thrown, nullptr);
            entry.outcome->state = Outcome::State::Ended;
            ::WakeAllConditionVariable(&changed);
        }
        if (thrown)
            LogThrownCall(name, thrown);
    }

    // Takes the call out, if it hasn't begun. The caller destroys it without the lock. To be called with the lock.
    [[nodiscard]] std::optional<Entry> TakeBack(Ticket ticket) noexcept {
        const auto found =
            std::find_if(waiting.begin(), waiting.end(), [=](const Entry& e) { return e.ticket == ticket; });
        if (found == waiting.end())
            return std::nullopt;
        std::optional<Entry> taken(std::move(*found));
        waiting.erase(found);
        GiveUp(*taken);
        return taken;
    }

    void GiveUp(const Entry& entry) noexcept {
        if (entry.outcome)
            entry.outcome->state = Outcome::State::GivenUp;
        ::WakeAllConditionVariable(&changed);
    }

    const char* const name;
    base::CSlimLock lock;  // guards all below, and the outcomes; a leaf
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
    std::deque<Entry> waiting;
    Ticket lastTicket = 0;
    bool isStopped = false;
};

CCallQueue::CCallQueue(const char* name, DWORD apartment)
    : m_core(boost::make_shared<Core>(name)), m_thread(name, apartment) {}

CCallQueue::~CCallQueue() {
    Stop(Rest::Discard, kPatienceMs);
}

CCallQueue::Ticket CCallQueue::Post(Function call) noexcept {
    Ticket ticket = 0;
    base::RunQuietly([&] { ticket = Enqueue(std::move(call), nullptr); });
    return ticket;
}

bool CCallQueue::Cancel(Ticket ticket) noexcept {
    std::optional<Core::Entry> cancelled;
    const std::lock_guard guard(m_core->lock);
    cancelled = m_core->TakeBack(ticket);
    return cancelled.has_value();
}

CCallQueue::Ticket CCallQueue::Enqueue(Function call, boost::shared_ptr<Outcome> outcome) {
    const std::lock_guard guard(m_core->lock);
    if (m_core->isStopped)
        return 0;
    const auto core = m_core;
    if (!m_hasThread && !(m_hasThread = m_thread.Start([core] { core->Serve(); })))
        return 0;
    m_core->waiting.push_back({m_core->lastTicket + 1, std::move(call), std::move(outcome)});
    ::WakeAllConditionVariable(&m_core->changed);
    return ++m_core->lastTicket;
}

bool CCallQueue::RunAndWait(const Function& call, DWORD timeoutMs) {
    if (m_thread.IsCurrent()) {
        call();
        return true;
    }
    const base::CDeadline deadline(timeoutMs);
    const auto outcome = boost::make_shared<Outcome>();
    const Ticket ticket = Enqueue(call, outcome);
    if (ticket == 0)
        return false;
    std::optional<Core::Entry> late;  // destroyed without the lock
    const std::lock_guard guard(m_core->lock);
    while (outcome->state == Outcome::State::Waiting && m_core->lock.Await(m_core->changed, deadline.Left())) {
    }
    outcome->isAwaited = false;
    if (outcome->state == Outcome::State::Waiting)
        late = m_core->TakeBack(ticket);
    if (const std::exception_ptr thrown = std::exchange(outcome->thrown, nullptr))
        std::rethrow_exception(thrown);
    return outcome->state == Outcome::State::Ended;
}

bool CCallQueue::Stop(Rest rest, DWORD timeoutMs) noexcept {
    std::deque<Core::Entry> discarded;
    {
        const std::lock_guard guard(m_core->lock);
        m_core->isStopped = true;
        if (rest == Rest::Discard)
            discarded.swap(m_core->waiting);
        ::WakeAllConditionVariable(&m_core->changed);
    }
    for (Core::Entry& entry : discarded)
        entry.call.clear();  // before anyone is told
    {
        const std::lock_guard guard(m_core->lock);
        for (const Core::Entry& entry : discarded)
            m_core->GiveUp(entry);
    }
    return m_thread.Join(timeoutMs);
}

}  // namespace threading
