// The pin's queued requests, its flushing, its flow gate, and its two locks.
#include "diagnostics/CAutoDestructor.h"
#include "tests/filter/CInnerFilter.h"
#include "tests/filter/LoggedLines.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/CTestSample.h"

#include <vfwmsgs.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <set>
#include <thread>

namespace {

using Stream = CScriptedStream;

constexpr HRESULT kEndOfFile = static_cast<HRESULT>(0x80070026);

struct PinRequestTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    Stream source{"0123456789"};
    CInnerFilter filter;
    CCustomFileSourcePin& pin = filter.Pin();

    void SetUp() override {
        ASSERT_EQ(S_OK, pin.SetSourceFileStream(&source, 0));
        ASSERT_EQ(S_OK, filter->EnableDataFlow());
    }

    // Poisons what WaitForNext must write, and takes over the reference that comes with a sample.
    HRESULT Next(DWORD timeoutMs, IMediaSample** sample, DWORD_PTR* user) {
        *sample = reinterpret_cast<IMediaSample*>(1);
        *user = 1;
        const HRESULT hr = pin.WaitForNext(timeoutMs, sample, user);
        if (*sample)
            (*sample)->Release();
        return hr;
    }
    void ExpectNext(const CTestSample& expected, DWORD_PTR expectedUser) {
        IMediaSample* sample = nullptr;
        DWORD_PTR user = 0;
        EXPECT_EQ(S_OK, Next(0, &sample, &user));
        EXPECT_EQ(&expected, sample);
        EXPECT_EQ(expectedUser, user);
    }
    void ExpectNone(HRESULT result) {
        IMediaSample* sample = nullptr;
        DWORD_PTR user = 0;
        EXPECT_EQ(result, Next(0, &sample, &user));
        EXPECT_EQ(nullptr, sample);
        EXPECT_EQ(0u, user);
    }
};

TEST_F(PinRequestTest, QueuesWhatReadsAnythingAndRefusesTheRest) {
    struct {
        const char* what;
        std::function<void(Stream&, CTestSample&)> arrange;
        HRESULT result;
        std::string data;
    } const cases[] = {
        {"all is well", [](Stream&, CTestSample&) {}, S_OK, "2345"},
        {"short, but not empty", [](Stream&, CTestSample& s) { s.SetRange(9, 13); }, S_OK, "9"},
        {"an empty range", [](Stream&, CTestSample& s) { s.SetRange(10, 10); }, S_OK, ""},
        {"at the end", [](Stream&, CTestSample& s) { s.SetRange(10, 14); }, kEndOfFile, ""},
        {"past the end", [](Stream&, CTestSample& s) { s.SetRange(50, 54); }, kEndOfFile, ""},
        {"a failed seek", [](Stream& f, CTestSample&) { f.On(Stream::kSeek, 0, {.result = E_FAIL}); }, kEndOfFile, ""},
        {"a failed read", [](Stream& f, CTestSample&) { f.On(Stream::kRead, 0, {.result = E_FAIL}); }, kEndOfFile, ""},
        {"an invalid range", [](Stream&, CTestSample& s) { s.SetRange(6, 2); }, kEndOfFile, ""},
        // Only the length is looked at, and that of an invalid sample is what it was.
        {"an invalid range in a sample that is full",
         [](Stream&, CTestSample& s) { s.SetRange(6, 2), s.actualLength = 4; }, S_OK, "...."},
        {"a sample without a buffer", [](Stream&, CTestSample& s) { s.getPointer = E_FAIL; }, S_OK, ""},
    };
    DWORD_PTR user = static_cast<DWORD_PTR>(-10);
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        CTestSample sample(4);
        sample.SetRange(2, 6);
        row.arrange(source, sample);
        EXPECT_EQ(row.result, pin.Request(&sample, ++user));
        EXPECT_EQ(row.result == S_OK ? 1u : 0u, sample.References());
        EXPECT_EQ(row.data, sample.Data());
        if (row.result == S_OK)
            ExpectNext(sample, user);
        EXPECT_EQ(0u, sample.References());
        ExpectNone(VFW_E_TIMEOUT);
        source.ForgetSteps();
    }
}

TEST_F(PinRequestTest, HandsOutInTheOrderOfTheRequests) {
    CTestSample samples[] = {CTestSample(4), CTestSample(4), CTestSample(4)};
    for (DWORD_PTR i = 0; i < 3; ++i) {
        samples[i].SetRange(static_cast<LONGLONG>(i), static_cast<LONGLONG>(i) + 4);
        EXPECT_EQ(S_OK, pin.Request(&samples[i], i));
    }
    for (DWORD_PTR i = 0; i < 3; ++i)
        ExpectNext(samples[i], i);
    ExpectNone(VFW_E_TIMEOUT);
    EXPECT_EQ("2345", samples[2].Data());
}

TEST_F(PinRequestTest, HandsOutWhatIsQueuedWhileItFlushesThenRefuses) {
    CTestSample first(4);
    CTestSample second(4);
    first.SetRange(0, 4);
    second.SetRange(4, 8);
    ASSERT_EQ(S_OK, pin.Request(&first, 1));
    EXPECT_EQ(S_OK, pin.BeginFlush());
    EXPECT_EQ(VFW_E_WRONG_STATE, pin.Request(&second, 2));
    EXPECT_EQ(0u, second.References());
    ExpectNext(first, 1);
    ExpectNone(VFW_E_WRONG_STATE);
    EXPECT_EQ(S_OK, pin.SyncReadAligned(&second));  // only requests are refused
    EXPECT_EQ(S_OK, pin.EndFlush());
    ExpectNone(VFW_E_TIMEOUT);
    EXPECT_EQ(S_OK, pin.Request(&second, 2));
    ExpectNext(second, 2);
}

TEST_F(PinRequestTest, ReleasesWhatNobodyCollected) {
    CTestSample sample(4);
    {
        CInnerFilter other;
        ASSERT_EQ(S_OK, other->EnableDataFlow());
        ASSERT_EQ(S_OK, other.Pin().SetSourceFileStream(&source, 0));
        ASSERT_EQ(S_OK, other.Pin().Request(&sample, 0));
        EXPECT_EQ(1u, sample.References());
    }
    EXPECT_EQ(0u, sample.References());
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

// Two requests set the event once when nobody waits for it yet.
TEST_F(PinRequestTest, WakesAWaiterForEachRequestAndTheRestByAFlush) {
    g_waiters = 0;
    g_mayWait.Reset(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const CImportHook hook("WaitForMultipleObjects", &CountThenWait);
    ASSERT_TRUE(hook.IsSet());
    std::vector<std::future<HRESULT>> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.push_back(std::async(std::launch::async, [this] {
            IMediaSample* sample = nullptr;
            DWORD_PTR user = 0;
            return Next(10'000, &sample, &user);
        }));
    while (g_waiters < 3)
        std::this_thread::yield();
    CTestSample samples[] = {CTestSample(4), CTestSample(4)};
    for (CTestSample& sample : samples)
        EXPECT_EQ(S_OK, pin.Request(&sample, 0));
    ::SetEvent(g_mayWait.Get());
    const auto isDone = [](const std::future<HRESULT>& waiter) {
        return waiter.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };
    while (std::ranges::count_if(waiters, isDone) < 2)
        std::this_thread::yield();
    EXPECT_EQ(S_OK, pin.BeginFlush());
    std::multiset<HRESULT> results;
    for (std::future<HRESULT>& waiter : waiters)
        results.insert(waiter.get());
    EXPECT_EQ((std::multiset<HRESULT>{S_OK, S_OK, VFW_E_WRONG_STATE}), results);
}

TEST(PinWithoutSource, RefusesEveryOperationAfterItsArguments) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CInnerFilter filter;
    CCustomFileSourcePin& pin = filter.Pin();
    ASSERT_EQ(S_OK, filter->EnableDataFlow());
    CTestSample sample(4);
    IMediaSample* next = &sample;
    DWORD_PTR user = 7;
    LONGLONG total = 7;
    ULONG count = 7;
    ULARGE_INTEGER position{};
    STATSTG stat{};
    BYTE byte = 0;
    const HRESULT results[][2] = {
        {E_UNEXPECTED, pin.SyncReadAligned(&sample)},
        {E_POINTER, pin.SyncReadAligned(nullptr)},
        {E_UNEXPECTED, pin.SyncRead(0, 1, &byte)},
        {E_UNEXPECTED, pin.SyncRead(0, 0, nullptr)},
        {E_UNEXPECTED, pin.Request(&sample, 0)},
        {E_POINTER, pin.Request(nullptr, 0)},
        {E_UNEXPECTED, pin.WaitForNext(0, &next, &user)},
        {E_POINTER, pin.WaitForNext(0, nullptr, &user)},
        {E_POINTER, pin.WaitForNext(0, &next, nullptr)},
        {E_UNEXPECTED, pin.Length(&total, &total)},
        {E_POINTER, pin.Length(&total, nullptr)},
        {E_POINTER, pin.Length(nullptr, &total)},
        {E_UNEXPECTED, pin.Read(&byte, 1, &count)},
        {E_POINTER, pin.Read(nullptr, 1, &count)},
        {E_UNEXPECTED, pin.Seek({}, STREAM_SEEK_SET, &position)},
        {E_POINTER, pin.Seek({}, STREAM_SEEK_SET, nullptr)},
        {E_UNEXPECTED, pin.Stat(&stat, STATFLAG_NONAME)},
        {E_POINTER, pin.SetSourceFileStream(nullptr, 0)},
        {S_OK, pin.BeginFlush()},
        {E_UNEXPECTED, pin.Request(&sample, 0)},  // before the state is looked at
        {S_OK, pin.EndFlush()},
    };
    int row = 0;
    for (const auto& [expected, result] : results)
        EXPECT_EQ(expected, result) << "row " << row++;
    EXPECT_EQ(nullptr, next);
    EXPECT_EQ(0u, user);
    EXPECT_EQ(7, total);
    EXPECT_EQ(0u, sample.References());
}

// ---- The flow gate

CAutoHandle g_reachedGate;

// Called with the gate's own lock held, so whoever opens or closes the gate afterwards meets a thread that waits.
BOOL WINAPI TellThenWait(PCONDITION_VARIABLE condition, PSRWLOCK lock, DWORD timeoutMs, ULONG flags) {
    using Wait = BOOL(WINAPI*)(PCONDITION_VARIABLE, PSRWLOCK, DWORD, ULONG);
    static const auto wait = reinterpret_cast<Wait>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32"), "SleepConditionVariableSRW")));
    ::SetEvent(g_reachedGate.Get());
    return wait(condition, lock, timeoutMs, flags);
}

struct PinGateTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    Stream source{"0123456789"};
    CTestSample sample{4};
    CInnerFilter filter;
    CCustomFileSourcePin& pin = filter.Pin();
    const CImportHook hook{"SleepConditionVariableSRW", &TellThenWait};

    void SetUp() override {
        ASSERT_TRUE(hook.IsSet());
        g_reachedGate.Reset(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
        ASSERT_EQ(S_OK, pin.SetSourceFileStream(&source, 0));
    }
    // Starts `call` on a thread of its own and comes back when it waits at the gate.
    std::future<HRESULT> StartAndReachGate(std::function<HRESULT()> call) {
        auto started = std::async(std::launch::async, std::move(call));
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(g_reachedGate.Get(), 10'000)) << "it did not wait";
        return started;
    }
    static bool IsWaiting(const std::future<HRESULT>& call) {
        return call.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
    }
};

TEST_F(PinGateTest, HoldsReadersUntilTheFlowIsDisabledNotWhenItIsEnabled) {
    BYTE bytes[4]{};
    ULONG count = 0;
    std::future<HRESULT> readers[] = {
        StartAndReachGate([&] { return pin.SyncRead(0, 1, bytes); }),
        StartAndReachGate([&] { return pin.SyncReadAligned(&sample); }),
        StartAndReachGate([&] { return pin.Read(bytes + 1, 1, &count); }),
        StartAndReachGate([&] { return pin.Request(&sample, 0); }),
    };
    LONGLONG total = 0;
    EXPECT_EQ(S_OK, pin.Length(&total, &total));  // no gate here
    EXPECT_EQ(S_OK, filter->EnableDataFlow());
    EXPECT_EQ(S_OK, pin.SyncRead(2, 1, bytes + 2));  // new readers pass
    for (const std::future<HRESULT>& reader : readers)
        EXPECT_TRUE(IsWaiting(reader));
    EXPECT_EQ(1, source.Calls(Stream::kRead));

    EXPECT_EQ(S_OK, filter->DisableDataFlow());
    for (std::future<HRESULT>& reader : readers)
        EXPECT_EQ(S_OK, reader.get());
    EXPECT_EQ(S_OK, pin.SyncRead(3, 1, bytes + 3));  // the gate only ever holds those before the first call
    EXPECT_EQ(S_OK, filter->EnableDataFlow());
    EXPECT_EQ(S_OK, pin.SyncRead(3, 1, bytes + 3));
    EXPECT_EQ(3 + 4, source.Calls(Stream::kRead));
}

TEST_F(PinGateTest, RequestThatWaitsThereLeavesFlushingAndTheQueueAlone) {
    auto request = StartAndReachGate([&] { return pin.Request(&sample, 0); });
    IMediaSample* next = nullptr;
    DWORD_PTR user = 0;
    EXPECT_EQ(VFW_E_TIMEOUT, pin.WaitForNext(0, &next, &user));
    EXPECT_EQ(S_OK, pin.BeginFlush());
    EXPECT_EQ(VFW_E_WRONG_STATE, pin.WaitForNext(INFINITE, &next, &user));
    EXPECT_EQ(S_OK, filter->DisableDataFlow());
    EXPECT_EQ(VFW_E_WRONG_STATE, request.get());  // what was true before it waited isn't now
    EXPECT_EQ(0, source.Calls(Stream::kRead));
    EXPECT_EQ(0u, sample.References());
}

// ---- The locks

CAutoHandle g_triedLock;

BOOL WINAPI TryThenTell(PCRITICAL_SECTION section) {
    using Try = BOOL(WINAPI*)(PCRITICAL_SECTION);
    static const auto tryEnter = reinterpret_cast<Try>(
        reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32"), "TryEnterCriticalSection")));
    const BOOL entered = tryEnter(section);
    if (!entered)
        ::SetEvent(g_triedLock.Get());
    return entered;
}

// A reader is inside a slow source, and a request waits for it: it must not keep the queue locked meanwhile.
TEST_F(PinRequestTest, RequestBehindASlowReadLeavesTheQueueFree) {
    g_triedLock.Reset(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const CImportHook hook("TryEnterCriticalSection", &TryThenTell);
    ASSERT_TRUE(hook.IsSet());
    CTestSample sample(4);
    source.On(Stream::kRead, 0, {.holds = true});
    BYTE byte = 0;
    auto slow = std::async(std::launch::async, [&] { return pin.Read(&byte, 1, nullptr); });
    ASSERT_TRUE(source.WaitUntilHeld());
    auto request = std::async(std::launch::async, [&] { return pin.Request(&sample, 0); });
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(g_triedLock.Get(), 10'000));
    EXPECT_EQ(S_OK, pin.BeginFlush());
    ExpectNone(VFW_E_WRONG_STATE);
    source.LetGo();
    EXPECT_EQ(S_OK, slow.get());
    EXPECT_EQ(VFW_E_WRONG_STATE, request.get());
    EXPECT_EQ(0u, sample.References());
}

// The two orders in which the locks are taken meet here as often as can be.
TEST_F(PinRequestTest, RequestsAndReadsFromManyThreadsDoNotStopEachOther) {
    constexpr int kRounds = 300;
    std::vector<std::future<int>> threads;
    for (int i = 0; i < 6; ++i)
        threads.push_back(std::async(std::launch::async, [this, i] {
            int failures = 0;
            for (int round = 0; round < kRounds; ++round) {
                std::string bytes(4, '.');
                LONGLONG total = 0;
                if (i % 2 == 0) {
                    failures += pin.SyncRead(i, 4, reinterpret_cast<BYTE*>(bytes.data())) != S_OK ||
                                bytes != std::string("0123456789").substr(static_cast<std::size_t>(i), 4);
                    failures += pin.Length(&total, &total) != S_OK;
                    continue;
                }
                CTestSample sample(4);
                sample.SetRange(i, i + 4);
                IMediaSample* next = nullptr;
                DWORD_PTR user = 0;
                failures += pin.Request(&sample, 0) != S_OK;
                failures += pin.WaitForNext(INFINITE, &next, &user) != S_OK;
                next->Release();
                while (sample.References() > 0)  // another thread may have got it
                    std::this_thread::yield();
            }
            return failures;
        }));
    for (std::future<int>& thread : threads)
        EXPECT_EQ(0, thread.get());
}

}  // namespace
