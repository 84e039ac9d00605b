// The call queue: order, results, cancelling and stopping, also all at once from several threads.
#include "tests/support/CTestApartment.h"
#include "tests/support/ProcessUse.h"
#include "threading/CCallQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using namespace threading;

namespace {

constexpr DWORD kLongMs = 60'000;  // for what ends by itself

// A call that holds the queue until it is let go.
struct CGate {
    void operator()() const {
        ::SetEvent(begun);
        ::WaitForSingleObject(open, INFINITE);
    }
    void Close() const {
        ::CloseHandle(begun);
        ::CloseHandle(open);
    }
    HANDLE begun = ::CreateEventW(nullptr, TRUE, FALSE, nullptr), open = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
};

class CallQueueTest : public ::testing::Test {
protected:
    ~CallQueueTest() override {
        ::SetEvent(gate.open);
        EXPECT_TRUE(queue.Stop(Rest::Drain, kLongMs));
        gate.Close();
    }
    void Hold() {
        EXPECT_NE(0u, queue.Post(gate));
        ::WaitForSingleObject(gate.begun, INFINITE);
    }
    CCallQueue::Ticket PostLetter(char letter) {
        return queue.Post([this, letter] { done += letter; });
    }

    CGate gate;
    std::string done;  // only the queue's thread writes
    CCallQueue queue{"Test queue", COINIT_MULTITHREADED};
};

TEST_F(CallQueueTest, RunsCallsInTheirOrderInItsApartment) {
    Hold();
    for (const char letter : {'a', 'b', 'c'})
        EXPECT_NE(0u, PostLetter(letter));
    ::SetEvent(gate.open);
    const auto kind = queue.Call(
        [] {
            APTTYPE type{};
            APTTYPEQUALIFIER qualifier{};
            EXPECT_EQ(S_OK, ::CoGetApartmentType(&type, &qualifier));
            return type;
        },
        kLongMs);
    EXPECT_EQ(APTTYPE_MTA, kind);
    EXPECT_EQ("abc", done);
}

TEST_F(CallQueueTest, GivesTheResultOrTheExceptionToWhoeverWaits) {
    EXPECT_EQ(7, queue.Call([] { return 7; }, kLongMs));
    EXPECT_TRUE(queue.Call([] {}, kLongMs));
    EXPECT_THROW(static_cast<void>(queue.Call([]() -> int { throw std::runtime_error("it"); }, kLongMs)),
                 std::runtime_error);
    EXPECT_NE(0u, queue.Post([] { throw std::runtime_error("nobody hears it"); }));
    EXPECT_EQ(8, queue.Call([this] { return queue.Call([] { return 8; }, 0).value_or(0); }, kLongMs)) << "from within";
}

TEST_F(CallQueueTest, CancelsWhatHasNotBegun) {
    Hold();
    const auto first = PostLetter('a'), second = PostLetter('b');
    EXPECT_TRUE(queue.Cancel(first));
    EXPECT_FALSE(queue.Cancel(first) || queue.Cancel(second + 1) || queue.Cancel(0));
    EXPECT_FALSE(queue.Call([this] { done += 'c'; }, 0)) << "its deadline cancels it";
    ::SetEvent(gate.open);
    EXPECT_TRUE(queue.Stop(Rest::Drain, kLongMs));
    EXPECT_EQ("b", done);
    EXPECT_FALSE(queue.Cancel(second));
}

TEST_F(CallQueueTest, StopEndsWithinItsDeadline) {
    Hold();
    PostLetter('a');
    EXPECT_FALSE(queue.Stop(Rest::Drain, 0));
    EXPECT_EQ(0u, PostLetter('b')) << "nothing is taken any more";
    EXPECT_FALSE(queue.Call([] {}, kLongMs));
    EXPECT_FALSE(queue.Stop(Rest::Discard, 1));
    ::SetEvent(gate.open);
    EXPECT_TRUE(queue.Stop(Rest::Drain, kLongMs));
    EXPECT_TRUE(queue.Stop(Rest::Drain, 0)) << "again";
    EXPECT_EQ("", done);
}

TEST_F(CallQueueTest, CanBeStoppedByItsOwnCall) {
    EXPECT_EQ(false, queue.Call([this] { return queue.Stop(Rest::Drain, kLongMs); }, kLongMs));
    EXPECT_TRUE(queue.Stop(Rest::Drain, kLongMs));
}

TEST(CallQueue, LeavesAThreadBehindThatDoesNotEnd) {
    const CGate gate;
    std::atomic<int> alive = 1;
    const auto watched = boost::shared_ptr<void>(nullptr, [&](void*) { alive = 0; });
    {
        CCallQueue queue("Left behind", COINIT_MULTITHREADED);
        queue.Post([gate, watched] { gate(); });
        ::WaitForSingleObject(gate.begun, INFINITE);
        EXPECT_FALSE(queue.Stop(Rest::Discard, 0));
        ::SetEvent(gate.open);  // or the destructor would take its whole time
    }
    EXPECT_EQ(1, alive);  // the test's own reference
}

// Several threads post, call, cancel, throw and stop as a seed has it; the model is what each must have seen.
TEST(CallQueue, KeepsEveryPromiseOfRandomPrograms) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        CCallQueue queue("Random", COINIT_MULTITHREADED);
        std::atomic<int> posted = 0, ran = 0, cancelled = 0, inside = 0;
        std::atomic<bool> stopped = false;
        const auto work = [&](unsigned thread) {
            std::mt19937 random(seed * 16 + thread);
            std::vector<CCallQueue::Ticket> mine;
            CCallQueue::Ticket last = 0;
            for (int step = 0; step < 40; ++step) {
                const auto body = [&, fails = random() % 8 == 0] {
                    EXPECT_EQ(1, ++inside) << "one at a time";
                    ++ran;
                    --inside;
                    if (fails)
                        throw std::runtime_error("on purpose");
                };
                switch (random() % 5) {
                    case 0:
                    case 1:
                        if (const auto ticket = queue.Post(body); ticket != 0) {
                            EXPECT_LT(last, ticket);
                            mine.push_back(last = ticket);
                            ++posted;
                        } else {
                            EXPECT_TRUE(stopped);
                        }
                        break;
                    case 2:
                        if (!mine.empty() && queue.Cancel(mine[random() % mine.size()]))
                            ++cancelled;
                        break;
                    case 3:
                        try {
                            const bool ended = queue.Call(body, random() % 2 ? kLongMs : 0);
                            posted += ended;
                            if (!ended && !stopped)
                                break;
                        } catch (const std::runtime_error&) {
                            ++posted;
                        }
                        break;
                    default:
                        if (random() % 30 == 0) {
                            stopped = true;
                            queue.Stop(Rest::Drain, random() % 2 ? 0 : kLongMs);
                        }
                }
            }
        };
        std::vector<std::jthread> threads;
        for (unsigned thread = 0; thread < 3; ++thread)
            threads.emplace_back(work, thread);
        threads.clear();
        EXPECT_TRUE(queue.Stop(Rest::Drain, kLongMs));
        // A Call whose deadline passed while it ran counts as run, and nobody has counted it.
        EXPECT_GE(ran, posted - cancelled);
    }
}

TEST(CallQueue, LeavesNothingBehindInAThousandRounds) {
    const auto round = [] {
        CCallQueue queue("Round", COINIT_MULTITHREADED);
        queue.Post([] {});
        EXPECT_EQ(1, queue.Call([] { return 1; }, kLongMs));
        EXPECT_TRUE(queue.Stop(Rest::Discard, kLongMs));
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
