// The front end's own operations, on a thread that finds a scripted logging service.
#include "diagnostics/CAtlException.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

using namespace TKRuntimeLogger;
using Microsoft::WRL::ComPtr;

namespace {

BSTR WINAPI NoString(const OLECHAR*) {
    return nullptr;
}

struct FrontEndTest : ::testing::Test {
    ComPtr<CRecordingLogger> logger = CRecordingLogger::Create();
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
    static LONG Ask(const wchar_t* question, bool remember) {
        return GetLoggerAPI()->AskQuestion(2, L"cat", L"file", 12, L"func", question, L"100% %s", 3, remember);
    }
    // One that was never asked before: answers are remembered for the life of the process.
    static std::wstring NewQuestion() {
        static int asked = 0;
        return L"Go on? " + std::to_wstring(++asked);
    }
};

TEST_F(FrontEndTest, RecordsGoOutAsTheyAreAndNullTextsAsNull) {
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        api.Log(7, nullptr, nullptr, -1, nullptr, nullptr);
        api.Log(-7, L"", L"", 1, L"", L"");
        for (const BYTE flag : std::initializer_list<BYTE>{0, 1, 0x80})  // any other than zero is true
            api.LogExplicit(2, L"cat", 0xFFFFFFFF, 11, L"file", 12, 13, L"func", nullptr, flag);
    });
    EXPECT_EQ((std::vector<LoggedRecord>{{7, kNullText, process, threadId, kNullText, -1, kNullText, kNullText},
                                         {-7, L"", process, threadId, L"", 1, L"", L""}}),
              logger->Records());
    std::vector<LoggedExplicit> expected;
    for (const VARIANT_BOOL flag : {VARIANT_FALSE, VARIANT_TRUE, VARIANT_TRUE})
        expected.push_back({2, L"cat", 0xFFFFFFFF, 11, L"file", 12, 13, L"func", kNullText, flag});
    EXPECT_EQ(expected, logger->Explicits());
}

TEST_F(FrontEndTest, QuestionIsDefaultAnsweredAndForgottenWhenNobodyCanAnswer) {
    const std::wstring question = NewQuestion();
    const auto expectAnswer = [&](LONG answer) {
        WithFrontEnd([&](ITKRuntimeLoggerAPI&) { EXPECT_EQ(answer, Ask(question.c_str(), true)); });
    };
    expectAnswer(3);
    WithFrontEnd([&](ITKRuntimeLoggerAPI&) { EXPECT_EQ(3, Ask(nullptr, true)); });
    EXPECT_EQ((std::vector{L"Cannot ask question: " + question, std::wstring(L"Cannot ask question: <null>")}),
              logger->Messages());
    logger->offersQuestion = true;
    logger->onAsk = [](const LoggedRecord&) { return 42; };
    logger->onCall = []() -> HRESULT { throw 1; };
    expectAnswer(3);
    logger->onCall = nullptr;
    expectAnswer(42);
    EXPECT_EQ((std::pair{Record(2, question.c_str()), std::wstring(L"100% %s")}), logger->Questions().back());
}

TEST_F(FrontEndTest, RememberedAnswerIsAskedForOncePerDistinctQuestionInTheProcess) {
    const std::wstring question = NewQuestion(), another = NewQuestion();
    // Asks the base question, or one that differs in one thing.
    const auto ask = [&](int change, bool remember = true) {
        return GetLoggerAPI()->AskQuestion(change == 1 ? 2 : 1, change == 2 ? L"cat2" : L"cat",
                                           change == 3 ? L"file2" : L"file", change == 4 ? 2 : 1,
                                           change == 5 ? L"func2" : L"func", (change == 6 ? another : question).c_str(),
                                           change == 7 ? nullptr : L"second", -1, remember);
    };
    LONG nextAnswer = 100;
    logger->offersQuestion = true;
    logger->onAsk = [&](const LoggedRecord&) { return nextAnswer++; };
    for (int thread = 0; thread < 2; ++thread) {
        WithFrontEnd([&](ITKRuntimeLoggerAPI&) {
            for (int change = 0; change < 8; ++change)
                EXPECT_EQ(100 + change, ask(change)) << thread;
            EXPECT_EQ(108 + thread, ask(0, false)) << "memory is neither read nor written";
            EXPECT_EQ(100, ask(0));
        });
    }
}

TEST_F(FrontEndTest, OtherThreadsMayAskWhileAPersonThinks) {
    const std::wstring inner = NewQuestion(), outer = NewQuestion();
    logger->offersQuestion = true;
    logger->onAsk = [&](const LoggedRecord& record) -> LONG {
        if (record.message == outer)
            OnNewThread([&] { EXPECT_EQ(7, Ask(inner.c_str(), true)); });
        return 7;
    };
    WithFrontEnd([&](ITKRuntimeLoggerAPI&) { EXPECT_EQ(7, Ask(outer.c_str(), true)); });
}

TEST_F(FrontEndTest, DumpTakesTheMessageAndItsAbsenceIsSaid) {
    using Expected = std::vector<LoggedRecord>;
    for (const auto& [offersDump, result] : {std::pair{false, S_OK}, {true, S_OK}, {true, E_FAIL}}) {
        logger = CRecordingLogger::Create();
        logger->offersDump = offersDump;
        logger->onCall = [hr = result] { return hr; };
        WithFrontEnd(
            [](ITKRuntimeLoggerAPI& api) { api.LogWithDump(4, L"cat", L"file", 12, L"func", L"crashed %d%%", 100); });
        const Expected absence(!offersDump || FAILED(result), Record(4, L"crashed 100% <a dump could not be created>"));
        EXPECT_EQ(Expected(offersDump, Record(4, L"crashed 100%")), logger->Dumps());
        EXPECT_EQ(absence, logger->Records());
    }
}

TEST_F(FrontEndTest, OutOfMemoryReachesTheLogSiteButNotWhatEndsAFunction) {
    static constexpr LogSource kSource{L"cat", L"file"};
    WithFrontEnd([&](ITKRuntimeLoggerAPI& api) {
        const CImportHook hook("SysAllocString", &NoString);
        ASSERT_TRUE(hook.IsSet());
        HRESULT hr = S_OK;
        try {
            api.Log(1, L"cat", L"file", 1, L"func", L"text");
        } catch (const CAtlException& exception) {
            hr = exception.m_hr;
        }
        EXPECT_EQ(E_OUTOFMEMORY, hr);
        { const CExitScopeGuard guard(kError, kSource, 1, L"func", L"detail", &hr); }
        LogFailedCall(kSource, 1, L"func", hr, L"description", L"text");
        LogError(kSource, 1, L"func", L"text");
        CWatchedValue<bool>(kSource, L"Pin", L"flag", false).Set(true, L"func", 1);
    });
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) { api.Log(1, L"cat", L"file", 12, L"func", L"afterwards"); });
    EXPECT_EQ(std::vector{Record(1, L"afterwards")}, logger->Records());
}

}  // namespace
