// The filter's own event and signal between threads. What one thread writes for another isn't atomic: event and signal
// must pass it on.
#include "filter/CFlowEvent.h"
#include "filter/CSignal.h"
#include "tests/support/Await.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <vector>

namespace {

TEST(FlowEventTest, LetsEveryThreadPass) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        std::mt19937 random(seed);
        filter::CFlowEvent event;
        int written = 0;
        std::vector<std::jthread> threads;
        for (unsigned thread = 0; thread < 4; ++thread)
            threads.emplace_back([&, waits = random() % 2 == 0] {
                while (!event.IsSet())
                    waits ? event.Wait() : std::this_thread::yield();
                EXPECT_EQ(1, written);
                event.Wait();
            });
        for (unsigned pauses = random() % 8; pauses > 0; --pauses)
            std::this_thread::yield();
        written = 1;
        for (unsigned resets = random() % 3; resets > 0; --resets) {
            event.Set();
            event.Reset();
        }
        event.Set();
    }
}

TEST(SignalTest, LeavesNoWaiterBehind) {
    constexpr unsigned kRaises = 2000;
    filter::CSignal signal;
    std::vector<unsigned> written(kRaises);
    std::vector<std::jthread> threads;
    for (unsigned thread = 0; thread < 3; ++thread)
        threads.emplace_back([&] {
            for (unsigned seen = 0; seen < kRaises;) {
                const unsigned known = signal.Count();
                EXPECT_TRUE(seen < known || signal.WaitForMore(known, kLongMs));
                for (; seen < known; ++seen)
                    EXPECT_EQ(seen + 1, written[seen]);
            }
        });
    for (unsigned i = 0; i < kRaises; ++i) {
        written[i] = i + 1;
        signal.Raise();
        if (i % 8 == 0)
            std::this_thread::yield();
    }
}

TEST(SignalTest, WhatComesBeforeTheWaitIsNotMissed) {
    filter::CSignal signal;
    const unsigned known = signal.Count();
    EXPECT_FALSE(signal.WaitForMore(known, 0));
    signal.Raise();
    EXPECT_TRUE(signal.WaitForMore(known, 0));
    EXPECT_FALSE(signal.WaitForMore(signal.Count(), 0));
}

}  // namespace
