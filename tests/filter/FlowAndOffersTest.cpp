// The two small parts that readers use without a lock while the filter changes them.
#include "filter/CFlowEvent.h"
#include "filter/COfferedTypes.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

GUID Numbered(unsigned long number) {
    return {number, 0, 0, {}};
}

TEST(CFlowEventTest, IsLeftAsTheLastCallSaid) {
    CFlowEvent event;
    EXPECT_FALSE(event.IsSet());
    event.Set();
    event.Set();
    EXPECT_TRUE(event.IsSet());
    event.Wait();
    event.Wait();
    EXPECT_TRUE(event.IsSet()) << "a wait takes nothing away";
    event.Reset();
    EXPECT_FALSE(event.IsSet());
}

TEST(CFlowEventTest, SetReleasesEveryWaiterAlsoWhenResetFollowsAtOnce) {
    constexpr int kWaiters = 4;
    for (const bool resets : {false, true}) {
        SCOPED_TRACE(resets);
        for (int round = 0; round < 50; ++round) {
            CFlowEvent event;
            std::atomic<int> started{0};
            std::atomic<int> released{0};
            std::vector<std::jthread> waiters;
            for (int i = 0; i < kWaiters; ++i) {
                waiters.emplace_back([&] {
                    ++started;
                    event.Wait();
                    ++released;
                });
            }
            while (started != kWaiters)  // std::latch loses wake-ups with this compiler's run-time library
                std::this_thread::yield();
            // A waiter may not have come as far as the wait, and then only the next Set is for it.
            do {
                event.Set();
                if (resets)
                    event.Reset();
                std::this_thread::yield();
            } while (resets && released != kWaiters);
            waiters.clear();
            EXPECT_EQ(kWaiters, released);
        }
    }
}

TEST(COfferedTypesTest, KeepsOrderAndDuplicatesAndFindsWholePairs) {
    COfferedTypes types;
    EXPECT_TRUE(types.IsEmpty());
    EXPECT_FALSE(types.At(0));
    for (const unsigned long number : {1ul, 2ul, 1ul})
        types.Append({Numbered(10), Numbered(number)});
    types.Append({Numbered(20), Numbered(0)});
    EXPECT_FALSE(types.IsEmpty());
    const unsigned long subtypes[]{1, 2, 1, 0};
    for (int i = 0; i < 4; ++i) {
        ASSERT_TRUE(types.At(i)) << i;
        EXPECT_TRUE(types.At(i)->subtype == Numbered(subtypes[i])) << i;
    }
    for (const int index : {-1, 4, INT_MIN, INT_MAX})
        EXPECT_FALSE(types.At(index)) << index;
    EXPECT_TRUE(types.Contains(Numbered(10), Numbered(2)));
    EXPECT_TRUE(types.Contains(Numbered(20), Numbered(0)));
    EXPECT_FALSE(types.Contains(Numbered(10), Numbered(0))) << "halves of two entries";
    EXPECT_FALSE(types.Contains(Numbered(20), Numbered(1)));
    types.Clear();
    EXPECT_TRUE(types.IsEmpty());
    EXPECT_FALSE(types.At(0));
    EXPECT_FALSE(types.Contains(Numbered(10), Numbered(1)));
}

TEST(COfferedTypesTest, AppendsOfManyThreadsAreAllKept) {
    constexpr int kThreads = 4;
    constexpr unsigned long kEach = 200;
    COfferedTypes types;
    {
        std::vector<std::jthread> threads;
        for (unsigned long thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&types, thread] {
                for (unsigned long n = 0; n < kEach; ++n)
                    types.Append({Numbered(thread), Numbered(n)});
            });
        }
    }
    unsigned long next[kThreads]{};
    int count = 0;
    for (; const auto type = types.At(count); ++count) {
        unsigned long& expected = next[type->majorType.Data1];
        EXPECT_EQ(expected++, type->subtype.Data1) << "each thread's own order";
    }
    EXPECT_EQ(kThreads * static_cast<int>(kEach), count);
}

TEST(COfferedTypesTest, ReadersSeeEntriesWholeWhileTheListIsRefilled) {
    COfferedTypes types;
    std::atomic<bool> ends{false};
    std::atomic<int> torn{0};
    std::atomic<int> seen{0};
    std::vector<std::jthread> readers;
    for (int i = 0; i < 2; ++i) {
        readers.emplace_back([&] {
            while (!ends) {
                for (int index = 0; const auto type = types.At(index); ++index) {
                    torn += type->majorType != type->subtype;
                    ++seen;
                }
                torn += types.Contains(Numbered(1), Numbered(2));
            }
        });
    }
    for (int round = 0; round < 5'000 || seen == 0; ++round) {
        types.Clear();
        for (unsigned long number = 1; number <= 3; ++number)
            types.Append({Numbered(number), Numbered(number)});
    }
    ends = true;
    readers.clear();
    EXPECT_EQ(0, torn);
}

}  // namespace
