// The front end's own operations, on a thread that finds a scripted logging service.
#include "diagnostics/CAnswerCache.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CSecondCall.h"

using namespace TKRuntimeLogger;

namespace {

struct FrontEndTest : ::testing::Test {
    Microsoft::WRL::ComPtr<CRecordingLogger> logger = CRecordingLogger::Create();
    const DWORD process = ::GetCurrentProcessId();
    DWORD threadId = 0;

    // Publishes the logger and runs `body` with the front end of a new thread.
    void WithFrontEnd(const std::function<void(ITKRuntimeLoggerAPI&)>& body) {
        CPublishedLogger published(logger);
        OnNewThread([&] {
            ASSERT_NE(nullptr, GetLoggerAPI());
            threadId = ::GetCurrentThreadId();
            body(*GetLoggerAPI());
        });
    }
    LoggedRecord Record(LONG severity, const wchar_t* message) const {
        return {severity, L"cat", process, threadId, L"file", 12, L"func", message};
    }
    // One that was never asked before: answers are remembered for the life of the process.
    static std::wstring NewQuestion() {
        static int asked = 0;
        return L"Go on? " + std::to_wstring(++asked);
    }
};

TEST_F(FrontEndTest, RecordsGoOutAsTheyAre) {
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        api.Log(7, nullptr, nullptr, -1, nullptr, nullptr);
        api.Log(-7, L"", L"", 1, L"", L"");
        api.LogExplicit(1, L"cat", 2, 3, L"file", 4, 5, L"func", L"flagged", 7);
        api.LogExplicit(1, L"cat", 2, 3, L"file", 4, 5, L"func", L"not", 0);
        LARGE_INTEGER before{}, frequency{};
        ::QueryPerformanceCounter(&before);
        ::QueryPerformanceFrequency(&frequency);
        EXPECT_LE(before.QuadPart, api.GetTimestamp());
        EXPECT_EQ(frequency.QuadPart, api.GetFrequency());
    });
    EXPECT_EQ((std::vector<LoggedRecord>{{7, kNullText, process, threadId, kNullText, -1, kNullText, kNullText},
                                         {-7, L"", process, threadId, L"", 1, L"", L""},
                                         {1, L"cat", 2, 3, L"file", 4, L"func", L"flagged 5 -1"},
                                         {1, L"cat", 2, 3, L"file", 4, L"func", L"not 5 0"}}),
              logger->Records());
}

TEST_F(FrontEndTest, AQuestionThatNobodyCanAnswerGetsTheDefault) {
    const std::wstring question = NewQuestion();
    const auto expectAnswer = [&](LONG answer) {
        WithFrontEnd([&](ITKRuntimeLoggerAPI& api) {
            EXPECT_EQ(answer, api.AskQuestion(2, L"cat", L"file", 12, L"func", question.c_str(), L"100% %s", 3, true));
        });
    };
    expectAnswer(3);
    EXPECT_EQ(std::vector{L"Cannot ask question: " + question}, logger->Messages());
    logger->offersQuestion = true;
    logger->onAsk = [](const LoggedRecord&) { return 42; };
    logger->onCall = []() -> HRESULT { throw 1; };
    expectAnswer(3);
    logger->onCall = nullptr;
    expectAnswer(42);
    EXPECT_EQ((std::pair{Record(2, question.c_str()), std::wstring(L"100% %s")}), logger->Questions().back());
}

TEST_F(FrontEndTest, WhatARefusedQueryLeavesBehindIsNoInterface) {
    for (const auto& [result, leaves] :
         {std::pair<HRESULT, void*>{E_FAIL, reinterpret_cast<void*>(16)}, {S_OK, nullptr}}) {
        logger = CRecordingLogger::Create();
        logger->refusal = result;
        logger->refusalLeaves = leaves;
        WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
            EXPECT_EQ(3, api.AskQuestion(2, L"cat", L"file", 12, L"func", nullptr, nullptr, 3, false));
            api.LogWithDump(2, L"cat", L"file", 12, L"func", L"crashed");
        });
        EXPECT_EQ((std::vector<std::wstring>{L"Cannot ask question: <null>", L"crashed <a dump could not be created>"}),
                  logger->Messages());
        logger->offersLog = false;
        CPublishedLogger published(logger);
        OnNewThread([] { EXPECT_EQ(nullptr, GetLoggerAPI()); });
    }
}

TEST_F(FrontEndTest, RememberedAnswerIsAskedForOncePerDistinctQuestion) {
    const std::wstring question = NewQuestion();
    const auto ask = [&](LONG line, const wchar_t* function, bool remember) {
        return GetLoggerAPI()->AskQuestion(2, L"cat", L"file", line, function, question.c_str(), L"", -1, remember);
    };
    LONG nextAnswer = 100;
    logger->offersQuestion = true;
    logger->onAsk = [&](const LoggedRecord&) { return nextAnswer++; };
    for (const LONG expected : {103, 104}) {
        WithFrontEnd([&](ITKRuntimeLoggerAPI&) {
            EXPECT_EQ(100, ask(1, L"func", true));
            EXPECT_EQ(101, ask(2, L"func", true));
            EXPECT_EQ(102, ask(1, nullptr, true));
            EXPECT_EQ(expected, ask(1, L"func", false)) << "memory is neither read nor written";
        });
    }
}

TEST(AnswerCacheTest, TheFirstOfTwoAnswersStays) {
    const auto key = [](LONG line) { return CAnswerCache::Key{1, L"", L"", line, L"", L"", L""}; };
    CAnswerCache cache;
    EXPECT_FALSE(EndsBeside([&] { cache.Store(key(1), 10); }, [&] { EXPECT_EQ(10, cache.Find(key(1))); }));
    EXPECT_FALSE(EndsBeside([&] { cache.Store(key(2), 20); }, [&] { cache.Store(key(2), 21); }));
    EXPECT_EQ(20, cache.Find(key(2)));
}

TEST_F(FrontEndTest, TheRecordSaysThatADumpIsMissing) {
    const auto dump = [](ITKRuntimeLoggerAPI& api) {
        api.LogWithDump(4, L"cat", L"file", 12, L"func", L"crashed %d%%", 100);
    };
    WithFrontEnd(dump);
    EXPECT_EQ(std::vector{Record(4, L"crashed 100% <a dump could not be created>")}, logger->Records());
    logger->offersDump = true;
    WithFrontEnd(dump);
    EXPECT_EQ(std::vector{Record(4, L"crashed 100%")}, logger->Dumps());
}

}  // namespace
