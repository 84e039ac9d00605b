// What takes records from their writers: the queue, and the object that they call.
#include "base/CBstr.h"
#include "base/Times.h"
#include "logview/CLogSink.h"
#include "logview/CRecordQueue.h"
#include "tests/support/Await.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace logview;

namespace {

Arrival Numbered(LONG number, std::size_t characters = 0) {
    LogRecord record;
    record.line = number;
    record.message.assign(characters, L'x');
    return {1, {}, record};
}

std::vector<LONG> LinesOf(const std::deque<Arrival>& arrivals) {
    std::vector<LONG> lines;
    for (const Arrival& arrival : arrivals)
        lines.push_back(std::get<LogRecord>(arrival.record).line);
    return lines;
}

TEST(RecordQueueTest, KeepsTheNewestAndCountsTheOthers) {
    CRecordQueue byCount(3, 1 << 30), byBytes(1000, 5000);
    for (LONG i = 0; i < 10; ++i) {
        byCount.Put(Numbered(i));
        byBytes.Put(Numbered(i, 500));
    }
    EXPECT_EQ(7u, byCount.Lost());
    EXPECT_EQ((std::vector<LONG>{7, 8, 9}), LinesOf(byCount.Take(0)));
    const std::vector<LONG> kept = LinesOf(byBytes.Take(0));
    EXPECT_EQ(10u, kept.size() + byBytes.Lost());
    EXPECT_TRUE(kept.size() >= 2 && kept.size() <= 5 && kept.back() == 9) << kept.size();
    byBytes.Put(Numbered(10, 1'000'000));
    EXPECT_EQ(std::vector<LONG>{10}, LinesOf(byBytes.Take(0))) << "one always has room";
    byCount.AddLost(5);
    EXPECT_EQ(12u, byCount.Lost());
    EXPECT_TRUE(byCount.Take(0).empty());
}

// A wait that a taker has begun, with the queue's lock; whoever has the lock next finds it waiting.
std::atomic<bool> g_waits{false};
decltype(::SleepConditionVariableSRW)* g_wait = nullptr;

BOOL WINAPI TellingWait(CONDITION_VARIABLE* changed, SRWLOCK* lock, DWORD timeoutMs, ULONG flags) {
    g_waits = true;
    return g_wait(changed, lock, timeoutMs, flags);
}

TEST(RecordQueueTest, WakesWhoeverTakes) {
    const CImportHook hook("SleepConditionVariableSRW", &TellingWait, &g_wait);
    CRecordQueue queue(10, 1 << 20);
    const auto takenAfter = [&](auto&& wake) {
        std::deque<Arrival> taken;
        std::atomic<bool> hasTaken{false};
        g_waits = false;
        const std::jthread taker([&] {
            taken = queue.Take(2 * kLongMs);
            hasTaken = true;
        });
        Await([] { return g_waits.load(); });
        EXPECT_FALSE(hasTaken);
        wake();
        Await([&] { return hasTaken.load(); });
        return hasTaken ? taken.size() : 100;
    };
    EXPECT_EQ(1u, takenAfter([&] { queue.Put(Numbered(1)); }));
    EXPECT_EQ(0u, takenAfter([&] { queue.Wake(); }));
}

struct LogSinkTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
    const std::shared_ptr<CRecordQueue> queue = std::make_shared<CRecordQueue>(100, 1 << 20);
    Microsoft::WRL::ComPtr<CLogSink> sink;
    const base::CBstr text{L"text"};

    void Make(CLogSink::Services services = {}) {
        ASSERT_EQ(S_OK, CLogSink::Create(queue, std::move(services), sink.ReleaseAndGetAddressOf()));
    }
    HRESULT Log(const base::CBstr& message) {
        return sink->Log(1, text.Get(), 2, 3, nullptr, 4, text.Get(), message.Get());
    }
};

TEST_F(LogSinkTest, TakesTextsAsTheyAre) {
    Make();
    BSTR withZero = ::SysAllocStringLen(L"a\0b", 3);
    EXPECT_EQ(S_OK, sink->Log(7, nullptr, 2, 3, withZero, -4, text.Get(), nullptr));
    ::SysFreeString(withZero);
    const auto taken = queue->Take(0);
    ASSERT_EQ(1u, taken.size());
    const auto& record = std::get<LogRecord>(taken[0].record);
    EXPECT_EQ((std::wstring{L'a', L'\0', L'b'}), record.file);
    EXPECT_EQ(L"", record.category + record.message);
    EXPECT_EQ(7, record.severity);
    const ULONGLONG time = base::NowInTicks();
    EXPECT_TRUE(taken[0].time <= time && time - taken[0].time < 600'000'000) << taken[0].time;
}

TEST_F(LogSinkTest, OffersWhatItCanDoAndNoMore) {
    Make();
    Microsoft::WRL::ComPtr<ITKRuntimeLoggerQuestion> questions;
    Microsoft::WRL::ComPtr<ITKRuntimeLoggerDump> dumps;
    EXPECT_EQ(E_NOINTERFACE, sink.As(&questions));
    EXPECT_EQ(E_NOINTERFACE, sink.As(&dumps));
    Make({.ask = [](const Question& question) { return question.defaultAnswer + 1; },
          .dump = [](const LogRecord&) -> HRESULT { throw 1; },
          .openChannel = {}});
    ASSERT_EQ(S_OK, sink.As(&questions));
    ASSERT_EQ(S_OK, sink.As(&dumps));
    LONG answer = 0;
    const auto ask = [&](LONG* to) {
        return questions->AskQuestion(1, text.Get(), 2, 3, text.Get(), 4, text.Get(), text.Get(), nullptr, 41, to);
    };
    EXPECT_EQ(S_OK, ask(&answer));
    EXPECT_EQ(42, answer);
    EXPECT_EQ(E_POINTER, ask(nullptr));
    EXPECT_EQ(E_UNEXPECTED, dumps->LogWithDump(1, text.Get(), 2, 3, text.Get(), 4, text.Get(), text.Get()));
}

TEST_F(LogSinkTest, BehindItsEndEveryCallSaysSo) {
    Make({.ask = [](const Question&) -> LONG { return 1; },
          .dump = [](const LogRecord&) { return S_OK; },
          .openChannel = {}});
    EXPECT_EQ(S_OK, Log(text));
    sink->Close(0);
    EXPECT_EQ(RPC_E_DISCONNECTED, Log(text));
    LONG answer = 0;
    EXPECT_EQ(RPC_E_DISCONNECTED,
              sink->AskQuestion(1, text.Get(), 2, 3, nullptr, 4, nullptr, nullptr, nullptr, 5, &answer));
    EXPECT_EQ(5, answer);
    EXPECT_EQ(RPC_E_DISCONNECTED, sink->LogWithDump(1, text.Get(), 2, 3, nullptr, 4, nullptr, nullptr));
    EXPECT_EQ(1u, queue->Take(0).size());
}

TEST_F(LogSinkTest, AllThatWasTakenBeforeItsEndIsThere) {
    Make();
    std::atomic<std::size_t> taken{0};
    std::vector<std::thread> writers;
    for (int i = 0; i < 4; ++i)
        writers.emplace_back([&] {
            while (Log(text) == S_OK)
                ++taken;
        });
    Await([&] { return queue->Lost() > 0; });
    sink->Close(60'000);
    const ULONGLONG there = queue->Take(0).size() + queue->Lost();
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(taken, there);
}

}  // namespace
