#include "diagnostics/CTKRuntimeLoggerProfilesCollector.h"
#include "diagnostics/CTimingScope.h"
#include "diagnostics/LogSite.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CSecondCall.h"

#include <algorithm>
#include <thread>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"TimingScopeTest"};

// What was reported of the sites of `function`; any finished scope may be the moment to report all others as well.
std::vector<LoggedProfile> Reported(const CPublishedLogger& published, const std::wstring& function) {
    std::vector<LoggedProfile> profiles = published->Profiles();
    std::erase_if(profiles, [&](const LoggedProfile& profile) { return profile.function != function; });
    return profiles;
}

// Everything that the process-wide collector knows of the sites of `function`.
std::vector<LoggedProfile> ReportOf(const std::wstring& function) {
    CPublishedLogger published;
    OnNewThread([] { GetProfilesCollector()->ReportAll(); });
    return Reported(published, function);
}

TEST(ProfileTest, DurationsAreInSeconds) {
    CPublishedLogger published;
    OnNewThread([] {
        CProfile profile;
        profile.function = L"Durations";
        for (const LONGLONG seconds : {1'000'000, 3, -1, 2})  // clocks may step back
            RecordElapsed(profile, seconds * ThreadLogger()->GetFrequency());
        EXPECT_EQ(4u, profile.exitsSinceReport.load());
        ReportProfile(profile);
        ReportProfile(profile);
    });
    const auto profiles = Reported(published, L"Durations");
    ASSERT_EQ(2u, profiles.size());
    EXPECT_EQ(profiles[0], profiles[1]) << "figures stay after a report";
    EXPECT_EQ(4u, profiles[0].count);
    EXPECT_EQ(0.0, profiles[0].firstDuration);
    EXPECT_EQ(1'000'000.0, profiles[0].maximumDuration);
    EXPECT_EQ(1'000'004.0, profiles[0].totalDuration);
}

TEST(CollectorTest, ReportsEveryProfileAfterEverGrowingIntervals) {
    CTKRuntimeLoggerProfilesCollector collector;
    for (int i = 0; i < 3; ++i)
        collector.AddProfile(new CProfile);
    OnNewThread([&] { collector.ReportAll(); });  // without a logger

    CPublishedLogger published;
    std::vector<int> reports;
    OnNewThread([&] {
        for (int exit = 1; exit <= 22; ++exit) {
            collector.Tick();
            if (published->Profiles().size() == 3 * (reports.size() + 1))
                reports.push_back(exit);
        }
    });
    EXPECT_EQ((std::vector{1, 2, 4, 7, 11, 16, 22}), reports);

    const auto change = [&, profile = new CProfile] { collector.AddProfile(profile); };
    EXPECT_FALSE(EndsBeside(change, [&] { collector.ReportAll(); }));
    CProfile gone;
    EXPECT_FALSE(EndsBeside([&, profile = new CProfile] { collector.AddProfile(profile); },
                            [&] { collector.RemoveProfile(&gone); }));
}

void TwoSites(bool leaveByException) {
    TK_PROFILE(kSource, L"TwoSites", L"");
    TK_PROFILE(kSource, L"TwoSites", L"inner");
    if (leaveByException)
        throw 42;
}

TEST(TimingScopeTest, EachSiteCountsItsOwnScopesHoweverTheyAreLeft) {
    {
        CPublishedLogger published;
        OnNewThread([] { EXPECT_THROW(TwoSites(true), int); });
        OnNewThread([] { TwoSites(false); });
    }
    auto profiles = ReportOf(L"TwoSites");
    ASSERT_EQ(2u, profiles.size());
    std::ranges::sort(profiles, {}, &LoggedProfile::line);
    const LoggedProfile &outer = profiles[0], &inner = profiles[1];
    EXPECT_EQ((LoggedProfile{kDebug, L"PROFILE", ::GetCurrentProcessId(), L"TimingScopeTest", outer.line + 1,
                             L"TwoSites", L"inner", outer.count, 0.0, inner.maximumDuration, inner.totalDuration}),
              inner);
    EXPECT_EQ(0u, inner.count % 2);  // figures are those of the process, and the test may be repeated
    EXPECT_GE(outer.totalDuration, inner.totalDuration);
}

TEST(TimingScopeTest, ThreadsThatArriveTogetherMakeOneProfileIfTheFirstHasALogger) {
    const auto disabled = [] { TK_PROFILE(kSource, L"DisabledSite", L""); };
    OnNewThread(disabled);
    {
        CPublishedLogger published;
        OnNewThread(disabled);
        OnNewThread([] {
            ASSERT_NE(nullptr, GetLoggerAPI());
            CProfileSite site;  // decided anew each time that the test runs
            const auto decide = [&] { return site.Profile(kSource, __LINE__, L"ContestedSite", L""); };
            const CProfile* profiles[2]{};
            EXPECT_FALSE(
                EndsBeside([&] { profiles[0] = decide(); }, [&] { OnNewThread([&] { profiles[1] = decide(); }); }));
            EXPECT_TRUE(profiles[0] && profiles[0] == profiles[1]);
        });
    }
    EXPECT_TRUE(ReportOf(L"DisabledSite").empty());
}

TEST(TimingScopeTest, ALoggerMayItselfBeTimed) {
    const auto site = [] { TK_PROFILE(kSource, L"NestedSite", L""); };
    const auto logger = CRecordingLogger::Create();
    logger->onCall = [&] { return site(), ::SetLastError(ERROR_GEN_FAILURE), E_FAIL; };
    CPublishedLogger published(logger);
    OnNewThread([&] {
        ::SetLastError(ERROR_DISK_FULL);
        site();
        EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
        GetProfilesCollector()->ReportAll();
    });
    EXPECT_FALSE(logger->Profiles().empty());
}

}  // namespace
