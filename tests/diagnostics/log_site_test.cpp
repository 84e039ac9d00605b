#include "diagnostics/LogSite.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"log_site_test"};

int g_evaluated = 0;
int Evaluated() {
    return ++g_evaluated;
}

TEST(SeverityNameTest, NamesTheFiveSeveritiesAndNoOthers) {
    const std::pair<LONG, const wchar_t*> cases[] = {{0, L"DEBUG"},
                                                     {1, L"INFO"},
                                                     {2, L"WARN"},
                                                     {3, L"ERROR"},
                                                     {4, L"FATAL"},
                                                     {-1, L""},
                                                     {5, L""},
                                                     {7, L""},
                                                     {std::numeric_limits<LONG>::min(), L""},
                                                     {std::numeric_limits<LONG>::max(), L""}};
    for (const auto& [severity, name] : cases)
        EXPECT_STREQ(name, SeverityName(severity)) << severity;
}

TEST(FormatLogStringTest, FormatsAsTheWindowsWidePrintfDoes) {
    EXPECT_EQ(L"", FormatLogString(L""));
    EXPECT_EQ(L"100%", FormatLogString(L"100%%"));
    EXPECT_EQ(L"wide narrow -7 0x0000ABCD", FormatLogString(L"%s %S %d 0x%08X", L"wide", "narrow", -7, 0xABCDu));
    EXPECT_EQ(L"9223372036854775807", FormatLogString(L"%I64d", std::numeric_limits<std::int64_t>::max()));
}

TEST(FormatLogStringTest, HasNoLengthLimit) {
    const std::wstring longName(1000000, L'\u6587');
    EXPECT_EQ(L"<" + longName + L">", FormatLogString(L"<%s>", longName.c_str()));
}

TEST(LogSiteTest, RecordCarriesTheSiteTheProcessAndTheThread) {
    CPublishedLogger published;
    ASSERT_TRUE(published.IsPublished());
    LoggedRecord expected{kInfo,   L"TestModule", ::GetCurrentProcessId(), 0, L"log_site_test", 0,
                          L"Site", L"Loading: x"};
    OnNewThread([&] {
        expected.threadId = ::GetCurrentThreadId();
        expected.line = __LINE__ + 1;
        TK_LOG(kSource, kInfo, L"Site", L"Loading: %s", L"x");
    });
    EXPECT_EQ(std::vector{expected}, published->Records());
}

TEST(LogSiteTest, ThreadWithoutLoggerEvaluatesNothingAndNeverLooksAgain) {
    OnNewThread([] {
        EXPECT_EQ(nullptr, GetLoggerAPI());
        CPublishedLogger publishedTooLate;
        g_evaluated = 0;
        TK_LOG(kSource, kFatal, L"Site", L"%d", Evaluated());
        EXPECT_EQ(0, g_evaluated);
        EXPECT_EQ(nullptr, GetLoggerAPI());
        EXPECT_EQ(nullptr, ThreadLogger());
        EXPECT_TRUE(publishedTooLate->Records().empty());
    });
}

TEST(LogSiteTest, ThreadKeepsTheLoggerThatItFoundFirst) {
    const auto first = CRecordingLogger::Create();
    OnNewThread([&] {
        ITKRuntimeLoggerAPI* frontEnd = nullptr;
        {
            CPublishedLogger published(first);
            frontEnd = GetLoggerAPI();
        }
        ASSERT_NE(nullptr, frontEnd);
        CPublishedLogger second;
        TK_LOG(kSource, kInfo, L"Site", L"again");
        EXPECT_EQ(frontEnd, GetLoggerAPI());
        EXPECT_TRUE(second->Records().empty());
    });
    EXPECT_EQ(std::vector<std::wstring>{L"again"}, first->Messages());
}

TEST(LogSiteTest, EachThreadHasAFrontEndOfItsOwn) {
    CPublishedLogger published;
    ITKRuntimeLoggerAPI* first = nullptr;
    OnNewThread([&] { first = GetLoggerAPI(); });
    OnNewThread([&] {
        EXPECT_NE(nullptr, GetLoggerAPI());
        EXPECT_NE(first, GetLoggerAPI());
    });
}

TEST(LogSiteTest, LoggerThatLogsWhileItIsLookedUpFindsNoLoggerYet) {
    const auto logger = CRecordingLogger::Create();
    logger->onQueryInterface = [] { TK_LOG(kSource, kInfo, L"Logger", L"from inside the search"); };
    CPublishedLogger published(logger);
    OnNewThread([] { TK_LOG(kSource, kInfo, L"Site", L"from outside"); });
    EXPECT_EQ(std::vector<std::wstring>{L"from outside"}, logger->Messages());
}

TEST(LogSiteTest, ServiceWithoutTheSinkInterfaceIsNoLogger) {
    const auto logger = CRecordingLogger::Create();
    logger->offersLog = false;
    logger->offersQuestion = logger->offersDump = true;
    CPublishedLogger published(logger);
    OnNewThread([] { EXPECT_EQ(nullptr, GetLoggerAPI()); });
}

TEST(LogSiteTest, LastErrorSurvivesTheSearchAndTheRecord) {
    const auto logger = CRecordingLogger::Create();
    logger->onCall = [] { return ::SetLastError(ERROR_GEN_FAILURE), S_OK; };
    CPublishedLogger published(logger);
    OnNewThread([] {
        for (const wchar_t* message : {L"first", L"later"}) {
            ::SetLastError(ERROR_DISK_FULL);
            TK_LOG(kSource, kInfo, L"Site", L"%s", message);
            EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError()) << message;
        }
    });
    EXPECT_EQ(2u, logger->Records().size());
}

TEST(LogSiteTest, MisbehavingLoggerFailsNobody) {
    const std::function<HRESULT()> misdeeds[] = {[] { return E_FAIL; }, []() -> HRESULT { throw 42; }};
    for (const auto& misdeed : misdeeds) {
        const auto logger = CRecordingLogger::Create();
        logger->onCall = misdeed;
        CPublishedLogger published(logger);
        OnNewThread([] {
            EXPECT_NO_THROW(TK_LOG(kSource, kInfo, L"Site", L"one"));
            EXPECT_NO_THROW(TK_LOG(kSource, kInfo, L"Site", L"two"));
        });
        EXPECT_EQ((std::vector<std::wstring>{L"one", L"two"}), logger->Messages());
    }
}

}  // namespace
