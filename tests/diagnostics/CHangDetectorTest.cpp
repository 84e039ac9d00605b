#include "base/CDeadline.h"
#include "diagnostics/CHangDetector.h"
#include "diagnostics/CSilence.h"
#include "diagnostics/CTimingScope.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"CHangDetectorTest"};

using News = CSilence::News;

TEST(SilenceTest, IsNewsOnceWhenItIsTooLongAndOnceWhenItIsOver) {
    struct Look {
        unsigned signs;
        ULONGLONG sinceMs;
        News news;
        ULONGLONG ms;
    };
    constexpr ULONGLONG kMost = 2 * CSilence::kIntervalMs, kHour = 3'600'000;
    const auto check = [](DWORD limitMs, const std::vector<Look>& looks) {
        CSilence silence(limitMs);
        for (const Look& look : looks) {
            EXPECT_EQ(look.news, silence.Look(look.signs, look.sinceMs));
            EXPECT_EQ(look.ms, silence.Ms());
        }
    };
    check(600, {{0, 400, News::None, 0},  // before the first look it wasn't seen to be silent
                {0, 400, News::None, 400},
                {0, 199, News::None, 599},
                {0, 1, News::Hangs, 600},
                {0, 300, News::None, 900},
                {1, 300, News::GoesOn, 900},
                {1, 300, News::None, 300},
                {2, 300, News::None, 300},
                {2, 600, News::None, kMost},
                {2, 100, News::Hangs, 600}});
    // The machine slept, again and again.
    check(600, {{0, kHour, News::None, 0}, {0, kHour, News::None, kMost}, {1, kHour, News::None, kMost}});
    check(0, {{7, 1, News::None, 0}, {7, 0, News::Hangs, 0}, {7, kHour, News::None, kMost}});
    check(INFINITE, {{0, 1, News::None, 0}, {0, kHour, News::None, kMost}, {0, kHour, News::None, 2 * kMost}});
}

template <class Condition>
void AwaitThat(Condition&& condition) {
    const base::CDeadline deadline(60'000);
    while (!condition() && !deadline.IsOver())
        ::SwitchToThread();
    EXPECT_TRUE(condition());
}

// Waits until that many records have come.
std::vector<LoggedRecord> Await(const CPublishedLogger& logger, std::size_t count) {
    AwaitThat([&] { return logger->Records().size() >= count; });
    return logger->Records();
}

// The message with a star for each time, which no test knows, and a T for this thread.
std::wstring Shape(const std::wstring& message) {
    std::wstring shape;
    for (const wchar_t character : message) {
        if (character < L'0' || character > L'9')
            shape += character;
        else if (shape.empty() || shape.back() != L'*')
            shape += L'*';
    }
    const auto thread = shape.rfind(L"thread *");
    if (thread != shape.npos && message.find(L"thread " + std::to_wstring(::GetCurrentThreadId())) != message.npos)
        shape[thread + 7] = L'T';
    return shape;
}

void InAScope(const CPublishedLogger& logger) {
    TK_PROFILE(kSource, L"InAScope", L"inner");
    Await(logger, 1);
}

TEST(HangDetectorTest, TellsOfAHangOnceAndOnceThatItIsOver) {
    CPublishedLogger logger;
    OnNewThread([&] {
        {
            TK_PROFILE(kSource, L"Outer", L"");
            constexpr LONG kLine = __LINE__ + 1;
            CHangDetector activity(kSource, L"Copy", 1, [] { return std::wstring(L"copying"); });
            InAScope(logger);
            const LoggedRecord record = logger->Records().front();
            EXPECT_EQ((LoggedRecord{kWarn, L"TestModule", ::GetCurrentProcessId(), record.threadId,
                                    L"CHangDetectorTest", kLine, L"Copy", record.message}),
                      record);
            EXPECT_EQ(L"Hangs for * ms: copying (thread T, in InAScope (inner))", Shape(record.message));
            activity.KeepAlive();
            EXPECT_EQ(L"Goes on after * ms: copying (thread T)", Shape(Await(logger, 2).back().message));
            EXPECT_EQ(L"Hangs for * ms: copying (thread T, in Outer)", Shape(Await(logger, 3).back().message));
        }
        const auto records = Await(logger, 4);
        EXPECT_EQ(L"Goes on after * ms: copying (thread T)", Shape(records.back().message)) << "it has ended";
        EXPECT_EQ(4u, records.size());
    });
}

std::atomic<int> g_heard;

TEST(HangDetectorTest, WatchesWithoutALoggerOnlyForAListener) {
    const auto listener = [](const std::wstring&) { ++g_heard; };
    std::thread([&] {
        ASSERT_EQ(nullptr, ThreadLogger());
        g_heard = 0;
        CHangDetector unwatched(kSource, L"Copy", 0, []() -> std::wstring {
            ADD_FAILURE() << "described for nobody";
            return {};
        });
        {
            CHangDetector activity(
                kSource, L"Copy", 0, [] { return std::wstring(L"copying"); }, listener);
            AwaitThat([] { return g_heard == 1; });
        }
        AwaitThat([] { return g_heard == 2; });
    }).join();
}

TEST(HangDetectorTest, LosesNoActivityAndTellsOfEachInPairs) {
    CPublishedLogger logger;
    std::vector<std::jthread> threads;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        threads.emplace_back([seed] {
            const CTestApartment apartment(COINIT_MULTITHREADED);
            std::mt19937 random(seed);
            for (int i = 0; i < 2000; ++i) {
                CHangDetector activity(kSource, L"Copy", random() % 2 ? 0 : INFINITE,
                                       [&] { return L"copying " + std::to_wstring(seed * 10'000 + i); });
                for (unsigned signs = random() % 4; signs > 0; --signs)
                    activity.KeepAlive();
                if (random() % 500 == 0)
                    ::Sleep(2 * CSilence::kIntervalMs);
            }
        });
    }
    threads.clear();
    // Each hang is followed by its end, which is told last where the two meet.
    const auto isWhole = [](const std::vector<std::wstring>& messages) {
        const auto count = [&](const wchar_t* begin) {
            return std::ranges::count_if(messages, [&](const std::wstring& each) { return each.starts_with(begin); });
        };
        return count(L"Hangs") == count(L"Goes on");
    };
    AwaitThat([&] { return isWhole(logger->Messages()); });
    EXPECT_LT(0u, logger->Messages().size());
}

}  // namespace
