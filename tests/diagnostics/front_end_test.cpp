// The front end's own operations, on a thread that finds a scripted logging service.
#include "diagnostics/CAtlException.h"
#include "diagnostics/LogSite.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/support/CRecordingLogger.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

using namespace TKRuntimeLogger;
using Microsoft::WRL::ComPtr;

namespace {

struct FrontEndTest : ::testing::Test {
    ComPtr<CRecordingLogger> logger = CRecordingLogger::Create();

    // Publishes the logger and runs `body` with the front end of a new thread.
    template <class Body>
    void WithFrontEnd(Body&& body) {
        CPublishedLogger published(logger);
        ASSERT_TRUE(published.IsPublished());
        OnNewThread([&] {
            ITKRuntimeLoggerAPI* const frontEnd = GetLoggerAPI();
            ASSERT_NE(nullptr, frontEnd);
            threadId = ::GetCurrentThreadId();
            body(*frontEnd);
        });
    }

    LoggedRecord Record(LONG severity, const wchar_t* message) const {
        return {severity, L"cat", ::GetCurrentProcessId(), threadId, L"file", 12, L"func", message};
    }

    // A question that was never asked before: answers are remembered for the life of the process.
    static std::wstring NewQuestion(const wchar_t* text) {
        static int asked = 0;
        return text + std::to_wstring(++asked);
    }

    DWORD threadId = 0;
};

TEST_F(FrontEndTest, PassesSeveritiesOnAsTheyAreAndNullTextsAsNull) {
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        api.Log(7, nullptr, nullptr, -1, nullptr, nullptr);
        api.Log(-7, L"", L"", 1, L"", L"");
    });
    const DWORD process = ::GetCurrentProcessId();
    EXPECT_EQ((std::vector<LoggedRecord>{{7, kNullText, process, threadId, kNullText, -1, kNullText, kNullText},
                                         {-7, L"", process, threadId, L"", 1, L"", L""}}),
              logger->Records());
}

TEST_F(FrontEndTest, ProfileGoesOutWithTheProcess) {
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        api.LogProfile(0, L"PROFILE", L"file", 5, L"func", nullptr, 0x100000002ull, 0.5, 1.5, 2.5);
    });
    ASSERT_EQ(1u, logger->Profiles().size());
    const LoggedProfile profile = logger->Profiles()[0];
    EXPECT_EQ(0, profile.severity);
    EXPECT_EQ(L"PROFILE", profile.category);
    EXPECT_EQ(::GetCurrentProcessId(), profile.processId);
    EXPECT_EQ(L"file", profile.file);
    EXPECT_EQ(5, profile.line);
    EXPECT_EQ(L"func", profile.function);
    EXPECT_EQ(kNullText, profile.message);
    EXPECT_EQ(0x100000002ull, profile.count);
    EXPECT_EQ(0.5, profile.firstDuration);
    EXPECT_EQ(1.5, profile.maximumDuration);
    EXPECT_EQ(2.5, profile.totalDuration);
}

TEST_F(FrontEndTest, ExplicitRecordKeepsItsNumbersAndAnyNonZeroFlagIsTrue) {
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        for (const BYTE flag : std::initializer_list<BYTE>{0, 1, 0x80})
            api.LogExplicit(2, L"cat", 0xFFFFFFFF, 11, L"file", 12, 13, L"func", L"text", flag);
    });
    std::vector<LoggedExplicit> expected;
    for (const VARIANT_BOOL flag : {VARIANT_FALSE, VARIANT_TRUE, VARIANT_TRUE})
        expected.push_back({2, L"cat", 0xFFFFFFFF, 11, L"file", 12, 13, L"func", L"text", flag});
    EXPECT_EQ(expected, logger->Explicits());
}

TEST_F(FrontEndTest, QuestionThatNobodyCanAnswerIsLoggedAndDefaultAnswered) {
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        EXPECT_EQ(3, api.AskQuestion(2, L"cat", L"file", 12, L"func", L"Go on?", L"second", 3, true));
        EXPECT_EQ(4, api.AskQuestion(2, L"cat", L"file", 12, L"func", nullptr, nullptr, 4, false));
    });
    EXPECT_EQ((std::vector{Record(2, L"Cannot ask question: Go on?"), Record(2, L"Cannot ask question: <null>")}),
              logger->Records());
}

TEST_F(FrontEndTest, QuestionReachesTheServiceWhole) {
    logger->offersQuestion = true;
    logger->onAsk = [](const LoggedRecord&) { return 42; };
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        EXPECT_EQ(42, api.AskQuestion(2, L"cat", L"file", 12, L"func", L"Go on?", L"100% %s", 3, false));
    });
    EXPECT_EQ((std::vector{std::pair{Record(2, L"Go on?"), std::wstring(L"100% %s")}}), logger->Questions());
}

TEST_F(FrontEndTest, RememberedAnswerIsAskedForOncePerDistinctQuestion) {
    struct Question {
        LONG severity;
        const wchar_t *category, *file;
        LONG line;
        const wchar_t *function, *question, *second;
    };
    const std::wstring remembered = NewQuestion(L"remembered?");
    const std::wstring another = NewQuestion(L"remembered too?");
    const Question base{1, L"cat", L"file", 1, L"func", remembered.c_str(), L"second"};
    std::vector<Question> questions(8, base);
    questions[1].severity = 2;
    questions[2].category = L"cat2";
    questions[3].file = L"file2";
    questions[4].line = 2;
    questions[5].function = L"func2";
    questions[6].question = another.c_str();
    questions[7].second = nullptr;

    LONG nextAnswer = 100;
    logger->offersQuestion = true;
    logger->onAsk = [&](const LoggedRecord&) { return nextAnswer++; };
    WithFrontEnd([&](ITKRuntimeLoggerAPI& api) {
        for (int round = 0; round < 2; ++round) {
            for (std::size_t i = 0; i < questions.size(); ++i) {
                const Question& q = questions[i];
                EXPECT_EQ(100 + static_cast<LONG>(i), api.AskQuestion(q.severity, q.category, q.file, q.line,
                                                                      q.function, q.question, q.second, -1, true))
                    << "question " << i << " in round " << round;
            }
        }
        // Without the flag, the cache is neither read nor written.
        EXPECT_EQ(108, api.AskQuestion(1, L"cat", L"file", 1, L"func", remembered.c_str(), L"second", -1, false));
        EXPECT_EQ(100, api.AskQuestion(1, L"cat", L"file", 1, L"func", remembered.c_str(), L"second", -1, true));
    });
    // The cache is the process's, not the thread's.
    WithFrontEnd([&](ITKRuntimeLoggerAPI& api) {
        EXPECT_EQ(100, api.AskQuestion(1, L"cat", L"file", 1, L"func", remembered.c_str(), L"second", -1, true));
    });
}

TEST_F(FrontEndTest, FailedQuestionGivesTheDefaultAndIsAskedAgain) {
    logger->offersQuestion = true;
    logger->onAsk = [](const LoggedRecord&) { return 42; };
    const std::wstring question = NewQuestion(L"failed at first?");
    bool fail = true;
    logger->onCall = [&]() -> HRESULT { return fail ? throw 1 : S_OK; };
    WithFrontEnd([&](ITKRuntimeLoggerAPI& api) {
        EXPECT_EQ(3, api.AskQuestion(1, L"cat", L"file", 1, L"func", question.c_str(), L"", 3, true));
        fail = false;
        EXPECT_EQ(42, api.AskQuestion(1, L"cat", L"file", 1, L"func", question.c_str(), L"", 3, true));
    });
}

TEST_F(FrontEndTest, CacheIsFreeForOtherThreadsWhileAPersonThinks) {
    logger->offersQuestion = true;
    const std::wstring innerQuestion = NewQuestion(L"inner?");
    const std::wstring outerQuestion = NewQuestion(L"outer?");
    logger->onAsk = [&](const LoggedRecord& record) -> LONG {
        if (record.message == innerQuestion)
            return 7;
        LONG inner = 0;
        OnNewThread([&] {
            inner = GetLoggerAPI()->AskQuestion(1, L"cat", L"file", 1, L"func", innerQuestion.c_str(), L"", -1, true);
        });
        return inner + 1;
    };
    WithFrontEnd([&](ITKRuntimeLoggerAPI& api) {
        EXPECT_EQ(8, api.AskQuestion(1, L"cat", L"file", 1, L"func", outerQuestion.c_str(), L"", -1, true));
    });
}

TEST_F(FrontEndTest, DumpTakesTheMessageAndItsAbsenceIsSaid) {
    const auto log = [](ITKRuntimeLoggerAPI& api) {
        api.LogWithDump(4, L"cat", L"file", 12, L"func", L"crashed 100%");
    };
    WithFrontEnd(log);
    const LoggedRecord withoutDump = Record(4, L"crashed 100% <a dump could not be created>");
    EXPECT_EQ(std::vector{withoutDump}, logger->Records());

    logger = CRecordingLogger::Create();
    logger->offersDump = true;
    WithFrontEnd(log);
    EXPECT_EQ(std::vector{Record(4, L"crashed 100%")}, logger->Dumps());
    EXPECT_TRUE(logger->Records().empty()) << "the service has logged it with the dump";

    logger = CRecordingLogger::Create();
    logger->offersDump = true;
    logger->onCall = [] { return E_FAIL; };
    WithFrontEnd(log);
    EXPECT_EQ(std::vector{Record(4, L"crashed 100% <a dump could not be created>")}, logger->Records());
}

TEST_F(FrontEndTest, ClockIsThePerformanceCounter) {
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        LARGE_INTEGER frequency{}, before{}, after{};
        ::QueryPerformanceFrequency(&frequency);
        ::QueryPerformanceCounter(&before);
        const LONGLONG now = api.GetTimestamp();
        ::QueryPerformanceCounter(&after);
        EXPECT_EQ(frequency.QuadPart, api.GetFrequency());
        EXPECT_LE(before.QuadPart, now);
        EXPECT_GE(after.QuadPart, now);
    });
}

// Takes address space away until no block of `bytes` is left; gives it back when destroyed.
class CScarceMemory final {
public:
    explicit CScarceMemory(std::size_t bytes) {
        m_blocks.reserve(4096);
        for (std::size_t size = std::size_t{1} << 30; size >= bytes / 2; size /= 2) {
            while (m_blocks.size() < m_blocks.capacity()) {
                void* const block = ::VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS);
                if (!block)
                    break;
                m_blocks.push_back(block);
            }
        }
    }
    CScarceMemory(const CScarceMemory&) = delete;
    CScarceMemory& operator=(const CScarceMemory&) = delete;
    ~CScarceMemory() {
        for (void* const block : m_blocks)
            ::VirtualFree(block, 0, MEM_RELEASE);
    }

private:
    std::vector<void*> m_blocks;
};

TEST_F(FrontEndTest, OutOfMemoryReachesTheLogSiteButNotWhatEndsAFunction) {
    if (sizeof(void*) > 4)
        GTEST_SKIP() << "the address space can't be exhausted";
    static constexpr LogSource kSource{L"cat", L"file"};
    WithFrontEnd([](ITKRuntimeLoggerAPI& api) {
        const std::wstring large(std::size_t{16} << 20, L'x');
        HRESULT thrown = S_OK;
        {
            const CScarceMemory scarce(large.size() * sizeof(wchar_t));
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
