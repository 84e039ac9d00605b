// The call queue: order, results, cancelling and stopping, also all at once from several threads.
#include "tests/threading/CGate.h"
#include "threading/CCallQueue.h"

#include <gtest/gtest.h>

#include <objbase.h>

#include <atomic>
#include <deque>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace threading;

namespace {

class CallQueueTest : public ::testing::Test {
protected:
    ~CallQueueTest() override {
        gate.Open();
        EXPECT_TRUE(queue.Stop(Rest::Drain, kLongMs));
    }
    void Hold() {
        EXPECT_NE(0u, queue.Post([this] { gate.Pass(); }));
        gate.AwaitHeld();
    }
    CCallQueue::Ticket PostLetter(char letter) {
        return queue.Post([this, letter] { done += letter; });
    }

    CGate gate;
    std::string done;  // only the queue's thread writes
    CCallQueue queue{"Test queue", COINIT_MULTITHREADED};
};

TEST_F(CallQueueTest, RunsCallsInTheirOrder) {
    Hold();
    for (const char letter : {'a', 'b', 'c'})
        EXPECT_NE(0u, PostLetter(letter));
    gate.Open();
    EXPECT_EQ("abc", queue.Call([this] { return done; }, kLongMs));
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
    gate.Open();
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
    gate.Open();
    EXPECT_TRUE(queue.Stop(Rest::Drain, kLongMs));
    EXPECT_TRUE(queue.Stop(Rest::Drain, 0)) << "again";
    EXPECT_EQ("", done);
}

TEST_F(CallQueueTest, CanBeStoppedByItsOwnCall) {
    EXPECT_EQ(false, queue.Call([this] { return queue.Stop(Rest::Drain, kLongMs); }, kLongMs));
    EXPECT_TRUE(queue.Stop(Rest::Drain, kLongMs));
}

TEST(CallQueue, LeavesAThreadBehindThatDoesNotEnd) {
    const auto gate = boost::make_shared<CGate>();
    {
        CCallQueue queue("Left behind", COINIT_MULTITHREADED);
        queue.Post([gate] { gate->Pass(); });
        gate->AwaitHeld();
        EXPECT_FALSE(queue.Stop(Rest::Discard, 0));
    }
    gate->Open();
    Await([&] { return gate.use_count() == 1; });  // what the call captured
}

// What became of one call. No atomics: the queue itself must have told whoever looks.
struct Fate {
    bool mustRun = false, mustNotRun = false;
    int ran = 0;
    bool isGone = false;  // with all that it captured
};

// Three threads post, call, cancel, throw and stop as a seed has it, also from within calls.
class CProgram final {
public:
    explicit CProgram(unsigned seed) : m_seed(seed) {
        std::deque<Fate> fates[3];
        {
            std::vector<std::jthread> threads;
            for (unsigned i = 0; i < 3; ++i)
                threads.emplace_back([&, i] { Work(i, fates[i]); });
        }
        EXPECT_TRUE(Stop(kLongMs));
        for (const auto& ofThread : fates)
            for (const Fate& fate : ofThread) {
                EXPECT_TRUE(fate.isGone);
                EXPECT_GE(fate.mustNotRun ? 0 : 1, fate.ran);
                EXPECT_LE(fate.mustRun ? 1 : 0, fate.ran);
            }
    }

private:
    void Work(unsigned thread, std::deque<Fate>& fates) {
        std::mt19937 random(m_seed * 16 + thread);
        std::vector<std::pair<CCallQueue::Ticket, Fate*>> posted;
        for (int step = 0; step < 40; ++step) {
            Fate& fate = fates.emplace_back();
            const unsigned kind = random() % 8;
            const bool stops = m_seed % 4 != 0 && random() % 64 == 0;
            auto body = [=, this, &fate, captured = Captured(fate)] {
                EXPECT_EQ(0, m_inside++) << "one at a time";
                EXPECT_LT(std::exchange(m_lastStep[thread], step), step) << "in their order";
                ++fate.ran;
                --m_inside;
                if (kind == 0)
                    throw std::runtime_error("on purpose");
                if (kind == 2) {
                    EXPECT_TRUE(m_queue.Post([] {}) != 0 || m_isStopped);
                }
                if (kind == 1) {
                    EXPECT_EQ(1, m_queue.Call([] { return 1; }, 0));
                    EXPECT_FALSE(stops && Stop(kLongMs));
                }
            };
            if (const unsigned wish = random() % 4; wish < 2) {
                const auto ticket = m_queue.Post(std::move(body));
                EXPECT_TRUE(ticket != 0 || m_isStopped);
                EXPECT_TRUE(ticket == 0 || posted.empty() || posted.back().first < ticket);
                (ticket == 0 ? fate.mustNotRun : fate.mustRun) = ticket == 0 || m_rest == Rest::Drain;
                if (ticket != 0)
                    posted.emplace_back(ticket, &fate);
            } else {
                const bool isPatient = wish == 2;
                try {
                    const bool hasEnded = m_queue.Call(std::move(body), isPatient ? kLongMs : 0);
                    EXPECT_TRUE(hasEnded ? kind != 0 : !isPatient || m_isStopped);
                    fate.mustRun = hasEnded;
                    fate.mustNotRun = !hasEnded && isPatient;
                } catch (const std::runtime_error& error) {
                    EXPECT_STREQ("on purpose", error.what());
                    EXPECT_EQ(0u, kind);
                    fate.mustRun = true;
                }
                EXPECT_TRUE(!fate.mustRun || fate.isGone) << "before the caller goes on";
            }
            if (!posted.empty() && random() % 4 == 0) {
                const auto& [ticket, ofTicket] = posted[random() % posted.size()];
                if (m_queue.Cancel(ticket)) {
                    EXPECT_FALSE(std::exchange(ofTicket->mustNotRun, true));
                    ofTicket->mustRun = false;
                }
            }
            if (stops && kind != 1)
                static_cast<void>(Stop(random() % 2 ? kLongMs : 0));
        }
    }

    // Its end needs the queue's lock.
    boost::shared_ptr<void> Captured(Fate& fate) {
        return boost::shared_ptr<void>(nullptr, [&](void*) { fate.isGone = !m_queue.Cancel(0); });
    }
    bool Stop(DWORD timeoutMs) {
        m_isStopped = true;
        return m_queue.Stop(m_rest, timeoutMs);
    }

    const unsigned m_seed;
    const Rest m_rest = m_seed % 2 ? Rest::Drain : Rest::Discard;
    std::atomic<bool> m_isStopped = false;
    int m_inside = 0, m_lastStep[3]{-1, -1, -1};
    CCallQueue m_queue{"Random", COINIT_MULTITHREADED};
};

TEST(CallQueue, KeepsEveryPromiseOfRandomPrograms) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE(seed);
        CProgram program(seed);
    }
}

}  // namespace
