// Parallel work: the workers' bounded queue, and groups of tasks, nested and cancelled, also as seeds have it.
#include "tests/support/ProcessUse.h"
#include "threading/CTaskGroup.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace threading;
using Posted = CParallelManager::Posted;

namespace {

constexpr DWORD kLongMs = 60'000;  // for what ends by itself

// Workers that are all held by tasks until the object goes.
class CHeldManager final {
public:
    explicit CHeldManager(unsigned workers, std::size_t mostWaiting) : manager("Held", workers, mostWaiting) {
        for (unsigned i = 0; i < workers; ++i)
            EXPECT_EQ(Posted::Taken, manager.Post(
                                         [this] {
                                             ++m_held;
                                             ::WaitForSingleObject(m_open, INFINITE);
                                         },
                                         kLongMs));
        while (m_held < workers)
            ::SwitchToThread();
    }
    ~CHeldManager() {
        LetGo();
        EXPECT_TRUE(manager.Stop(Rest::Drain, kLongMs));
        ::CloseHandle(m_open);
    }
    void LetGo() { ::SetEvent(m_open); }

private:
    HANDLE m_open = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::atomic<unsigned> m_held = 0;

public:
    CParallelManager manager;
};

TEST(ParallelManager, RefusesWhatAFullQueueHasNoRoomForInTime) {
    CHeldManager held(2, 3);
    std::atomic<int> ran = 0;
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(Posted::Taken, held.manager.Post([&] { ++ran; }, 0));
    EXPECT_EQ(Posted::Full, held.manager.Post([&] { ++ran; }, 0));
    EXPECT_EQ(Posted::Full, held.manager.Post([&] { ++ran; }, 1));
    std::jthread late([&] { EXPECT_EQ(Posted::Taken, held.manager.Post([&] { ++ran; }, kLongMs)); });
    held.LetGo();
    late.join();
    EXPECT_TRUE(held.manager.Stop(Rest::Drain, kLongMs));
    EXPECT_EQ(4, ran);
    EXPECT_EQ(Posted::Stopped, held.manager.Post([] {}, kLongMs));
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
    for (int i = 0; i < 4; ++i)
        group.Run([&](const CCancelToken&) { ++ran; });
    EXPECT_FALSE(group.Wait(0));
    EXPECT_EQ(0u, group.Count().ended);
    group.Cancel();
    EXPECT_TRUE(group.Wait(0));
    group.Run([&](const CCancelToken&) { ++ran; });
    EXPECT_TRUE(group.Wait(0));
    EXPECT_EQ(5u, group.Count().ended);
    EXPECT_EQ(0, ran);
}

TEST(TaskGroup, ARunningTaskSeesThatItIsCancelled) {
    CParallelManager manager("Token", 1);
    CTaskGroup group(manager);
    std::atomic<bool> hasBegun = false;
    group.Run([&](const CCancelToken& token) {
        hasBegun = true;
        while (!token.IsCancelled())
            ::SwitchToThread();
    });
    while (!hasBegun)
        ::SwitchToThread();
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
        EXPECT_TRUE(group.Wait(kLongMs));
    };
    CTaskGroup group(manager);
    group.Run([&](const CCancelToken&) { descend(8); });
    EXPECT_TRUE(group.Wait(kLongMs));
    EXPECT_EQ(256, leaves);
}

// Groups within groups that throw, cancel, post and wait as a seed has it: every group comes to its end, and each task
// has run or was cancelled.
TEST(TaskGroup, ComesToItsEndInRandomPrograms) {
    for (unsigned seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE(seed);
        CParallelManager manager("Random", 1 + seed % 4, 1 + seed % 7);
        std::function<void(unsigned, int)> program = [&](unsigned part, int depth) {
            std::mt19937 random(part);
            CTaskGroup group(manager);
            std::atomic<std::size_t> ran = 0;
            const std::size_t tasks = random() % 6;
            for (std::size_t i = 0; i < tasks; ++i) {
                const unsigned next = random();
                group.Run([&, next, depth](const CCancelToken&) {
                    ++ran;
                    if (depth > 0)
                        program(next, depth - 1);
                    if (next % 16 == 0)
                        throw std::runtime_error("on purpose");
                });
                if (random() % 16 == 0)
                    group.Cancel();
                if (random() % 8 == 0) {
                    EXPECT_NE(Posted::Stopped, manager.Post([] {}, 0));
                }
            }
            try {
                while (!group.Wait(random() % 2 ? kLongMs : 0))
                    ::SwitchToThread();
            } catch (const std::runtime_error&) {
            }
            EXPECT_TRUE(group.Wait(kLongMs));
            EXPECT_EQ(tasks, group.Count().ended);
            EXPECT_GE(tasks, ran);
        };
        std::vector<std::jthread> threads;
        for (unsigned thread = 0; thread < 3; ++thread)
            threads.emplace_back(program, seed * 8 + thread, 3);
        threads.clear();
        EXPECT_TRUE(manager.Stop(Rest::Drain, kLongMs));
    }
}

TEST(TaskGroup, LeavesNothingBehindInAThousandRounds) {
    const auto round = [] {
        CParallelManager manager("Round", 2);
        CTaskGroup group(manager);
        std::atomic<int> ran = 0;
        for (int i = 0; i < 4; ++i)
            group.Run([&](const CCancelToken&) { ++ran; });
        EXPECT_TRUE(group.Wait(kLongMs));
        EXPECT_EQ(4, ran);
        EXPECT_TRUE(manager.Stop(Rest::Discard, kLongMs));
    };
    for (int i = 0; i < 50; ++i)
        round();
    const int handles = Handles();
    const LONGLONG bytes = PrivateBytes();
    for (int i = 0; i < 1000; ++i)
        round();
    EXPECT_GE(handles + 2, Handles());
    EXPECT_GE(bytes + 1'000'000, PrivateBytes());
}

}  // namespace
