#include "threading/CCallQueue.h"

#include "base/CDeadline.h"
#include "threading/CDoorbell.h"
#include "threading/ThreadingLog.h"

#include <algorithm>
#include <exception>
#include <list>
#include <mutex>

namespace threading {

// What a waiter is told of its call. Guarded by the queue's lock until it is final.
struct CCallQueue::Outcome {
    enum class State { Waiting, Ended, GivenUp };

    State state = State::Waiting;
    bool takesException = true;
    std::exception_ptr thrown;
};

// What the thread shares with the queue, which may be gone before it.
struct CCallQueue::Core {
    struct Entry {
        Function call;
        boost::shared_ptr<Outcome> outcome;  // null: posted
        Ticket ticket = 0;
    };
    // A list, so that entries change hands under the lock without being copied or destroyed.
    using Entries = std::list<Entry>;

    Core(const char* queueName, DWORD apartment) noexcept : name(queueName), doorbell(apartment) {}

    void Serve(HRESULT apartment) noexcept {
        if (FAILED(apartment))
            Close(Rest::Discard);
        Entries next, discarded;
        while (Take(next, discarded)) {
            discarded.clear();
            if (!next.empty())
                Run(next.front());
            next.clear();
            doorbell.ServeMessages();  // also where one call follows the other
        }
    }

    void Run(Entry& entry) noexcept {
        std::exception_ptr thrown;
        try {
            entry.call();
        } catch (...) {
            thrown = std::current_exception();
        }
        entry.call.clear();  // before anyone is told
        if (entry.outcome) {
            const std::lock_guard guard(lock);
            if (entry.outcome->takesException)
                entry.outcome->thrown.swap(thrown);  // which is the waiter's alone from then on
            entry.outcome->state = Outcome::State::Ended;
            ::WakeAllConditionVariable(&changed);
        }
        if (thrown)
            LogThrown(name, thrown);
    }

    // The next call, and those that the thread has only to destroy.  False: the queue was stopped, and nothing waits.
    [[nodiscard]] bool Take(Entries& next, Entries& discarded) noexcept {
        for (;; doorbell.Await()) {
            const std::lock_guard guard(lock);
            discarded.splice(discarded.end(), givenUp);
            if (!waiting.empty())
                next.splice(next.end(), waiting, waiting.begin());
            else if (isStopped)
                return false;
            if (!next.empty() || !discarded.empty())
                return true;
        }
    }

    // 0: the queue was stopped.
    [[nodiscard]] Ticket Put(Function call, boost::shared_ptr<Outcome> outcome) {
        Entries entry;
        entry.push_back({std::move(call), std::move(outcome)});
        const std::lock_guard guard(lock);
        if (isStopped)
            return 0;
        entry.front().ticket = ++lastTicket;
        waiting.splice(waiting.end(), entry);
        doorbell.Ring();
        return lastTicket;
    }

    bool TakeBack(Ticket ticket) noexcept {
        const std::lock_guard guard(lock);
        const auto found =
            std::find_if(waiting.begin(), waiting.end(), [=](const Entry& e) { return e.ticket == ticket; });
        if (found == waiting.end())
            return false;
        GiveUp(found, std::next(found));
        return true;
    }

    [[nodiscard]] bool IsStopped() noexcept {
        const std::lock_guard guard(lock);
        return isStopped;
    }

    void Close(Rest rest) noexcept {
        const std::lock_guard guard(lock);
        isStopped = true;
        if (rest == Rest::Discard)
            GiveUp(waiting.begin(), waiting.end());
        doorbell.Ring();
    }

    // To be called with the lock.
    void GiveUp(Entries::iterator first, Entries::iterator last) noexcept {
        for (auto entry = first; entry != last; ++entry) {
            if (entry->outcome)
                entry->outcome->state = Outcome::State::GivenUp;
        }
        givenUp.splice(givenUp.end(), waiting, first, last);
        ::WakeAllConditionVariable(&changed);
        doorbell.Ring();
    }

    const char* const name;
    CDoorbell doorbell;                                    // of the thread
    base::CSlimLock lock;                                  // guards all below, and the outcomes; a leaf
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;  // an outcome
    Entries waiting;
    Entries givenUp;  // for the thread to destroy
    Ticket lastTicket = 0;
    bool isStopped = false;
};

CCallQueue::CCallQueue(const char* name, DWORD apartment)
    : m_core(boost::make_shared<Core>(name, apartment)), m_thread(name, apartment) {
    const auto core = m_core;
    if (!core->doorbell.IsThere() || !m_thread.Start([core](HRESULT hr) { core->Serve(hr); }))
        core->Close(Rest::Discard);
}

CCallQueue::~CCallQueue() {
    Stop(Rest::Discard, m_core->IsStopped() ? 0 : kPatienceMs);
}

bool CCallQueue::Cancel(Ticket ticket) noexcept {
    return m_core->TakeBack(ticket);
}

CCallQueue::Ticket CCallQueue::Enqueue(Function call) {
    return m_core->Put(std::move(call), nullptr);
}

bool CCallQueue::RunAndWait(Function call, DWORD timeoutMs) {
    if (m_thread.IsCurrent()) {
        call();
        return true;
    }
    const base::CDeadline deadline(timeoutMs);
    const auto core = m_core;  // once the call is given up, the queue may go
    const auto outcome = boost::make_shared<Outcome>();
    const Ticket ticket = core->Put(std::move(call), outcome);
    if (ticket == 0)
        return false;
    bool hasEnded = false;
    {
        const std::lock_guard guard(core->lock);
        while (outcome->state == Outcome::State::Waiting && core->lock.Await(core->changed, deadline.Left())) {
        }
        hasEnded = outcome->state == Outcome::State::Ended;
        outcome->takesException = hasEnded;
    }
    if (!hasEnded) {
        core->TakeBack(ticket);
        return false;
    }
    if (const std::exception_ptr thrown = std::exchange(outcome->thrown, nullptr))
        std::rethrow_exception(thrown);
    return true;
}

bool CCallQueue::Stop(Rest rest, DWORD timeoutMs) noexcept {
    m_core->Close(rest);
    return m_thread.Join(timeoutMs);
}

}  // namespace threading
