// The hang detector as far as it needs no logger.
#include "diagnostics/CHangDetector.h"
#include "diagnostics/CSilence.h"
#include "tests/support/Await.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

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

// What the listener has heard: of each activity, by its words, the first letters of its messages.
struct CHeard {
    static inline std::mutex g_lock;
    static inline std::map<std::wstring, std::string> g_letters;
    // Over messages that begin like this it takes its time, until it may go on.
    static inline std::atomic<char> g_slow = 0;
    static inline std::atomic<int> g_mayGoOn = 0;  // so many times

    static void Listen(const std::wstring& message) {
        const std::size_t words = message.find(L": ") + 2;
        const bool isSlow = message[0] == g_slow;  // before the test can go on, and set it anew
        {
            const std::lock_guard guard(g_lock);
            g_letters[message.substr(words, message.find(L" (thread") - words)] += static_cast<char>(message[0]);
        }
        if (isSlow) {
            ::Await([] { return g_mayGoOn > 0; });
            --g_mayGoOn;
        }
    }
    static std::map<std::wstring, std::string> Letters() {
        const std::lock_guard guard(g_lock);
        return g_letters;
    }
    static std::string Of(const std::wstring& words) { return Letters()[words]; }
    static void Await(const std::wstring& words, const std::string& expected) {
        ::Await([&] { return Of(words) == expected; });
    }
    CHeard() { g_letters.clear(); }
};

TEST(HangDetectorTest, WatchesWithoutALoggerOnlyForAListener) {
    const CHeard heard;
    std::thread([] {
        CHangDetector unwatched(kSource, __LINE__, L"Copy", 0, []() -> std::wstring {
            ADD_FAILURE() << "described for nobody";
            return {};
        });
        unwatched.KeepAlive();
        {
            CHangDetector activity(
                kSource, __LINE__, L"Copy", 0, [] { return std::wstring(L"copying"); }, CHeard::Listen);
            CHeard::Await(L"copying", "H");
            activity.KeepAlive();
            CHeard::Await(L"copying", "HGH");
        }
        CHeard::Await(L"copying", "HGHG");
    }).join();
}

TEST(HangDetectorTest, AnActivityMayEndWhileItIsToldOf) {
    const CHeard heard;
    for (const std::string told : {"H", "HG"}) {
        const std::wstring words(told.begin(), told.end());
        CHeard::g_slow = told.back();
        {
            CHangDetector activity(
                kSource, __LINE__, L"Copy", 0, [&] { return words; }, CHeard::Listen);
            CHeard::Await(words, "H");
            if (told != "H")
                activity.KeepAlive();
            CHeard::Await(words, told);
        }
        EXPECT_EQ(told, CHeard::Of(words)) << "it ends first";
        CHeard::g_slow = 0;
        ++CHeard::g_mayGoOn;
        CHeard::Await(words, "HG");
    }
}

// Each hang is followed by its end, in this order, though it is told of by the watcher and by the activity's own
// thread.
TEST(HangDetectorTest, TellsOfEachActivityInPairs) {
    const CHeard heard;
    std::vector<std::jthread> threads;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        threads.emplace_back([seed] {
            std::mt19937 random(seed);
            for (int i = 0; i < 1000; ++i) {
                const std::wstring words = std::to_wstring(seed * 10'000 + static_cast<unsigned>(i));
                const bool mayHang = i % 2 == 0;
                CHangDetector activity(
                    kSource, __LINE__, L"Copy", mayHang ? 0 : INFINITE, [&] { return words; }, CHeard::Listen);
                for (unsigned signs = random() % 4; signs > 0; --signs)
                    activity.KeepAlive();
                if (mayHang && (i == 0 || random() % 100 == 0))
                    CHeard::Await(words, "H");  // it ends more or less at the moment at which it is told of
            }
        });
    }
    threads.clear();
    Await([] {
        return std::ranges::all_of(CHeard::Letters(), [](const auto& each) { return each.second.size() % 2 == 0; });
    });
    for (const auto& [words, letters] : CHeard::Letters())
        for (std::size_t i = 0; i < letters.size(); i += 2)
            ASSERT_EQ("HG", letters.substr(i, 2));
}

}  // namespace
