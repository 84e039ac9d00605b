// The front end's own operations, on a thread that finds a scripted logging service.
#include "diagnostics/CAtlException.h"
#include "diagnostics/LogSite.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <memory>

using namespace TKRuntimeLogger;
using Microsoft::WRL::ComPtr;

namespace {

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
    static LONG Ask(const std::wstring& question, bool remember) {
        return GetLoggerAPI()->AskQuestion(2, L"cat", L"file", 12, L"func", question.c_str(), L"100% %s", 3, remember);
    }
    // One that was never asked before: answers are remembered for the life of the process.
    static std::wstring NewQuestion(const wchar_t* text) {
        static int asked = 0;
        return text + std::to_wstring(++asked);
    }
};

TEST_F(FrontEndTest, RecordsGoOutAsTheyAreAndNullTextsAsNull) {
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        api.Log(7, nullptr, nullptr, -1, nullptr, nullptr);
        api.Log(-7, L"", L"", 1, L"", L"");
        api.LogProfile(0, L"PROFILE", L"file", 5, L"func", nullptr, 0x100000002ull, 0.5, 1.5, 2.5);
        for (const BYTE flag : std::initializer_list<BYTE>{0, 1, 0x80})  // any other than zero is true
            api.LogExplicit(2, L"cat", 0xFFFFFFFF, 11, L"file", 12, 13, L"func", L"text", flag);
    });
    EXPECT_EQ((std::vector<LoggedRecord>{{7, kNullText, process, threadId, kNullText, -1, kNullText, kNullText},
                                         {-7, L"", process, threadId, L"", 1, L"", L""}}),
              logger->Records());
    EXPECT_EQ((std::vector<LoggedProfile>{
                  {0, L"PROFILE", process, L"file", 5, L"func", kNullText, 0x100000002ull, 0.5, 1.5, 2.5}}),
              logger->Profiles());
    std::vector<LoggedExplicit> expected;
    for (const VARIANT_BOOL flag : {VARIANT_FALSE, VARIANT_TRUE, VARIANT_TRUE})
        expected.push_back({2, L"cat", 0xFFFFFFFF, 11, L"file", 12, 13, L"func", L"text", flag});
    EXPECT_EQ(expected, logger->Explicits());
}

TEST_F(FrontEndTest, QuestionThatNobodyCanAnswerIsLoggedAndDefaultAnswered) {
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        EXPECT_EQ(3, Ask(L"Go on?", true));
        EXPECT_EQ(4, api.AskQuestion(2, L"cat", L"file", 12, L"func", nullptr, nullptr, 4, false));
    });
    EXPECT_EQ((std::vector{Record(2, L"Cannot ask question: Go on?"), Record(2, L"Cannot ask question: <null>")}),
              logger->Records());
}

TEST_F(FrontEndTest, QuestionReachesTheServiceWholeAndAFailedOneIsAskedAgain) {
    const std::wstring question = NewQuestion(L"Go on?");
    bool fail = true;
    logger->offersQuestion = true;
    logger->onAsk = [](const LoggedRecord&) { return 42; };
    logger->onCall = [&]() -> HRESULT { return fail ? throw 1 : S_OK; };
    WithFrontEnd([&](ITKRuntimeLoggerAPI&) {
        EXPECT_EQ(3, Ask(question, true));
        fail = false;
        EXPECT_EQ(42, Ask(question, true));
    });
    const std::pair expected{Record(2, question.c_str()), std::wstring(L"100% %s")};
    EXPECT_EQ((std::vector{expected, expected}), logger->Questions());
}

TEST_F(FrontEndTest, RememberedAnswerIsAskedForOncePerDistinctQuestionInTheProcess) {
    const std::wstring question = NewQuestion(L"remembered?"), another = NewQuestion(L"remembered too?");
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
    const std::wstring inner = NewQuestion(L"inner?"), outer = NewQuestion(L"outer?");
    logger->offersQuestion = true;
    logger->onAsk = [&](const LoggedRecord& record) -> LONG {
        if (record.message == outer)
            OnNewThread([&] { EXPECT_EQ(7, Ask(inner, true)); });
        return 7;
    };
    WithFrontEnd([&](ITKRuntimeLoggerAPI&) { EXPECT_EQ(7, Ask(outer, true)); });
}

TEST_F(FrontEndTest, DumpTakesTheMessageAndItsAbsenceIsSaid) {
    for (const auto& [offersDump, result] : {std::pair{false, S_OK}, {true, S_OK}, {true, E_FAIL}}) {
        logger = CRecordingLogger::Create();
        logger->offersDump = offersDump;
        logger->onCall = [hr = result] { return hr; };
        WithFrontEnd(
            [](ITKRuntimeLoggerAPI& api) { api.LogWithDump(4, L"cat", L"file", 12, L"func", L"crashed 100%"); });
        using Expected = std::vector<LoggedRecord>;
        EXPECT_EQ(offersDump ? Expected{Record(4, L"crashed 100%")} : Expected{}, logger->Dumps());
        EXPECT_EQ(offersDump && result == S_OK ? Expected{}
                                               : Expected{Record(4, L"crashed 100% <a dump could not be created>")},
                  logger->Records());
    }
}

TEST_F(FrontEndTest, OutOfMemoryReachesTheLogSiteButNotWhatEndsAFunction) {
    if (sizeof(void*) > 4)
        GTEST_SKIP() << "the address space can't be exhausted";
    static constexpr LogSource kSource{L"cat", L"file"};
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        const std::wstring large(std::size_t{16} << 20, L'x');
        HRESULT thrown = S_OK;
        {
            const auto free = [](void* block) { ::VirtualFree(block, 0, MEM_RELEASE); };
            std::vector<std::unique_ptr<void, decltype(free)>> addressSpace;
            addressSpace.reserve(4096);
            for (std::size_t size = std::size_t{1} << 30; size >= large.size(); size /= 2) {
                while (void* const block = ::VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS))
                    addressSpace.emplace_back(block, free);
            }
            try {
                api.Log(1, L"cat", L"file", 1, L"func", large.c_str());
            } catch (const CAtlException& exception) {
                thrown = exception.m_hr;
            }
            const HRESULT hr = E_FAIL;
            { const CExitScopeGuard guard(kError, kSource, 1, L"func", large.c_str(), &hr); }
            LogFailedCall(kSource, 1, L"func", hr, L"description", large.c_str());
            LogError(kSource, 1, L"func", large.c_str());
        }
        EXPECT_EQ(E_OUTOFMEMORY, thrown);
        api.Log(1, L"cat", L"file", 1, L"func", L"afterwards");
    });
    EXPECT_EQ(std::vector<std::wstring>{L"afterwards"}, logger->Messages());
}

}  // namespace
