#include "diagnostics/CTKRuntimeLoggerProfilesCollector.h"
#include "diagnostics/CTimingScope.h"
#include "diagnostics/LogSite.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"timing_scope_test"};

struct Figures {
    ULONGLONG count;
    double first, maximum, total;
    bool operator==(const Figures&) const = default;
};

// A front end with a clock of its own.
class CFakeFrontEnd final : public ITKRuntimeLoggerAPI {
public:
    explicit CFakeFrontEnd(LONGLONG frequency) : m_frequency(frequency) {}

    std::vector<Figures> reported;

    void Log(LONG, const wchar_t*, const wchar_t*, LONG, const wchar_t*, const wchar_t*) override {}
    void LogProfile(LONG, const wchar_t*, const wchar_t*, LONG, const wchar_t*, const wchar_t*, ULONGLONG count,
                    double first, double maximum, double total) override {
        reported.push_back({count, first, maximum, total});
    }
    void LogExplicit(LONG, const wchar_t*, ULONG, ULONG, const wchar_t*, LONG, ULONG, const wchar_t*, const wchar_t*,
                     BYTE) override {}
    LONG AskQuestion(LONG, const wchar_t*, const wchar_t*, LONG, const wchar_t*, const wchar_t*, const wchar_t*, LONG,
                     bool) override {
        return 0;
    }
    void LogWithDump(LONG, const wchar_t*, const wchar_t*, LONG, const wchar_t*, const wchar_t*) override {}
    LONGLONG GetFrequency() const noexcept override { return m_frequency; }
    LONGLONG GetTimestamp() const noexcept override { return 0; }

private:
    const LONGLONG m_frequency;
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
    const std::pair<LONGLONG, Figures> cases[] = {{10, {3, 0.0, 3.0, 6.0}}, {0, {3, 0.0, 30.0, 60.0}}};
    for (const auto& [frequency, expected] : cases) {
        CProfile profile;
        for (const LONGLONG ticks : {10, 30, 20})
            RecordElapsed(profile, ticks);
        CFakeFrontEnd frontEnd(frequency);
        ReportProfile(profile, frontEnd);
        ReportProfile(profile, frontEnd);
        EXPECT_EQ((std::vector{expected, expected}), frontEnd.reported) << "figures stay after a report";
    }
}

TEST(ProfileTest, LongRunsDoNotWrapAndBackwardClocksDoNotRaiseTheMaximum) {
    CProfile profile;
    RecordElapsed(profile, 0x100000000);
    RecordElapsed(profile, -5);
    CFakeFrontEnd frontEnd(1);
    ReportProfile(profile, frontEnd);
    EXPECT_EQ((std::vector<Figures>{{2, 0.0, 4294967296.0, 4294967291.0}}), frontEnd.reported);
}

TEST(CollectorTest, ReportsFallAfterEverGrowingIntervals) {
    CPublishedLogger published;
    CTKRuntimeLoggerProfilesCollector collector;
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
    for (LONG line = 1; line <= 20; ++line) {
        auto* const profile = new CProfile;
        profile->line = line;
        collector.AddProfile(profile);
        kept.insert(profile);
    }
    const std::unique_ptr<CProfile> removed(*std::next(kept.begin(), 7));
    kept.erase(removed.get());
    collector.RemoveProfile(removed.get());

    OnNewThread([&] { collector.ReportAll(); });
    std::vector<LONG> expected, reported;
    for (const CProfile* const profile : kept)
        expected.push_back(profile->line);
    for (const LoggedProfile& profile : published->Profiles())
        reported.push_back(profile.line);
    EXPECT_EQ(expected, reported);
}

TEST(CollectorTest, ReportingWithoutALoggerDoesNothing) {
    CTKRuntimeLoggerProfilesCollector collector;
    collector.AddProfile(new CProfile);
    OnNewThread([&] {
        collector.Tick();
        collector.ReportAll();
    });
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
    EXPECT_EQ(profiles[0].line + 1, profiles[1].line);
    EXPECT_EQ(L"", profiles[0].message);
    EXPECT_EQ(L"inner", profiles[1].message);
    for (const LoggedProfile& profile : profiles) {
        EXPECT_EQ(0, profile.severity);
        EXPECT_EQ(L"PROFILE", profile.category);
        EXPECT_EQ(L"timing_scope_test", profile.file);
        EXPECT_EQ(expectedCount, profile.count);
        EXPECT_EQ(0.0, profile.firstDuration);
        EXPECT_LE(profile.maximumDuration, profile.totalDuration);
    }
    EXPECT_GE(profiles[0].totalDuration, profiles[1].totalDuration) << "the outer scope holds the inner one";
}

void DisabledSite() {
    TK_PROFILE(kSource, L"DisabledSite", L"");
}

TEST(TimingScopeTest, SiteWhoseFirstCallerHadNoLoggerIsNeverTimed) {
    OnNewThread([] { DisabledSite(); });
    {
        CPublishedLogger published;
        OnNewThread([] {
            EXPECT_NE(nullptr, GetLoggerAPI());
            DisabledSite();
        });
    }
    EXPECT_TRUE(ReportOf(L"DisabledSite").empty());
}

void ContestedSite() {
    TK_PROFILE(kSource, L"ContestedSite", L"");
}

TEST(TimingScopeTest, ThreadsThatArriveTogetherMakeOneProfile) {
    {
        CPublishedLogger published;
        std::vector<std::future<void>> threads(8);
        std::promise<void> start;
        const std::shared_future<void> started = start.get_future().share();
        for (auto& thread : threads) {
            thread = std::async(std::launch::async, [=] {
                started.wait();
                OnNewThread([] { ContestedSite(); });
            });
        }
        start.set_value();
        for (auto& thread : threads)
            thread.get();
    }
    EXPECT_EQ(1u, ReportOf(L"ContestedSite").size());
}

void NestedInLogger() {
    TK_PROFILE(kSource, L"NestedInLogger", L"");
}

TEST(TimingScopeTest, LoggerMayItselfBeTimed) {
    const auto logger = CRecordingLogger::Create();
    logger->onCall = [] { return NestedInLogger(), S_OK; };
    CPublishedLogger published(logger);
    OnNewThread([] {
        NestedInLogger();
        GetProfilesCollector()->ReportAll();
    });
    EXPECT_FALSE(logger->Profiles().empty());
}

void FailingSite() {
    TK_PROFILE(kSource, L"FailingSite", L"");
}

TEST(TimingScopeTest, LastErrorSurvivesAScope) {
    const auto logger = CRecordingLogger::Create();
    logger->onCall = []() -> HRESULT {
        ::SetLastError(ERROR_GEN_FAILURE);
        throw 42;
    };
    CPublishedLogger published(logger);
    OnNewThread([] {
        for (int i = 0; i < 50; ++i) {
            ::SetLastError(ERROR_DISK_FULL);
            FailingSite();
            EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
        }
    });
}

}  // namespace
