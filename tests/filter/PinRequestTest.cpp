// The pin's queued requests, its flushing, its flow gate, and its two locks.
#include "diagnostics/CAutoDestructor.h"
#include "tests/filter/CInnerFilter.h"
#include "tests/filter/FilterTest.h"
#include "tests/support/CImportHook.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <set>
#include <thread>

namespace {

// What WaitForNext gives. The reference that comes with the sample is let go of.
struct Next {
    HRESULT result;
    IMediaSample* sample = nullptr;
    DWORD_PTR user = 0;

    bool operator==(const Next&) const = default;
};

struct PinRequestTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    Stream source{"0123456789"};
    CTestSample sample{4};
    CInnerFilter filter;
    CCustomFileSourcePin& pin = filter.Pin();

    void SetUp() override { ASSERT_EQ(S_OK, pin.SetSourceFileStream(&source, 0)); }

    Next WaitForNext(DWORD timeoutMs = 0) {
        Next next{E_PENDING, &sample, 1};
        next.result = pin.WaitForNext(timeoutMs, &next.sample, &next.user);
        if (next.sample)
            next.sample->Release();
        return next;
    }
};

TEST_F(PinRequestTest, WhatReadsAnythingIsQueuedAndTheRestRefused) {
    const auto healthy = [](Stream&, CTestSample&) {};
    const auto readFails = [](Stream& s, CTestSample&) { s.On(Stream::kRead, 0, {.result = E_FAIL}); };
    const auto isFull = [](Stream&, CTestSample& s) { s.actualLength = 4; };
    const auto hasNoBuffer = [](Stream&, CTestSample& s) { s.getPointer = E_FAIL; };
    const struct {
        const char* what;
        LONGLONG first, end;
        std::function<void(Stream&, CTestSample&)> arrange;
        HRESULT result;
        std::string data;
    } cases[] = {
        {"all is well", 2, 6, healthy, S_OK, "2345"},
        {"short, but not empty", 9, 13, healthy, S_OK, "9"},
        {"an empty range", 10, 10, healthy, S_OK, ""},
        {"at the end", 10, 14, healthy, kEndOfFile, ""},
        {"a failed read", 2, 6, readFails, kEndOfFile, ""},
        {"an invalid range", 6, 2, healthy, kEndOfFile, ""},
        {"an invalid range in a sample with data, whose length is all that is looked at", 6, 2, isFull, S_OK, "...."},
        {"no buffer", 2, 6, hasNoBuffer, S_OK, ""},
    };
    DWORD_PTR user = static_cast<DWORD_PTR>(-4);
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        CTestSample own(4);
        own.SetRange(row.first, row.end);
        row.arrange(source, own);
        EXPECT_EQ(row.result, pin.Request(&own, ++user));
        EXPECT_EQ(row.result == S_OK ? 1u : 0u, own.References());
        EXPECT_EQ(row.data, own.Data());
        EXPECT_EQ(row.result == S_OK ? (Next{S_OK, &own, user}) : Next{VFW_E_TIMEOUT}, WaitForNext());
        EXPECT_EQ(0u, own.References());
    }
}

TEST_F(PinRequestTest, AFlushRefusesRequestsAndHandsOutWhatIsQueuedInItsOrder) {
    CTestSample first(4), second(4);
    first.SetRange(0, 4);
    second.SetRange(4, 8);
    ASSERT_EQ(S_OK, pin.Request(&first, 1));
    ASSERT_EQ(S_OK, pin.Request(&second, 2));
    EXPECT_EQ(S_OK, pin.BeginFlush());
    EXPECT_EQ(VFW_E_WRONG_STATE, pin.Request(&sample, 3));
    EXPECT_EQ(0u, sample.References());
    EXPECT_EQ((Next{S_OK, &first, 1}), WaitForNext());
    EXPECT_EQ((Next{S_OK, &second, 2}), WaitForNext());
    EXPECT_EQ(Next{VFW_E_WRONG_STATE}, WaitForNext(INFINITE));
    EXPECT_EQ(S_OK, pin.SyncReadAligned(&second)) << "only requests are refused";
    EXPECT_EQ(S_OK, pin.EndFlush());
    EXPECT_EQ(S_OK, pin.Request(&second, 4));
    EXPECT_EQ((Next{S_OK, &second, 4}), WaitForNext());
}

std::atomic<int> g_waiters{0};
CAutoHandle g_mayWait;

// Stops each waiter between its look at the queue and its wait.
DWORD WINAPI CountThenWait(DWORD count, const HANDLE* handles, BOOL all, DWORD timeoutMs) {
    if (timeoutMs != INFINITE) {  // not the filter's creation thread
        ++g_waiters;
        ::WaitForSingleObject(g_mayWait.Get(), 10'000);
    }
    return ::WaitForMultipleObjectsEx(count, handles, all, timeoutMs, FALSE);
}

bool IsReady(const std::future<HRESULT>& call) {
    return call.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

// Two requests set the event once when nobody waits for it yet.
TEST_F(PinRequestTest, AWaiterWakesForEachRequestAndTheRestForAFlush) {
    g_waiters = 0;
    g_mayWait.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const CImportHook hook("WaitForMultipleObjects", &CountThenWait);
    ASSERT_TRUE(hook.IsSet());
    std::future<HRESULT> waiters[3];
    for (auto& waiter : waiters)
        waiter = std::async(std::launch::async, [this] { return WaitForNext(10'000).result; });
    while (g_waiters < 3)
        std::this_thread::yield();
    CTestSample samples[] = {CTestSample(4), CTestSample(4)};
    for (CTestSample& each : samples)
        EXPECT_EQ(S_OK, pin.Request(&each, 0));
    ::SetEvent(g_mayWait.Get());
    while (std::ranges::count_if(waiters, IsReady) < 2)
        std::this_thread::yield();
    EXPECT_EQ(S_OK, pin.BeginFlush());
    std::multiset<HRESULT> results;
    for (std::future<HRESULT>& waiter : waiters)
        results.insert(waiter.get());
    EXPECT_EQ((std::multiset<HRESULT>{S_OK, S_OK, VFW_E_WRONG_STATE}), results);
}

CAutoHandle g_reached;

template <class Function>
Function Platform(const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32"), name)));
}

// Called with the gate's own lock held, so whoever opens or closes the gate afterwards meets a thread that waits.
BOOL WINAPI TellThenWait(PCONDITION_VARIABLE condition, PSRWLOCK lock, DWORD timeoutMs, ULONG flags) {
    ::SetEvent(g_reached.Get());
    return Platform<decltype(&TellThenWait)>("SleepConditionVariableSRW")(condition, lock, timeoutMs, flags);
}

BOOL WINAPI TryThenTell(PCRITICAL_SECTION section) {
    const BOOL entered = Platform<decltype(&TryThenTell)>("TryEnterCriticalSection")(section);
    if (!entered)
        ::SetEvent(g_reached.Get());
    return entered;
}

// The gate as a new filter has it: neither event is set.
struct PinGateTest : PinRequestTest {
    const CImportHook wait{"SleepConditionVariableSRW", &TellThenWait};
    const CImportHook tryLock{"TryEnterCriticalSection", &TryThenTell};

    void SetUp() override {
        PinRequestTest::SetUp();
        ASSERT_TRUE(wait.IsSet() && tryLock.IsSet());
        g_reached.Reset(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
        pin.FlowEvent().Reset();
    }
    // Starts `call` on a thread of its own and comes back when it waits at the gate or for the stream lock.
    static std::future<HRESULT> StartAndReach(std::function<HRESULT()> call) {
        ::ResetEvent(g_reached.Get());
        auto started = std::async(std::launch::async, std::move(call));
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(g_reached.Get(), 10'000)) << "it did not wait";
        return started;
    }
};

TEST_F(PinGateTest, ReadersWaitUntilTheFlowIsDisabledNotUntilItIsEnabled) {
    BYTE bytes[2]{};
    std::future<HRESULT> readers[] = {
        StartAndReach([&] { return pin.SyncRead(0, 1, bytes); }),
        StartAndReach([&] { return pin.SyncReadAligned(&sample); }),
        StartAndReach([&] { return pin.Read(bytes + 1, 1, nullptr); }),
        StartAndReach([&] { return pin.Request(&sample, 0); }),
    };
    LONGLONG total = 0;
    EXPECT_EQ(S_OK, pin.Length(&total, &total)) << "no gate here";
    EXPECT_EQ(S_OK, filter->EnableDataFlow());
    EXPECT_EQ(Got(S_OK, "2345"), SyncRead(pin, 2, 4)) << "new readers pass";
    EXPECT_EQ(0, std::ranges::count_if(readers, IsReady));
    EXPECT_EQ(1, source.Calls(Stream::kRead));

    EXPECT_EQ(S_OK, filter->DisableDataFlow());
    EXPECT_EQ(S_OK, filter->EnableDataFlow());  // at once, which must not keep any of them
    for (std::future<HRESULT>& reader : readers)
        EXPECT_EQ(S_OK, reader.get());
    EXPECT_EQ(S_OK, filter->DisableDataFlow());
    EXPECT_EQ(Got(S_OK, "3456"), SyncRead(pin, 3, 4)) << "the gate only ever holds those before the first call";
}

TEST_F(PinGateTest, ARequestThatWaitsThereOrForASlowReadLeavesTheQueueFreeAndThenLooksAgain) {
    for (const bool slowRead : {false, true}) {
        BYTE byte = 0;
        std::future<HRESULT> slow;
        if (slowRead) {
            source.On(Stream::kRead, 0, {.holds = true});
            slow = std::async(std::launch::async, [&] { return pin.Read(&byte, 1, nullptr); });
            ASSERT_TRUE(source.WaitUntilHeld());
        }
        auto request = StartAndReach([&] { return pin.Request(&sample, 0); });
        EXPECT_EQ(Next{VFW_E_TIMEOUT}, WaitForNext());
        EXPECT_EQ(S_OK, pin.BeginFlush());
        EXPECT_EQ(Next{VFW_E_WRONG_STATE}, WaitForNext(INFINITE));
        EXPECT_EQ(S_OK, filter->DisableDataFlow());
        source.LetGo();
        EXPECT_EQ(VFW_E_WRONG_STATE, request.get());
        EXPECT_EQ(S_OK, slowRead ? slow.get() : pin.EndFlush());
        EXPECT_EQ(slowRead ? 1 : 0, source.Calls(Stream::kRead));
        EXPECT_EQ(0u, sample.References());
    }
}

}  // namespace
