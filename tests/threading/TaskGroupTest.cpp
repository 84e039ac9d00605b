// Parallel work: the workers' bounded queue, and groups of tasks, nested and cancelled, also as seeds have it.
#include "base/CDeadline.h"
#include "tests/threading/CGate.h"
#include "threading/CTaskGroup.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <random>
#include <span>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

using namespace threading;
using Posted = CParallelManager::Posted;

namespace {

// Workers that are all held by tasks until the object goes.
class CHeldManager final {
public:
    explicit CHeldManager(unsigned workers, std::size_t mostWaiting) : manager("Held", workers, mostWaiting) {
        for (unsigned i = 0; i < workers; ++i)
            EXPECT_EQ(Posted::Taken, manager.Post([this] { m_gate.Pass(); }, kLongMs));
        m_gate.AwaitHeld(workers);
    }
    ~CHeldManager() {
        LetGo();
        EXPECT_TRUE(manager.Stop(Rest::Drain, kLongMs));
    }
    void LetGo() { m_gate.Open(); }

private:
    CGate m_gate;

public:
    CParallelManager manager;
};

TEST(ParallelManager, RefusesWhatAFullQueueHasNoRoomForInTime) {
    CHeldManager held(2, 3);
    std::atomic<int> ran = 0;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Posted::Taken, held.manager.Post([&] { ++ran; }, 0));
    EXPECT_EQ(Posted::Refused, held.manager.Post([&] { ++ran; }, 0));
    EXPECT_EQ(Posted::Refused, held.manager.Post([&] { ++ran; }, 1));
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 3; ++thread)
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i)
                EXPECT_EQ(Posted::Taken, held.manager.Post([&] { ++ran; }, kLongMs));
        });
    held.LetGo();
    threads.clear();
    EXPECT_TRUE(held.manager.Stop(Rest::Drain, kLongMs));
    EXPECT_EQ(303, ran);
    EXPECT_EQ(Posted::Stopped, held.manager.Post([] {}, kLongMs));
}

TEST(ParallelManager, StartsAWorkerForEachTaskThatMeetsNone) {
    for (int round = 0; round < 200; ++round) {
        CParallelManager manager("Two", 2);
        CGate gate;
        std::vector<std::jthread> posters;
        for (int i = 0; i < 2; ++i)
            posters.emplace_back([&] { EXPECT_EQ(Posted::Taken, manager.Post([&] { gate.Pass(); }, 0)); });
        gate.AwaitHeld(2);
        gate.Open();
        posters.clear();
        ASSERT_TRUE(manager.Stop(Rest::Drain, kLongMs));
    }
}

TEST(ParallelManager, MayBeStoppedWhileWorkersStart) {
    for (int round = 0; round < 1000; ++round) {
        CParallelManager manager("Starting", 16);
        std::atomic<int> taken = 0, ran = 0;
        std::vector<std::jthread> posters;
        for (int i = round % 2; i < 2; ++i)
            posters.emplace_back([&] {
                while (manager.Post([&] { ++ran; }, 0) == Posted::Taken)
                    ++taken;
            });
        for (int pauses = round % 32; pauses > 0; --pauses)
            std::this_thread::yield();
        ASSERT_TRUE(manager.Stop(Rest::Drain, kLongMs));
        posters.clear();
        EXPECT_EQ(taken, ran);
    }
}

TEST(ParallelManager, StopEndsWithinItsDeadline) {
    CHeldManager held(1, 8);
    std::atomic<int> ran = 0;
    EXPECT_EQ(Posted::Taken, held.manager.Post([&] { ++ran; }, 0));
    EXPECT_FALSE(held.manager.Stop(Rest::Drain, 0));
    EXPECT_FALSE(held.manager.Stop(Rest::Discard, 1));
    held.LetGo();
    EXPECT_TRUE(held.manager.Stop(Rest::Drain, kLongMs));
    EXPECT_EQ(0, ran);
}

TEST(ParallelManager, TasksThatStopItDoNotWaitForEachOther) {
    CHeldManager held(2, 2);
    CGate gate;
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(Posted::Taken, held.manager.Post(
                                     [&] {
                                         gate.Pass();
                                         EXPECT_FALSE(held.manager.Stop(Rest::Discard, kLongMs));
                                     },
                                     0));
    held.LetGo();
    gate.AwaitHeld(2);
    gate.Open();
    EXPECT_TRUE(held.manager.Stop(Rest::Drain, kLongMs));
}

TEST(ParallelManager, AWorkerDoesNotWaitForRoomAndAStopEndsTheWaitOfOthers) {
    CGate gate;
    CHeldManager held(1, 1);
    EXPECT_EQ(Posted::Taken, held.manager.Post(
                                 [&] {
                                     EXPECT_EQ(Posted::Taken, held.manager.Post([] {}, 0));
                                     EXPECT_EQ(Posted::Refused, held.manager.Post([] {}, kLongMs));
                                     gate.Pass();
                                 },
                                 0));
    held.LetGo();
    gate.AwaitHeld();
    gate.Open();
    EXPECT_TRUE(held.manager.Stop(Rest::Drain, kLongMs));

    CHeldManager other(1, 1);
    EXPECT_EQ(Posted::Taken, other.manager.Post([] {}, 0));
    const std::jthread poster([&] { EXPECT_EQ(Posted::Stopped, other.manager.Post([] {}, kLongMs)); });
    EXPECT_FALSE(other.manager.Stop(Rest::Discard, 1));
}

TEST(ParallelManager, OutlivesATaskThatThrows) {
    CParallelManager manager("Thrown", 1);
    std::atomic<bool> ran = false;
    EXPECT_EQ(Posted::Taken, manager.Post([] { throw 1; }, kLongMs));
    EXPECT_EQ(Posted::Taken, manager.Post([&] { ran = true; }, kLongMs));
    EXPECT_TRUE(manager.Stop(Rest::Drain, kLongMs));
    EXPECT_TRUE(ran);
}

TEST(TaskGroup, KeepsTheFirstFailureAndRunsTheRest) {
    CParallelManager manager("Failures", 1);
    CTaskGroup group(manager);
    for (int i = 0; i < 5; ++i)
        group.Run([i](const CCancelToken&) {
            if (i == 1 || i == 3)
                throw std::runtime_error(std::to_string(i));
        });
    try {
        static_cast<void>(group.Wait(kLongMs));
        ADD_FAILURE() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ("1", error.what());
    }
    EXPECT_TRUE(group.Wait(0)) << "it is thrown once";
    EXPECT_EQ(5u, group.Count().all);
    EXPECT_EQ(5u, group.Count().ended);
}

TEST(TaskGroup, CancelKeepsTasksFromBeginning) {
    CHeldManager held(1, 8);
    CTaskGroup group(held.manager);
    std::atomic<int> ran = 0;
    const auto captured = [&] {
        return boost::shared_ptr<void>(nullptr, [&](void*) { EXPECT_EQ(0u, group.Count().ended) << "told too early"; });
    };
    for (int i = 0; i < 4; ++i)
        group.Run([&, captured = captured()](const CCancelToken&) { ++ran; });
    for (int i = 0; i < 4; ++i)
        EXPECT_FALSE(group.Wait(1));
    group.Cancel();
    EXPECT_TRUE(group.Wait(0));
    group.Run([&](const CCancelToken&) { ++ran; });
    EXPECT_TRUE(group.Wait(0));
    EXPECT_EQ(5u, group.Count().ended);
    EXPECT_EQ(5u, group.Count().cancelled);
    EXPECT_EQ(0, ran);
}

TEST(TaskGroup, ARunningTaskSeesThatItIsCancelled) {
    CParallelManager manager("Token", 1);
    CTaskGroup group(manager);
    std::atomic<bool> hasBegun = false;
    group.Run([&](const CCancelToken& token) {
        hasBegun = true;
        Await([&] { return token.IsCancelled(); });
    });
    Await([&] { return hasBegun.load(); });
    EXPECT_FALSE(group.Wait(1));
    group.Cancel();
    EXPECT_TRUE(group.Wait(kLongMs));
}

TEST(TaskGroup, ComesToItsEndThroughAFullQueue) {
    CHeldManager held(1, 1);
    CTaskGroup group(held.manager);
    std::atomic<int> ran = 0;
    for (int i = 0; i < 20; ++i)
        group.Run([&](const CCancelToken&) { ++ran; });
    held.LetGo();
    EXPECT_TRUE(group.Wait(kLongMs));
    EXPECT_EQ(20, ran);
}

TEST(TaskGroup, CancelEndsAWaitThatFindsNoRoom) {
    CHeldManager held(1, 1);
    CTaskGroup group(held.manager);
    for (int i = 0; i < 2; ++i)
        group.Run([](const CCancelToken&) { ADD_FAILURE() << "nobody runs it"; });
    auto wait = std::async(std::launch::async, [&] { return group.Wait(2 * kLongMs); });
    EXPECT_EQ(std::future_status::timeout, wait.wait_for(std::chrono::milliseconds(1)));
    group.Cancel();
    EXPECT_EQ(std::future_status::ready, wait.wait_for(std::chrono::milliseconds(kLongMs)));
    held.LetGo();
    EXPECT_TRUE(wait.get());
}

TEST(TaskGroup, OfAManagerThatStopsIsOver) {
    for (const bool before : {true, false}) {
        CHeldManager held(1, 8);
        CTaskGroup group(held.manager);
        if (before) {
            EXPECT_FALSE(held.manager.Stop(Rest::Discard, 0));
        }
        group.Run([](const CCancelToken&) { ADD_FAILURE() << "nobody runs it"; });
        if (!before) {
            EXPECT_FALSE(held.manager.Stop(Rest::Discard, 0));
        }
        EXPECT_TRUE(group.Wait(kLongMs));
    }
}

TEST(TaskGroup, ADiscardingStopEndsItsTurns) {
    CParallelManager manager("Stopped", 1);
    CTaskGroup group(manager);
    CGate gate;
    group.Run([&](const CCancelToken&) {
        gate.Pass();
        EXPECT_FALSE(manager.Stop(Rest::Discard, kLongMs)) << "it is a worker";
    });
    group.Run([](const CCancelToken&) { ADD_FAILURE() << "nobody runs it"; });
    gate.Open();
    EXPECT_TRUE(group.Wait(kLongMs));
    EXPECT_EQ(1u, group.Count().cancelled);
}

TEST(TaskGroup, UsesAllWorkers) {
    CParallelManager manager("Side by side", 3);
    CTaskGroup group(manager);
    CGate gate;
    for (int i = 0; i < 3; ++i)
        group.Run([&](const CCancelToken&) { gate.Pass(); });
    gate.AwaitHeld(3);
    gate.Open();
    EXPECT_TRUE(group.Wait(kLongMs));
}

TEST(TaskGroup, GroupsOfOneManagerTakeTurns) {
    std::string order;
    CHeldManager held(1, 8);
    CTaskGroup first(held.manager), second(held.manager);
    for (const auto& [group, letter] : {std::pair{&first, 'a'}, {&second, 'b'}})
        for (int i = 0; i < 3; ++i)
            group->Run([&order, letter = letter](const CCancelToken&) { order += letter; });
    held.LetGo();
    EXPECT_TRUE(first.Wait(kLongMs) && second.Wait(kLongMs));
    EXPECT_EQ("ababab", order);
}

TEST(TaskGroup, ADrainedTaskMayStillUseAGroup) {
    CHeldManager held(1, 8);
    std::atomic<int> ran = 0;
    EXPECT_EQ(Posted::Taken, held.manager.Post(
                                 [&] {
                                     CTaskGroup group(held.manager);
                                     for (int i = 0; i < 2; ++i)
                                         group.Run([&](const CCancelToken&) { ++ran; });
                                     EXPECT_TRUE(group.Wait(kLongMs));
                                     EXPECT_EQ(0u, group.Count().cancelled);
                                 },
                                 0));
    EXPECT_FALSE(held.manager.Stop(Rest::Drain, 0));
    held.LetGo();
    EXPECT_TRUE(held.manager.Stop(Rest::Drain, kLongMs));
    EXPECT_EQ(2, ran);
}

TEST(TaskGroup, NestsDeeperThanThereAreWorkers) {
    CParallelManager manager("Nested", 2, 4);
    std::atomic<int> leaves = 0;
    std::function<void(int)> descend = [&](int depth) {
        if (depth == 0) {
            ++leaves;
            return;
        }
        CTaskGroup group(manager);
        for (int i = 0; i < 2; ++i)
            group.Run([&descend, depth](const CCancelToken&) { descend(depth - 1); });
        for (const base::CDeadline limit(kLongMs); !(depth % 2 ? group.Wait(kLongMs) : group.Wait(0));)
            ASSERT_FALSE(limit.IsOver());
    };
    CTaskGroup group(manager);
    group.Run([&](const CCancelToken&) { descend(8); });
    EXPECT_TRUE(group.Wait(kLongMs));
    EXPECT_EQ(256, leaves);
}

// What became of one task. No atomics: the group itself must have told whoever looks.
struct Fate {
    bool hasRun = false;
    bool isGone = false;  // with all that it captured

    [[nodiscard]] boost::shared_ptr<void> Captured() {
        return boost::shared_ptr<void>(nullptr, [this](void*) { isGone = true; });
    }
};

// Groups within groups that throw, are cancelled, posted to, waited for and stopped as a seed has it.
class CProgram final {
public:
    explicit CProgram(unsigned seed) : m_mayStop(seed % 2), m_manager("Random", 1 + seed % 4, 1 + seed % 7) {
        std::vector<std::jthread> threads;
        for (unsigned thread = 0; thread < 2; ++thread)
            threads.emplace_back([=, this] { UseGroup(seed * 4 + thread, 3); });
        threads.clear();
        EXPECT_TRUE(m_manager.Stop(Rest::Drain, kLongMs));
        EXPECT_EQ(0, m_alive);
    }

private:
    void UseGroup(unsigned part, int depth) {
        std::mt19937 random(part);
        std::vector<Fate> fates(random() % 6);
        std::atomic<unsigned> more = 0, fails = 0, thrown = 0;
        std::atomic<bool> isCancelled = false;
        CTaskGroup group(m_manager);
        const auto wait = [&](DWORD timeoutMs) {
            try {
                return group.Wait(timeoutMs);
            } catch (const std::runtime_error& error) {
                EXPECT_STREQ("on purpose", error.what());
                ++thrown;
                return true;
            }
        };
        const auto use = [&](unsigned seed, std::span<Fate> some) {
            std::mt19937 own(seed);
            for (Fate& fate : some) {
                const unsigned next = own();
                fails += next % 16 == 0;
                group.Run([&, next, depth, captured = fate.Captured()](const CCancelToken&) {
                    EXPECT_TRUE(m_manager.IsWorker());
                    EXPECT_FALSE(std::exchange(fate.hasRun, true));
                    if (depth > 0)
                        UseGroup(next, depth - 1);
                    if (next % 8 == 1) {
                        ++more;
                        group.Run([](const CCancelToken&) {});
                    }
                    if (next % 64 == 2) {
                        isCancelled = true;
                        group.Cancel();
                    }
                    if (next % 16 == 0)
                        throw std::runtime_error("on purpose");
                });
                if (own() % 16 == 0) {
                    isCancelled = true;
                    group.Cancel();
                }
                if (own() % 8 == 0) {
                    const auto result = m_manager.Post([captured = Alive()] {}, 0);
                    EXPECT_TRUE(result != Posted::Stopped || m_isStopped);
                }
                if (m_mayStop && own() % 128 == 0) {
                    m_isStopped = true;
                    EXPECT_NE(m_manager.IsWorker(), m_manager.Stop(own() % 2 ? Rest::Drain : Rest::Discard, kLongMs));
                }
            }
            Await([&] { return wait(own() % 2 ? kLongMs : 0); });
        };
        // The outermost group has two users, and one who only waits.
        const std::size_t half = depth == 3 ? fates.size() / 2 : 0;
        {
            std::jthread other, waiter;
            if (depth == 3)
                waiter = std::jthread([&] { Await([&] { return wait(kLongMs); }); });
            if (half > 0)
                other = std::jthread([&] { use(part + 1, std::span(fates).first(half)); });
            use(part, std::span(fates).subspan(half));
        }
        EXPECT_TRUE(wait(kLongMs));
        EXPECT_EQ(fates.size() + more, group.Count().all);
        EXPECT_EQ(fates.size() + more, group.Count().ended);
        EXPECT_GE(fails, thrown);
        const bool hasRunAll = !isCancelled && !m_isStopped;
        EXPECT_TRUE(!hasRunAll || (fails > 0) == (thrown > 0));
        Fate abandoned;
        CTaskGroup(m_manager).Run([captured = abandoned.Captured()](const CCancelToken&) {});
        EXPECT_TRUE(abandoned.isGone);
        for (const Fate& fate : fates) {
            EXPECT_TRUE(fate.isGone);
            EXPECT_TRUE(fate.hasRun || !hasRunAll);
        }
    }

    // What a posted task captures; its end needs the manager's lock.
    [[nodiscard]] boost::shared_ptr<void> Alive() {
        ++m_alive;
        return boost::shared_ptr<void>(nullptr, [this](void*) {
            static_cast<void>(m_manager.IsWorker());
            --m_alive;
        });
    }

    const bool m_mayStop;
    std::atomic<bool> m_isStopped = false;
    std::atomic<int> m_alive = 0;
    CParallelManager m_manager;
};

TEST(TaskGroup, ComesToItsEndInRandomPrograms) {
    for (unsigned seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE(seed);
        CProgram program(seed);
    }
}

}  // namespace
