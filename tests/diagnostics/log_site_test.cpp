#include "diagnostics/LogSite.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

using namespace TKRuntimeLogger;

namespace {

constexpr LogSource kSource{L"TestModule", L"log_site_test"};

TEST(FormatLogStringTest, FormatsAsTheWindowsWidePrintfDoesWithoutALengthLimit) {
    EXPECT_EQ(L"", FormatLogString(L""));
    EXPECT_EQ(L"wide narrow -7 0x0000ABCD 100%",
              FormatLogString(L"%s %S %d 0x%08X 100%%", L"wide", "narrow", -7, 0xABCDu));
    EXPECT_EQ(L"9223372036854775807", FormatLogString(L"%I64d", INT64_MAX));
    const std::wstring longName(1000000, L'\u6587');
    EXPECT_EQ(L"<" + longName + L">", FormatLogString(L"<%s>", longName.c_str()));
}

TEST(LogSiteTest, ThreadWithoutLoggerEvaluatesNothingAndNeverLooksAgain) {
    OnNewThread([] {
        EXPECT_EQ(nullptr, GetLoggerAPI());
        CPublishedLogger publishedTooLate;
        int evaluated = 0;
        TK_LOG(kSource, kFatal, L"Site", L"%d", ++evaluated);
        EXPECT_EQ(0, evaluated);
        EXPECT_EQ(nullptr, ThreadLogger());
        EXPECT_TRUE(publishedTooLate->Records().empty());
    });
}

TEST(LogSiteTest, ThreadKeepsTheLoggerThatItFoundFirstAndSharesItWithNoOther) {
    const auto first = CRecordingLogger::Create();
    OnNewThread([&] {
        ITKRuntimeLoggerAPI *frontEnd = nullptr, *anothers = nullptr;
        {
            CPublishedLogger published(first);
            frontEnd = GetLoggerAPI();
            OnNewThread([&] { anothers = GetLoggerAPI(); });
        }
        ASSERT_TRUE(frontEnd && anothers);
        EXPECT_NE(frontEnd, anothers);
        CPublishedLogger second;
        TK_LOG(kSource, kInfo, L"Site", L"again");
        EXPECT_EQ(frontEnd, GetLoggerAPI());
        EXPECT_TRUE(second->Records().empty());
    });
    EXPECT_EQ(std::vector<std::wstring>{L"again"}, first->Messages());
}

TEST(LogSiteTest, LoggerThatLogsWhileItIsLookedUpFindsNoLoggerAndOneWithoutTheSinkInterfaceIsNone) {
    for (const bool offersLog : {true, false}) {
        const auto logger = CRecordingLogger::Create();
        logger->offersLog = offersLog;
        logger->offersQuestion = logger->offersDump = true;
        logger->onQueryInterface = [] { TK_LOG(kSource, kInfo, L"Logger", L"from inside the search"); };
        CPublishedLogger published(logger);
        OnNewThread([&] {
            TK_LOG(kSource, kInfo, L"Site", L"from outside");
            EXPECT_EQ(offersLog, GetLoggerAPI() != nullptr);
        });
        EXPECT_EQ(std::vector<std::wstring>(offersLog, L"from outside"), logger->Messages());
    }
}

TEST(LogSiteTest, MisbehavingLoggerFailsNobodyAndLastErrorSurvives) {
    for (const bool throws : {false, true}) {
        const auto logger = CRecordingLogger::Create();
        logger->onCall = [&] { return ::SetLastError(ERROR_GEN_FAILURE), throws ? throw 42 : E_FAIL; };
        CPublishedLogger published(logger);
        OnNewThread([] {
            for (const wchar_t* message : {L"first", L"later"}) {
                ::SetLastError(ERROR_DISK_FULL);
                EXPECT_NO_THROW(TK_LOG(kSource, kInfo, L"Site", L"%s", message));
                EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError()) << message;
            }
        });
        EXPECT_EQ((std::vector<std::wstring>{L"first", L"later"}), logger->Messages());
    }
}

}  // namespace
