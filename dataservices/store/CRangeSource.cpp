#include "dataservices/store/CRangeSource.h"

#include "base/CSlimLock.h"
#include "base/ComBoundary.h"
#include "threading/CCallQueue.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

namespace dataservices::store {

namespace {

constexpr DWORD kQuietPauseMs = 10'000;  // before a failed answer that nobody waits for is asked for again
constexpr unsigned kMostQuietFailures = 5;
constexpr DWORD kOneConnectionMs = 60'000;
constexpr DWORD kLookAgainMs = 1'000;        // those who wait do so, in case that there was no thread or no memory
constexpr Position kNobodys = ~Position{0};  // a wait for no reader
constexpr Position kLastPosition = 0x7FFFFFFFFFFFFFFF;

}  // namespace

// What the connections share with the source, which may be gone before them.
struct CRangeSource::Core : std::enable_shared_from_this<Core> {
    using Job = CFetchPolicy::Job;
    using Kind = Job::Kind;
    using Guard = std::unique_lock<base::CSlimLock>;

    struct Connection {
        std::unique_ptr<IConnection> way;  // from its first use on
        std::unique_ptr<threading::CCallQueue> queue;
        bool isWorking = false;
        bool isOut = false;  // in a call of `way`, without the lock
    };

    // How long one who reads has waited.
    class CWaiting final {
    public:
        // A wait that goes on where the last one came to the end of its time is one with it.
        CWaiting(Core& core, Position position) noexcept : m_core(core), m_position(position) {
            const ULONGLONG now = ::GetTickCount64();
            if (core.unfinished.position == position && now - core.unfinished.endedMs < kStallMs) {
                m_ms = core.unfinished.ms;
                m_isCounted = m_ms > kStallMs;
            }
        }
        CWaiting(const CWaiting&) = delete;
        CWaiting& operator=(const CWaiting&) = delete;
        ~CWaiting() {
            if (m_position == kNobodys)
                return;
            m_core.longestWaitMs = std::max(m_core.longestWaitMs, m_ms);
            m_core.stalls += m_ms > kStallMs && !m_isCounted ? 1 : 0;
            m_core.unfinished = {m_position, m_ms, ::GetTickCount64()};
        }

        // Waits for a change, in need of the bytes from `position` to the end of `needed`. What has come of that stays
        // until the reader has looked.
        [[nodiscard]] HRESULT For(Position position, const Range& needed, const base::CDeadline& deadline) noexcept {
            bool isIn = false;
            const HRESULT hr = base::ComBoundary([&] {
                m_core.wanted.reserve(m_core.wanted.size() + 1);
                m_core.needed.push_back(needed);
                m_core.wanted.push_back(position);
                isIn = true;
                m_core.Kick();
                return S_OK;
            });
            if (FAILED(hr)) {
                if (isIn)
                    Forget(position, needed);
                return hr;
            }
            const Position bytes = needed.end - position;
            const ULONGLONG begun = ::GetTickCount64();
            if (++m_core.waiting == 1)
                ::WakeAllConditionVariable(&m_core.changed);  // a connection may pause for longer while nobody waits
            m_core.wantedBytes += bytes;
            m_core.lock.Await(m_core.changed, deadline.Within(kLookAgainMs));
            m_core.wantedBytes -= bytes;
            --m_core.waiting;
            m_ms += ::GetTickCount64() - begun;
            Forget(position, needed);
            return S_OK;
        }

    private:
        void Forget(Position position, const Range& needed) noexcept {
            // Others may wait for the same.
            if (const auto still = std::ranges::find(m_core.wanted, position); still != m_core.wanted.end())
                m_core.wanted.erase(still);
            if (const auto still = std::ranges::find(m_core.needed, needed); still != m_core.needed.end())
                m_core.needed.erase(still);
        }

        Core& m_core;
        const Position m_position;
        std::uint64_t m_ms = 0;
        bool m_isCounted = false;
    };

    Core(MakeConnection makeConnection, const Settings& settings)
        : make(std::move(makeConnection)),
          clock(settings.clock),
          store(settings.storeBytes),
          policy(store.Limit() / 2),
          patience(settings.mostTries) {}

    [[nodiscard]] Job Next(Lane lane) noexcept {
        if (isClosing)
            return {};
        if (!isOpen)  // the first answer tells what can be asked for
            return lane == PlayLane && !isAsked ? Job{Kind::Open} : Job{};
        const Job job = policy.Next(lane, store, wanted, {facts.length, facts.hasRanges, IsSecondRefused()});
        if (lane == PlayLane && job.kind == Kind::Nothing && policy.IsOpen(PlayLane))
            hasRested = true;
        const bool isForNobody = waiting == 0 && quietFailures > kMostQuietFailures;
        const bool mayAsk = !isLive && !isForNobody && SUCCEEDED(patience.Failure(clock()));
        return job.kind == Kind::Open && !mayAsk ? Job{} : job;
    }

    // With the lock, after everything that may give a connection something to do.
    void Kick() {
        for (const Lane lane : {PlayLane, DetourLane}) {
            Connection& connection = connections[lane];
            const Job job = Next(lane);
            if (!connection.isWorking && job.kind != Kind::Nothing)
                Start(lane);
            else if (connection.isOut && isOpen && (job.kind == Kind::Open || job.kind == Kind::Close))
                connection.way->Abort();  // it is wanted elsewhere
        }
    }

    void Start(Lane lane) {
        Connection& connection = connections[lane];
        if (!connection.way)
            connection.way = make();
        if (!connection.queue)
            connection.queue = std::make_unique<threading::CCallQueue>(
                lane == PlayLane ? "Source, play" : "Source, detour", COINIT_MULTITHREADED);
        connection.isWorking = connection.queue->Post([core = shared_from_this(), lane] { core->Work(lane); }) != 0;
        if (!connection.isWorking) {
            connection.queue.reset();  // the next one may have a thread
            Fail(lane, 0, {E_OUTOFMEMORY, true, {}}, false);
        }
    }

    void Work(Lane lane) noexcept {
        Guard guard(lock);
        Connection& connection = connections[lane];
        for (;;) {
            const Job job = Next(lane);
            if (job.kind == Kind::Nothing) {
                connection.isWorking = false;
                return;
            }
            const base::CDeadline& nextTry = waiting > 0 || !isOpen ? nextTryOfReaders : nextQuietTry;
            if (job.kind == Kind::Open && !nextTry.IsOver())
                lock.Await(changed, nextTry.Left());
            else if (job.kind == Kind::Open)
                Open(lane, job, guard);
            else if (job.kind == Kind::Read)
                Receive(lane, guard);
            else
                Close(lane, guard);
        }
    }

    template <class Call>
    auto Outside(Connection& connection, Guard& guard, Call&& call) noexcept {
        connection.isOut = true;
        guard.unlock();
        Outcome outcome{E_OUTOFMEMORY, true, {}};
        base::RunQuietly([&] { outcome = call(*connection.way); });
        guard.lock();
        connection.isOut = false;
        return outcome;
    }

    void Open(Lane lane, const Job& job, Guard& guard) noexcept {
        policy.Asked(lane, job.at, job.end);
        isAsked = true;
        ++requests;
        const ULONGLONG asked = ::GetTickCount64();
        Position begin = job.at;
        SourceFacts told = facts;
        const Outcome outcome = Outside(connections[lane], guard,
                                        [&](IConnection& way) { return way.Open(job.at, job.end, &begin, &told); });
        if (outcome.result == S_OK) {
            facts = told;
            isLive = !told.length;
            isOpen = true;
            if (lane == PlayLane && doubted && std::exchange(doubted, {}) == job.at)
                oneConnection = base::CDeadline(kOneConnectionMs);
            policy.Answered(lane, begin, ::GetTickCount64() - asked);
        }
        End(lane, job.at, outcome, true, guard);
    }

    void Receive(Lane lane, Guard& guard) noexcept {
        const Position at = policy.At(lane);
        const ULONGLONG begun = ::GetTickCount64();
        std::span<const Byte> come;
        const Outcome outcome = Outside(connections[lane], guard, [&](IConnection& way) { return way.Read(&come); });
        if (!come.empty())
            Take(lane, at, come, ::GetTickCount64() - begun);
        if (outcome.result == S_FALSE && !facts.length)
            facts.length = at + come.size();
        End(lane, at + come.size(), outcome, false, guard);
    }

    void Take(Lane lane, Position at, std::span<const Byte> bytes, std::uint64_t elapsedMs) noexcept {
        if (facts.length)
            bytes = bytes.first(static_cast<std::size_t>(
                std::min<Position>(bytes.size(), *facts.length - std::min(at, *facts.length))));
        received += bytes.size();
        receivedAgain += std::min<Position>(store.EndFrom(at, bytes.size()) - at, bytes.size());
        quietFailures = 0;
        hasRested = hasRested && lane != PlayLane;
        store.Expect(policy.Expected(), needed);
        store.Put(at, bytes);
        store.Expect({});  // `needed` may move
        policy.Received(lane, bytes.size(), elapsedMs);
        const Position end = at + bytes.size();
        const bool isForReader = std::erase_if(wanted, [&](Position each) { return IsHere(each); }) > 0;
        // A source without ranges gives what was here before, each time that it is asked. That is no progress.
        if (facts.hasRanges || isForReader || end > furthest)
            patience.Succeeded();
        furthest = std::max(furthest, end);
    }

    void Close(Lane lane, Guard& guard) noexcept {
        static_cast<void>(Outside(connections[lane], guard, [](IConnection& way) {
            way.Close();
            return Outcome{};
        }));
        policy.Ended(lane);
    }

    // After a step of a connection, which came to `at`, or asked for it.
    void End(Lane lane, Position at, const Outcome& outcome, bool isAsking, Guard& guard) noexcept {
        if (outcome.result != S_OK)
            policy.Ended(lane);
        if (FAILED(outcome.result) && outcome.result != E_ABORT && !isClosing) {
            const bool wasOpen = isOpen;
            const std::optional<std::uint64_t> pauseMs = Fail(lane, at, outcome, isAsking);
            if (wasOpen) {
                static_cast<void>(Outside(connections[lane], guard, [&](IConnection& way) {
                    way.Tell(at, outcome.result, pauseMs);
                    return Outcome{};
                }));
            }
        }
        ::WakeAllConditionVariable(&changed);
        base::RunQuietly([&] { Kick(); });
    }

    std::optional<std::uint64_t> Fail(Lane lane, Position at, const Outcome& outcome, bool isAsking) noexcept {
        policy.Ended(lane);
        // Some servers serve one connection of a client at a time. Then the first one goes wherever readers are.
        if (isAsking && lane == DetourLane && policy.IsOpen(PlayLane) && !IsSecondRefused() && !outcome.retryAfterMs &&
            outcome.result != STG_E_REVERTED) {
            doubted = at;
            return 0;
        }
        doubted.reset();
        // Servers drop connections that rest. That is no failure of the source.
        if (lane == PlayLane && std::exchange(hasRested, false) && outcome.mayPass && !isLive)
            return 0;
        quietFailures += waiting == 0 ? 1 : 0;
        if (!isOpen) {
            isAsked = true;
            openFailure = outcome.result;
            return std::nullopt;
        }
        using Failure = CPatience::Kind;
        const Failure kind = isLive || outcome.result == STG_E_REVERTED ? Failure::ForGood
                             : outcome.mayPass                          ? Failure::MayPass
                                                                        : Failure::ForAWhile;
        const auto pauseMs = patience.Failed(outcome.result, kind, waiting > 0, outcome.retryAfterMs, clock());
        nextTryOfReaders = base::CDeadline(static_cast<DWORD>(pauseMs.value_or(0)));
        nextQuietTry = base::CDeadline(std::max(kQuietPauseMs, static_cast<DWORD>(pauseMs.value_or(0))));
        return pauseMs;
    }

    [[nodiscard]] bool IsSecondRefused() const noexcept { return doubted || !oneConnection.IsOver(); }

    [[nodiscard]] bool IsHere(Position position) const noexcept { return store.EndFrom(position, 1) > position; }

    const MakeConnection make;
    const Clock clock;
    mutable base::CSlimLock lock;  // guards all below; a leaf but for the connections' Abort and the queues' Post
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;
    CRangeStore store;
    CFetchPolicy policy;
    CPatience patience;
    base::CDeadline nextTryOfReaders{0}, nextQuietTry{0};
    SourceFacts facts;
    HRESULT openFailure = S_OK;
    // A second connection counts as refused, for a while, if the first then gives what the second didn't.
    std::optional<Position> doubted;
    base::CDeadline oneConnection{0};
    bool hasRested = false;      // the play answer, since bytes came
    unsigned quietFailures = 0;  // while nobody waited, since bytes came
    bool isAsked = false, isOpen = false, isLive = false, isClosing = false;
    std::vector<Position> wanted;  // where readers wait, as long as nothing has come there
    std::vector<Range> needed;     // what they wait for, until they have looked
    std::size_t waiting = 0;       // readers
    Position wantedBytes = 0;
    Position furthest = 0;  // end of all that has come
    Position lastRead = 0;  // end of what was read last
    std::array<Connection, kLanes> connections;
    std::uint64_t requests = 0, stalls = 0, longestWaitMs = 0;
    struct {
        Position position = kNobodys;
        std::uint64_t ms = 0, endedMs = 0;
    } unfinished;  // the last wait
    Position received = 0, receivedAgain = 0;
};

CRangeSource::CRangeSource(std::shared_ptr<Core> core) noexcept : m_core(std::move(core)) {}

std::shared_ptr<CRangeSource> CRangeSource::Create(MakeConnection make, const Settings& settings) {
    return std::shared_ptr<CRangeSource>(new CRangeSource(std::make_shared<Core>(std::move(make), settings)));
}

CRangeSource::~CRangeSource() {
    {
        const std::lock_guard guard(m_core->lock);
        m_core->isClosing = true;
        for (Core::Connection& connection : m_core->connections) {
            if (connection.isOut)
                connection.way->Abort();
        }
        ::WakeAllConditionVariable(&m_core->changed);
    }
    for (Core::Connection& connection : m_core->connections) {
        if (connection.queue)
            connection.queue->Stop(threading::Rest::Discard, 0);
    }
}

void CRangeSource::Wake() noexcept {
    const std::lock_guard guard(m_core->lock);
    ::WakeAllConditionVariable(&m_core->changed);
}

HRESULT CRangeSource::Open(CReadGate::Pass pass, DWORD timeoutMs) noexcept {
    const base::CDeadline deadline(timeoutMs);
    Core& core = *m_core;
    const std::lock_guard guard(core.lock);
    for (;;) {
        if (core.isOpen)
            return S_OK;
        if (FAILED(core.openFailure))
            return core.openFailure;
        if (pass.IsOver())
            return E_ABORT;
        if (deadline.IsOver())
            return E_PENDING;
        const HRESULT hr = base::ComBoundary([&] {
            core.Kick();
            return S_OK;
        });
        if (FAILED(hr))
            return hr;
        if (SUCCEEDED(core.openFailure))
            core.lock.Await(core.changed, deadline.Left());
    }
}

void CRangeSource::AwaitEnd(CReadGate::Pass pass, DWORD timeoutMs) noexcept {
    const base::CDeadline deadline(timeoutMs);
    Core& core = *m_core;
    const std::lock_guard guard(core.lock);
    Core::CWaiting waiting(core, kNobodys);
    while (core.isLive && !core.facts.length && core.furthest < core.store.Limit() / 2 && !pass.IsOver() &&
           SUCCEEDED(core.patience.Failure(core.clock())) && !deadline.IsOver()) {
        if (FAILED(waiting.For(core.furthest, {core.furthest, core.furthest}, deadline)))
            return;
    }
}

HRESULT CRangeSource::Read(Position position, std::span<Byte> target, std::size_t* count, CReadGate::Pass pass,
                           DWORD timeoutMs) noexcept {
    const base::CDeadline deadline(timeoutMs);
    *count = 0;
    Core& core = *m_core;
    const std::lock_guard guard(core.lock);
    Core::CWaiting waiting(core, position);
    for (;;) {
        const Position at = position + *count;
        const std::size_t copied = core.store.CopyTo(at, target.subspan(*count));
        *count += copied;
        if (copied > 0) {
            core.lastRead = at + copied;
            core.policy.WasRead({at, at + copied}, ::GetTickCount64());
            base::RunQuietly([&] { core.Kick(); });
        }
        if (*count == target.size())
            return S_OK;
        if (copied > 0)
            continue;
        if (core.facts.length && at >= *core.facts.length)
            return S_FALSE;
        if (core.isLive && at < core.furthest)
            return kCannotReach;
        if (pass.IsOver())
            return E_ABORT;
        if (const HRESULT hr = core.patience.Failure(core.clock()); FAILED(hr))
            return hr;
        if (deadline.IsOver()) {
            core.patience.GiveUp(core.clock());
            return E_PENDING;
        }
        if (const HRESULT hr = waiting.For(at, {at, position + target.size()}, deadline); FAILED(hr))
            return hr;
    }
}

HRESULT CRangeSource::Await(Position position, Position bytes, Position* available, CReadGate::Pass pass,
                            DWORD timeoutMs) noexcept {
    const base::CDeadline deadline(timeoutMs);
    Core& core = *m_core;
    const std::lock_guard guard(core.lock);
    Core::CWaiting waiting(core, position);
    const Position enough = std::min<Position>(bytes, core.store.Limit() / 4);
    for (;;) {
        *available = std::min(core.store.EndFrom(position, bytes) - position, bytes);
        if (*available >= enough)
            return S_OK;
        const Position at = position + *available;
        if (at > kLastPosition || (core.facts.length && at >= *core.facts.length))
            return S_FALSE;
        if (core.isLive && (at < core.furthest || at > core.furthest + CFetchPolicy::kNear))
            return S_FALSE;
        if (pass.IsOver())
            return E_ABORT;
        if (const HRESULT hr = core.patience.Failure(core.clock()); FAILED(hr))
            return hr;
        if (deadline.IsOver())
            return E_PENDING;
        if (const HRESULT hr = waiting.For(at, {position, position + enough}, deadline); FAILED(hr))
            return hr;
    }
}

bool CRangeSource::CanReach(Position position) const noexcept {
    const std::lock_guard guard(m_core->lock);
    return !m_core->isLive || position >= m_core->furthest || m_core->IsHere(position);
}

bool CRangeSource::IsAllHere() const noexcept {
    const std::lock_guard guard(m_core->lock);
    return m_core->facts.length && m_core->store.EndFrom(0) >= *m_core->facts.length;
}

SourceFacts CRangeSource::Facts() const noexcept {
    const std::lock_guard guard(m_core->lock);
    return m_core->facts;
}

CRangeSource::Status CRangeSource::GetStatus() const {
    const std::lock_guard guard(m_core->lock);
    const Core& core = *m_core;
    Status status{.facts = core.facts,
                  .ahead = core.store.EndFrom(core.lastRead) - core.lastRead,
                  .wanted = core.wantedBytes,
                  .perSecond = core.policy.Rate(),
                  .requests = core.requests,
                  .received = core.received,
                  .receivedAgain = core.receivedAgain,
                  .stalls = core.stalls,
                  .longestWaitMs = core.longestWaitMs};
    for (const Range& range : core.store.Ranges()) {
        status.held += range.Length();
        ++status.ranges;
    }
    return status;
}

std::vector<Range> CRangeSource::Ranges() const {
    const std::lock_guard guard(m_core->lock);
    return m_core->store.Ranges();
}

}  // namespace dataservices::store
