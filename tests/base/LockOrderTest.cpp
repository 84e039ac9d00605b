// The recorder of lock orders, which the debug presets have. No thread of these tests ever blocks: what is reported is
// what could.
#ifdef TV_LOCK_ORDER

#include "base/CCriticalSection.h"
#include "base/CSlimLock.h"

#include <gtest/gtest.h>

#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace {

namespace LockOrder = base::LockOrder;

int g_reports = 0;
std::string g_report;

void Note(const char* text) noexcept {
    ++g_reports;
    g_report = text;
}

struct LockOrderReportTest : ::testing::Test {
    LockOrderReportTest() {
        g_reports = 0;
        LockOrder::SetReport(Note);
    }
    ~LockOrderReportTest() override { LockOrder::SetReport(nullptr); }
};

template <class Lock>
struct LockOrderTest : LockOrderReportTest {
    std::optional<Lock> a{std::in_place}, b{std::in_place}, c{std::in_place};

    // How many reports it gives to take the locks in this order, on another thread, which ends.
    template <class... Locks>
    int Take(Locks&... locks) {
        const int before = g_reports;
        std::thread([&] {
            (locks->lock(), ...);
            (locks->unlock(), ...);  // the first one first
        }).join();
        return g_reports - before;
    }
};
using LockKinds = ::testing::Types<base::CSlimLock, base::CCriticalSection>;
TYPED_TEST_SUITE(LockOrderTest, LockKinds);

TYPED_TEST(LockOrderTest, FirstWrongAcquisitionIsReportedWithAllOrdersOfItsCycle) {
    auto &a = this->a, &b = this->b, &c = this->c;
    EXPECT_EQ(0, this->Take(a, b) + this->Take(b, c) + this->Take(a, b, c));
    EXPECT_EQ(1, this->Take(b, a));
    EXPECT_EQ(1, this->Take(b, a)) << "it was accepted as an order";
    this->c.emplace();
    EXPECT_EQ(0, this->Take(b, c));
    EXPECT_EQ(1, this->Take(c, a)) << "of three";
    for (const void* lock : {&*a, &*b, &*c}) {
        char text[32];
        ASSERT_LT(0, std::snprintf(text, sizeof text, "%p", lock));
        EXPECT_NE(std::string::npos, g_report.find(text)) << g_report;
    }
    EXPECT_NE(std::string::npos, g_report.find("base_tests.exe")) << g_report;
}

TYPED_TEST(LockOrderTest, OnlyWhatMayWaitMakesAnOrder) {
    auto &a = this->a, &b = this->b, &c = this->c;
    {
        const std::lock_guard first(*a);
        const std::unique_lock tried(*b, std::try_to_lock);
        ASSERT_TRUE(tried.owns_lock());
        const std::lock_guard third(*c);  // after both
    }
    EXPECT_EQ(0, this->Take(b, a));
    EXPECT_EQ(1, this->Take(c, a));
    EXPECT_EQ(1, this->Take(c, b)) << "the lock that was only tried isn't known to be held";
}

TYPED_TEST(LockOrderTest, LockInTheOnesPlaceThatWasDestroyedHasNoOrder) {
    EXPECT_EQ(0, this->Take(this->a, this->b));
    this->b.emplace();
    EXPECT_EQ(0, this->Take(this->b, this->a));
    this->a.emplace();
    EXPECT_EQ(0, this->Take(this->a, this->b));
    this->a.emplace();
    EXPECT_EQ(0, this->Take(this->b, this->a));
}

TYPED_TEST(LockOrderTest, GivenBackInAnyOrder) {
    auto &a = this->a, &b = this->b, &c = this->c;
    a->lock();
    ASSERT_TRUE(b->try_lock());
    a->unlock();
    c->lock();  // after b only
    c->unlock();
    b->unlock();
    EXPECT_EQ(0, this->Take(c, a));
    EXPECT_EQ(1, this->Take(c, b));
}

TYPED_TEST(LockOrderTest, NothingIsKeptOfThreadsAndLocksThatAreGone) {
    for (int i = 0; i < 3000; ++i) {
        this->b.emplace();
        this->c.emplace();
        const std::lock_guard first(*this->a), second(*this->b);
        if (i % 10 == 0) {
            ASSERT_EQ(0, this->Take(this->c));
        }
        const std::lock_guard third(*this->c);
    }
    EXPECT_EQ(0, g_reports);
}

TEST_F(LockOrderReportTest, SlimLockTakenTwiceIsReportedAndCriticalSectionIsHeldUntilItsLastUnlock) {
    base::CCriticalSection twice;
    base::CSlimLock slim;
    twice.lock();
    slim.lock();
    twice.lock();  // held already: no order
    twice.unlock();
    LockOrder::BeforeWait(&slim, LockOrder::Reentry::LocksUp);  // as lock() does before it locks up
    EXPECT_EQ(1, g_reports);
    slim.unlock();
    std::optional<base::CSlimLock> gone(std::in_place);
    gone->lock();
    gone.reset();  // nobody holds it any more
    base::CSlimLock other;
    other.lock();
    other.unlock();
    twice.unlock();
    gone.emplace();
    LockOrder::BeforeWait(&*gone, LockOrder::Reentry::LocksUp);
    EXPECT_EQ(1, g_reports);
    other.lock();
    twice.lock();
    EXPECT_EQ(2, g_reports);
    twice.unlock();
    other.unlock();
}

TEST_F(LockOrderReportTest, ConditionsWaitTakesTheLockAgain) {
    CONDITION_VARIABLE never = CONDITION_VARIABLE_INIT;
    base::CSlimLock waiting, other;
    waiting.lock();
    EXPECT_FALSE(waiting.Await(never, 0));
    EXPECT_EQ(0, g_reports);
    other.lock();  // after `waiting`, which is held again
    EXPECT_FALSE(waiting.Await(never, 0));
    EXPECT_EQ(1, g_reports);
    other.unlock();
    waiting.unlock();
}

TEST(LockOrderDeathTest, ReportEndsTheProgram) {
    const auto lockWrongly = [] {
        base::CSlimLock a, b;
        a.lock();
        b.lock();
        a.unlock();
        a.lock();
    };
    EXPECT_EXIT(lockWrongly(), ::testing::ExitedWithCode(LockOrder::kExitCode), "Lock order: a cycle");
}

}  // namespace

#endif
