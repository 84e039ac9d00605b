#include "diagnostics/CTKRuntimeLoggerProfilesCollector.h"
#include "diagnostics/CTimingScope.h"
#include "diagnostics/LogSite.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <stdexcept>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"timing_scope_test"};

using Figures = std::array<double, 4>;  // count, first, maximum and total duration

// A front end with a clock of its own, for timing records only.
struct CFakeFrontEnd final : ITKRuntimeLoggerAPI {
    using Text = const wchar_t*;
    LONGLONG frequency = 0;
    std::vector<Figures> reported;

    void Log(LONG, Text, Text, LONG, Text, Text) override {}
    void LogProfile(LONG, Text, Text, LONG, Text, Text, ULONGLONG count, double first, double maximum,
                    double total) override {
        reported.push_back({static_cast<double>(count), first, maximum, total});
    }
    void LogExplicit(LONG, Text, ULONG, ULONG, Text, LONG, ULONG, Text, Text, BYTE) override {}
    LONG AskQuestion(LONG, Text, Text, LONG, Text, Text, Text, LONG, bool) override { return 0; }
    void LogWithDump(LONG, Text, Text, LONG, Text, Text) override {}
    LONGLONG GetFrequency() const noexcept override { return frequency; }
    LONGLONG GetTimestamp() const noexcept override { return 0; }
};

// Everything that the process-wide collector knows of the sites of `function`.
std::vector<LoggedProfile> ReportOf(const std::wstring& function) {
    CPublishedLogger published;
    OnNewThread([] { GetProfilesCollector()->ReportAll(); });
    std::vector<LoggedProfile> profiles = published->Profiles();
    std::erase_if(profiles, [&](const LoggedProfile& profile) { return profile.function != function; });
    return profiles;
}

TEST(ProfileTest, DurationsAreSecondsAndTheFirstIsAlwaysZero) {
    struct Case {
        LONGLONG frequency;
        std::vector<LONGLONG> ticks;
        Figures expected;
    };
    const Case cases[] = {{10, {10, 30, 20}, {3, 0.0, 3.0, 6.0}},
                          {0, {10, 30, 20}, {3, 0.0, 30.0, 60.0}},
                          {1, {0x100000000, -5}, {2, 0.0, 4294967296.0, 4294967291.0}}};
    for (const Case& c : cases) {
        CProfile profile;
        for (const LONGLONG ticks : c.ticks)
            RecordElapsed(profile, ticks);
        CFakeFrontEnd frontEnd;
        frontEnd.frequency = c.frequency;
        ReportProfile(profile, frontEnd);
        ReportProfile(profile, frontEnd);
        EXPECT_EQ((std::vector{c.expected, c.expected}), frontEnd.reported) << "figures stay after a report";
    }
}

TEST(CollectorTest, ReportsFallAfterEverGrowingIntervalsAndOnlyWithALogger) {
    CTKRuntimeLoggerProfilesCollector silent, collector;
    silent.AddProfile(new CProfile);
    OnNewThread([&] { silent.ReportAll(); });
    CPublishedLogger published;
    collector.AddProfile(new CProfile);
    std::vector<int> reports;
    OnNewThread([&] {
        for (int exit = 1; exit <= 22; ++exit) {
            const std::size_t before = published->Profiles().size();
            collector.Tick();
            if (published->Profiles().size() != before)
                reports.push_back(exit);
        }
    });
    EXPECT_EQ((std::vector{1, 2, 4, 7, 11, 16, 22}), reports);
}

TEST(CollectorTest, ReportsEveryProfileInOrderOfAddressButNotARemovedOne) {
    CPublishedLogger published;
    CTKRuntimeLoggerProfilesCollector collector;
    std::set<CProfile*> kept;
    for (int i = 0; i < 20; ++i)
        collector.AddProfile(*kept.insert(new CProfile).first);
    const std::unique_ptr<CProfile> removed(kept.extract(std::next(kept.begin(), 7)).value());
    collector.RemoveProfile(removed.get());
    std::vector<LONG> expected, reported;
    for (CProfile* const profile : kept)
        expected.push_back(profile->line = static_cast<LONG>(expected.size()));
    OnNewThread([&] { collector.ReportAll(); });
    for (const LoggedProfile& profile : published->Profiles())
        reported.push_back(profile.line);
    EXPECT_EQ(expected, reported);
}

void TwoSites(bool leaveByException) {
    TK_PROFILE(kSource, L"TwoSites", L"");
    TK_PROFILE(kSource, L"TwoSites", L"inner");
    if (leaveByException)
        throw std::runtime_error("left");
}

TEST(TimingScopeTest, EachSiteCountsItsOwnScopesHoweverTheyAreLeft) {
    static ULONGLONG expectedCount = 0;  // figures are those of the process, and the test may be repeated
    expectedCount += 3;
    {
        CPublishedLogger published;
        OnNewThread([] {
            TwoSites(false);
            EXPECT_THROW(TwoSites(true), std::runtime_error);
        });
        OnNewThread([] { TwoSites(false); });
    }
    auto profiles = ReportOf(L"TwoSites");
    ASSERT_EQ(2u, profiles.size());
    if (profiles[0].line > profiles[1].line)
        std::swap(profiles[0], profiles[1]);
    EXPECT_GE(profiles[0].totalDuration, profiles[1].totalDuration) << "the outer scope holds the inner one";
    const LONG line = profiles[0].line;
    for (const LoggedProfile& p : profiles) {
        EXPECT_EQ((LoggedProfile{0, L"PROFILE", ::GetCurrentProcessId(), L"timing_scope_test",
                                 p.message.empty() ? line : line + 1, L"TwoSites", p.line == line ? L"" : L"inner",
                                 expectedCount, 0.0, p.maximumDuration, p.totalDuration}),
                  p);
        EXPECT_LE(p.maximumDuration, p.totalDuration);
    }
}

TEST(TimingScopeTest, ThreadsThatArriveTogetherMakeOneProfileAndNoneIfTheFirstHadNoLogger) {
    const auto contested = [] { TK_PROFILE(kSource, L"ContestedSite", L""); };
    const auto disabled = [] { TK_PROFILE(kSource, L"DisabledSite", L""); };
    OnNewThread(disabled);
    {
        CPublishedLogger published;
        OnNewThread(disabled);
        std::vector<std::future<void>> threads(8);
        for (auto& thread : threads)
            thread = std::async(std::launch::async, [&] { OnNewThread(contested); });
        for (auto& thread : threads)
            thread.get();
    }
    EXPECT_EQ(1u, ReportOf(L"ContestedSite").size());
    EXPECT_TRUE(ReportOf(L"DisabledSite").empty());
}

TEST(TimingScopeTest, LoggerMayItselfBeTimedAndFailWithoutCostingTheLastError) {
    const auto site = [] { TK_PROFILE(kSource, L"NestedSite", L""); };
    const auto logger = CRecordingLogger::Create();
    logger->onCall = [&]() -> HRESULT {
        site();
        ::SetLastError(ERROR_GEN_FAILURE);
        throw 42;
    };
    CPublishedLogger published(logger);
    OnNewThread([&] {
        for (int i = 0; i < 50; ++i) {
            ::SetLastError(ERROR_DISK_FULL);
            site();
            EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
        }
        GetProfilesCollector()->ReportAll();
    });
    EXPECT_FALSE(logger->Profiles().empty());
}

}  // namespace
