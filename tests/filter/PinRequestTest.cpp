// The pin's queued requests, its flushing, its flow gate, and its two locks.
#include "base/CAutoDestructor.h"
#include "tests/support/CInnerFilter.h"
#include "tests/support/CSecondCall.h"
#include "tests/support/FilterTest.h"

#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <list>
#include <set>

namespace {

// What WaitForNext gives. The reference that comes with the sample is released.
struct Next {
    HRESULT result;
    IMediaSample* sample = nullptr;
    DWORD_PTR user = 0;

    bool operator==(const Next&) const = default;
};

constexpr DWORD kLimitMs = 10'000;  // long enough for anything that is going to happen

std::vector<DWORD> g_waits;    // the time-outs of all waits
std::function<BOOL()> g_wait;  // in place of the condition variable's wait; called without the lock
ULONGLONG g_now = 0;

BOOL WINAPI WaitAsTold(PCONDITION_VARIABLE, PSRWLOCK lock, DWORD timeoutMs, ULONG) {
    g_waits.push_back(timeoutMs);
    ::ReleaseSRWLockExclusive(lock);
    const BOOL woken = g_wait();
    ::AcquireSRWLockExclusive(lock);
    return woken;
}

ULONGLONG WINAPI Now() {
    return g_now;
}

bool IsReady(const std::future<HRESULT>& call) {
    return call.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}
// E_ABORT: it hangs.
HRESULT ResultOf(std::future<HRESULT>& call) {
    return call.wait_for(std::chrono::milliseconds(kLimitMs)) == std::future_status::ready ? call.get() : E_ABORT;
}

struct PinRequestTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    Stream source{"0123456789"};
    std::deque<CTestSample> samples;  // outlive the filter, which may have some of them in its queue
    CTestSample& sample = NewSample(0, 0);
    CInnerFilter filter;
    CCustomFileSourcePin& pin = filter.Pin();
    BYTE byte = 0;
    std::list<std::future<HRESULT>> calls;

    void SetUp() override { ASSERT_EQ(S_OK, pin.SetSourceFileStream(&source, 0)); }
    // A failed test leaves no thread waiting.
    void TearDown() override {
        pin.HaltEvent().Set();
        pin.BeginFlush();
        source.LetGo();
        calls.clear();
    }

    CTestSample& NewSample(LONGLONG first, LONGLONG end) {
        CTestSample& made = samples.emplace_back(4);
        made.SetRange(first, end);
        return made;
    }
    Next WaitForNext(DWORD timeoutMs = 0) {
        Next next{E_PENDING, &sample, 1};
        next.result = pin.WaitForNext(timeoutMs, &next.sample, &next.user);
        if (next.sample)
            next.sample->Release();
        return next;
    }
    // Starts `call` on a thread of its own.
    std::future<HRESULT>& Start(std::function<HRESULT()> call) {
        return calls.emplace_back(std::async(std::launch::async, std::move(call)));
    }
    // Nothing is decided by the clock: what has not ended after many turns of the processor waits.
    std::future<HRESULT>& StartAndWait(std::function<HRESULT()> call) {
        std::future<HRESULT>& started = Start(std::move(call));
        for (int turn = 0; turn < 20'000 && !IsReady(started); ++turn)
            ::SwitchToThread();
        EXPECT_FALSE(IsReady(started));
        return started;
    }
};

TEST_F(PinRequestTest, OnlyWhatReadsAnythingIsQueued) {
    const auto healthy = [](Stream&, CTestSample&) {};
    const auto readFails = [](Stream& s, CTestSample&) { s.On(Stream::ReadCall, 0, {.result = E_FAIL}); };
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
        CTestSample& own = NewSample(row.first, row.end);
        row.arrange(source, own);
        EXPECT_EQ(row.result, pin.Request(&own, ++user));
        EXPECT_EQ(row.result == S_OK ? 1u : 0u, own.References());
        EXPECT_EQ(row.data, own.Data());
        EXPECT_EQ(row.result == S_OK ? (Next{S_OK, &own, user}) : Next{VFW_E_TIMEOUT}, WaitForNext());
        EXPECT_EQ(0u, own.References());
    }
}

TEST_F(PinRequestTest, AFlushHandsOutWhatIsQueuedInItsOrder) {
    CTestSample &first = NewSample(0, 4), &second = NewSample(4, 8);
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

TEST_F(PinRequestTest, OneCallAtATimeReachesTheSource) {
    CTestSample& own = NewSample(0, 4);
    LONGLONG total = 0;
    ULARGE_INTEGER position{};
    STATSTG stat{};
    const struct {
        const char* what;
        Stream::Kind kind;
        bool keepsFlush;
        std::function<HRESULT()> call;
    } rows[] = {
        {"SyncRead", Stream::ReadCall, true, [&] { return pin.SyncRead(0, 1, &byte); }},
        {"SyncReadAligned", Stream::ReadCall, true, [&] { return pin.SyncReadAligned(&own); }},
        {"Request", Stream::ReadCall, true, [&] { return pin.Request(&own, 0); }},
        {"Length", Stream::StatCall, true, [&] { return pin.Length(&total, &total); }},
        {"a new source", Stream::StatCall, true, [&] { return pin.SetSourceFileStream(&source, 0); }},
        {"Read", Stream::ReadCall, false, [&] { return pin.Read(&byte, 1, nullptr); }},
        {"Seek", Stream::SeekCall, false, [&] { return pin.Seek({}, 0, &position); }},
        {"Stat", Stream::StatCall, false, [&] { return pin.Stat(&stat, STATFLAG_NONAME); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        source.On(row.kind, 0, {.holds = true});
        const CSecondCall held([&] { EXPECT_EQ(S_OK, row.call()); });
        EXPECT_TRUE(source.WaitUntilHeld());
        const CSecondCall writer([&] { EXPECT_EQ(E_NOTIMPL, pin.Write("x", 1, nullptr)); });
        const CSecondCall flush([&] { EXPECT_EQ(S_OK, pin.EndFlush()); });
        EXPECT_FALSE(writer.Ends());
        EXPECT_EQ(row.keepsFlush, !flush.Ends());
        source.LetGo();
    }
    EXPECT_EQ((Next{S_OK, &own, 0}), WaitForNext());
}

TEST_F(PinRequestTest, EachRequestWakesOneWaiter) {
    const base::CAutoHandle ended(::CreateSemaphoreW(nullptr, 0, 3, nullptr));
    for (int i = 0; i < 3; ++i)
        StartAndWait([&] {
            const HRESULT hr = WaitForNext(INFINITE).result;
            ::ReleaseSemaphore(ended.Get(), 1, nullptr);
            return hr;
        });
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(S_OK, pin.Request(&NewSample(0, 4), 0));
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(ended.Get(), kLimitMs));
    StartAndWait([&] { return WaitForNext(INFINITE).result; });  // the third may not wait again yet
    EXPECT_EQ(S_OK, pin.BeginFlush());
    std::multiset<HRESULT> results;
    for (std::future<HRESULT>& call : calls)
        results.insert(ResultOf(call));
    EXPECT_EQ((std::multiset<HRESULT>{S_OK, S_OK, VFW_E_WRONG_STATE, VFW_E_WRONG_STATE}), results);
}

TEST_F(PinRequestTest, AWaiterThatLooksAgainAfterTheFlushHasStillBeenFlushed) {
    const CImportHook wait("SleepConditionVariableSRW", &WaitAsTold);
    g_waits.clear();
    g_wait = [&] { return pin.BeginFlush() == S_OK && pin.EndFlush() == S_OK && g_waits.size() == 1; };
    EXPECT_EQ(Next{VFW_E_WRONG_STATE}, WaitForNext(INFINITE));
    g_wait = [] { return FALSE; };
    EXPECT_EQ(Next{VFW_E_TIMEOUT}, WaitForNext()) << "that one came afterwards";
}

// A waiter may be woken for nothing as often as others take what it was woken for.
TEST_F(PinRequestTest, AVainWakeLeavesTheWaitersTimeAsItWas) {
    const CImportHook clock("GetTickCount64", &Now), wait("SleepConditionVariableSRW", &WaitAsTold);
    g_waits.clear();
    g_wait = [] {
        g_now += 300;
        return g_waits.back() != 0 && g_waits.size() < 9;
    };
    EXPECT_EQ(Next{VFW_E_TIMEOUT}, WaitForNext(1000));
    EXPECT_EQ((std::vector<DWORD>{1000, 700, 400, 100, 0}), g_waits);
}

TEST_F(PinRequestTest, ASampleComesWithAReferenceUnlessTheHostSaysOtherwise) {
    for (const BOOL uncounted : {FALSE, TRUE}) {
        BOOL was = !uncounted;
        EXPECT_EQ(S_OK, pin.GetUncountedSamples(&was));
        EXPECT_FALSE(was);
        EXPECT_EQ(S_OK, pin.SetUncountedSamples(uncounted));
        EXPECT_EQ(S_OK, pin.GetUncountedSamples(&was));
        EXPECT_EQ(uncounted, was);
        EXPECT_EQ(S_OK, pin.Request(&sample, 7));
        IMediaSample* next = nullptr;
        DWORD_PTR user = 0;
        EXPECT_EQ(S_OK, pin.WaitForNext(0, &next, &user));
        EXPECT_TRUE(next == &sample && user == 7);
        EXPECT_EQ(uncounted ? 0u : 1u, sample.References());
        if (!uncounted)
            next->Release();
    }
    EXPECT_EQ(E_POINTER, pin.GetUncountedSamples(nullptr));
}

TEST_F(PinRequestTest, ReadersWaitUntilTheFlowIsDisabledNotUntilItIsEnabled) {
    BYTE bytes[2]{};
    pin.FlowEvent().Reset();  // as a new filter has it
    StartAndWait([&] { return pin.SyncRead(0, 1, bytes); });
    StartAndWait([&] { return pin.SyncReadAligned(&sample); });
    StartAndWait([&] { return pin.Read(bytes + 1, 1, nullptr); });
    StartAndWait([&] { return pin.Request(&NewSample(0, 0), 0); });
    LONGLONG total = 0;
    EXPECT_EQ(S_OK, pin.Length(&total, &total)) << "no gate here";
    EXPECT_EQ(S_OK, filter->EnableDataFlow());
    EXPECT_EQ(Got(S_OK, "2345"), SyncRead(pin, 2, 4)) << "new readers pass";
    EXPECT_EQ(0, std::ranges::count_if(calls, IsReady));
    EXPECT_EQ(1, source.Calls(Stream::ReadCall));

    EXPECT_EQ(S_OK, filter->DisableDataFlow());
    EXPECT_TRUE(!pin.FlowEvent().IsSet() && pin.HaltEvent().IsSet());
    EXPECT_EQ(S_OK, filter->EnableDataFlow());  // at once, which must not keep any of them
    EXPECT_TRUE(pin.FlowEvent().IsSet() && !pin.HaltEvent().IsSet());
    for (std::future<HRESULT>& reader : calls)
        EXPECT_EQ(S_OK, ResultOf(reader));
    EXPECT_EQ(S_OK, filter->DisableDataFlow());
    EXPECT_EQ(Got(S_OK, "3456"), SyncRead(pin, 3, 4)) << "the gate only ever holds those before the first call";
}

TEST_F(PinRequestTest, ARequestThatWaitsLeavesTheQueueFree) {
    pin.FlowEvent().Reset();
    for (const bool slowRead : {false, true}) {
        if (slowRead) {
            source.On(Stream::ReadCall, 0, {.holds = true});
            Start([&] { return pin.Read(&byte, 1, nullptr); });
            ASSERT_TRUE(source.WaitUntilHeld());
        }
        auto& request = StartAndWait([&] { return pin.Request(&sample, 0); });
        EXPECT_EQ(Next{VFW_E_TIMEOUT}, WaitForNext());
        EXPECT_EQ(S_OK, pin.BeginFlush());
        EXPECT_EQ(Next{VFW_E_WRONG_STATE}, WaitForNext(INFINITE));
        EXPECT_EQ(S_OK, filter->DisableDataFlow());
        source.LetGo();
        EXPECT_EQ(VFW_E_WRONG_STATE, ResultOf(request));
        EXPECT_EQ(S_OK, slowRead ? ResultOf(calls.front()) : pin.EndFlush());
        calls.clear();
        EXPECT_EQ(slowRead ? 1 : 0, source.Calls(Stream::ReadCall));
        EXPECT_EQ(0u, sample.References());
    }
}

TEST_F(PinRequestTest, RequestsAndReadsOfManyThreadsDoNotLockUp) {
    for (int thread = 0; thread < 4; ++thread) {
        Start([&, own = &NewSample(0, 4)] {
            BYTE buffer[4]{};
            LONGLONG length = 0;
            for (int i = 0; i < 250; ++i) {
                if (pin.Request(own, 0) != S_OK || pin.SyncRead(0, 4, buffer) != S_OK ||
                    pin.Length(&length, &length) != S_OK || WaitForNext().result != S_OK)
                    return E_FAIL;
            }
            return S_OK;
        });
    }
    for (std::future<HRESULT>& call : calls)
        EXPECT_EQ(S_OK, ResultOf(call));
    EXPECT_EQ(Next{VFW_E_TIMEOUT}, WaitForNext());
}

}  // namespace
