// Services that end, hang or can't be reached any more, and what the thread does then.
#include "diagnostics/CTKRuntimeLoggerAPI.h"
#include "diagnostics/LogSite.h"
#include "tests/diagnostics/CLoggerPeer.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTypeLibrary.h"

#include <atomic>
#include <optional>
#include <thread>

using namespace TKRuntimeLogger;

namespace {

using Texts = std::vector<std::wstring>;

void Log(ITKRuntimeLoggerAPI& api, const wchar_t* message) {
    api.Log(1, L"cat", L"file", 12, L"func", message);
}
LONG Ask(ITKRuntimeLoggerAPI& api, const wchar_t* question) {
    return api.AskQuestion(1, L"cat", L"file", 12, L"func", question, nullptr, -5, false);
}

struct LostServiceTest : ::testing::Test {
    Microsoft::WRL::ComPtr<CRecordingLogger> service = CRecordingLogger::Create();
    Microsoft::WRL::ComPtr<CRecordingLogger> file = CRecordingLogger::Create();  // stands for the log file

    // Runs `body` on a new thread with a front end that has found what is published.
    void WithFrontEnd(const std::function<void(CTKRuntimeLoggerAPI&)>& body, ITKRuntimeLogger* fallback) {
        OnNewThread([&] {
            CTKRuntimeLoggerAPI api(fallback);
            EXPECT_TRUE(api.UsesService());
            body(api);
        });
    }
    void WithFrontEnd(const std::function<void(CTKRuntimeLoggerAPI&)>& body) { WithFrontEnd(body, file.Get()); }
};

TEST_F(LostServiceTest, EveryCallWhoseConnectionIsLostEndsTheUse) {
    for (const HRESULT lost : {HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE), HRESULT_FROM_WIN32(RPC_S_CALL_FAILED),
                               HRESULT_FROM_WIN32(RPC_S_CALL_FAILED_DNE), RPC_E_DISCONNECTED, RPC_E_SERVER_DIED,
                               RPC_E_SERVER_DIED_DNE, CO_E_OBJNOTCONNECTED}) {
        SCOPED_TRACE(lost);
        service = CRecordingLogger::Create();
        file = CRecordingLogger::Create();
        service->onCall = [&] { return lost; };
        service->offersQuestion = service->offersDump = true;
        const CPublishedLogger published(service);
        const auto lose = [&](const std::function<void(CTKRuntimeLoggerAPI&)>& call) {
            WithFrontEnd([&](auto& api) {
                call(api);
                Log(api, L"later");
            });
        };
        lose([](auto& api) { Log(api, L"lost"); });
        lose([](auto& api) { EXPECT_EQ(-5, Ask(api, L"Go on?")); });
        lose([](auto& api) { api.LogWithDump(1, L"", L"", 1, L"", L"bad"); });
        lose([](auto& api) { api.LogProfile(0, L"", L"", 1, L"", L"", 2, 0, 0, 0); });
        EXPECT_EQ((Texts{L"lost", L"later", L"Cannot ask question: Go on?", L"later",
                         L"bad <a dump could not be created>", L"later", L"later"}),
                  file->Messages());
        // Tried once more with what the table has, and no third time.
        EXPECT_EQ((Texts{L"lost", L"lost"}), service->Messages());
        EXPECT_EQ(2u, service->Questions().size());
        EXPECT_EQ(2u, service->Dumps().size());
        EXPECT_EQ(2u, service->Profiles().size());
    }
}

TEST_F(LostServiceTest, OtherFailuresAndSlowCallsWithinTheProcessEndNothing) {
    service->onCall = []() -> HRESULT {
        ::Sleep(1100);
        return E_ACCESSDENIED;
    };
    const CPublishedLogger published(service);
    WithFrontEnd([](auto& api) {
        Log(api, L"slow");
        Log(api, L"again");
    });
    EXPECT_EQ((Texts{L"slow", L"again"}), service->Messages());
    EXPECT_EQ(Texts{}, file->Messages());
}

TEST_F(LostServiceTest, ARecordFromWithinTheSearchGoesToTheFile) {
    service->onCall = [] { return RPC_E_DISCONNECTED; };
    CTKRuntimeLoggerAPI* front = nullptr;
    service->onQueryInterface = [&] {
        if (front)
            Log(*front, L"within");
    };
    const CPublishedLogger published(service);
    WithFrontEnd([&](auto& api) {
        front = &api;
        Log(api, L"lost");
    });
    Texts messages = file->Messages();
    ASSERT_LT(1u, messages.size());
    EXPECT_EQ(L"lost", messages.back());
    messages.pop_back();
    EXPECT_EQ(Texts(messages.size(), L"within"), messages);
}

TEST_F(LostServiceTest, WithoutAFileTheThreadsLogSitesAreOff) {
    OnNewThread([&] {
        service->onCall = [] { return RPC_E_DISCONNECTED; };
        std::optional<CPublishedLogger> published(service);
        ITKRuntimeLoggerAPI* const api = GetLoggerAPI();
        ASSERT_NE(nullptr, api);
        published.reset();
        Log(*api, L"lost");
        EXPECT_EQ(Texts{L"lost"}, service->Messages());
        EXPECT_EQ(nullptr, GetLoggerAPI());
        Log(*api, L"held from before");
    });
}

struct OtherProcessTest : LostServiceTest {
    const CTypeLibrary typeLibrary{};
    std::optional<CLoggerPeer> peer{L"serve"};
};

TEST_F(OtherProcessTest, AKilledServiceLosesNoRecordToComeAndANewOneIsTaken) {
    WithFrontEnd([&](auto& api) {
        Log(api, L"one");
        EXPECT_EQ(1, Ask(api, L"count"));
        peer.emplace(L"serve");
        Log(api, L"two");
        EXPECT_EQ(1, Ask(api, L"count")) << "of the new one";
        peer->Kill();
        Log(api, L"three");
        Log(api, L"four");
    });
    EXPECT_EQ((Texts{L"three", L"four"}), file->Messages());
}

TEST_F(OtherProcessTest, AServiceThatDiesInACallLeavesTheRecordForTheFile) {
    WithFrontEnd([](auto& api) {
        Log(api, L"die");
        Log(api, L"later");
    });
    EXPECT_EQ((Texts{L"die", L"later"}), file->Messages());
    peer.emplace(L"serve");
    WithFrontEnd([](auto& api) { EXPECT_EQ(-5, Ask(api, L"die")); });
    EXPECT_EQ(L"Cannot ask question: die", file->Messages().back());
}

TEST_F(OtherProcessTest, ASlowRecordIsTheLastASlowQuestionIsNot) {
    WithFrontEnd([](auto& api) {
        EXPECT_EQ(0, Ask(api, L"slow"));
        EXPECT_EQ(0, Ask(api, L"count"));
        Log(api, L"slow");
        Log(api, L"later");
    });
    EXPECT_EQ(Texts{L"later"}, file->Messages());
    WithFrontEnd([](auto& api) { EXPECT_EQ(1, Ask(api, L"count")) << "it was delivered"; });
}

// The platform sets no limit to a call into a stopped process.
TEST_F(OtherProcessTest, AFrozenServiceHoldsACallUntilItGoesOnAndThenIsLeft) {
    WithFrontEnd([&](auto& api) {
        Log(api, L"one");
        peer->Freeze();
        std::atomic<bool> isCalling{false};
        const std::jthread thawing([&] {
            Await([&] { return isCalling.load(); });
            ::Sleep(3000);  // the call takes more than a second of these, though it may begin late
            peer->Thaw();
        });
        isCalling = true;
        Log(api, L"two");
        Log(api, L"three");
    });
    EXPECT_EQ(Texts{L"three"}, file->Messages());
    WithFrontEnd([](auto& api) { EXPECT_EQ(2, Ask(api, L"count")); });
}

TEST_F(OtherProcessTest, AThreadThatLeavesItsApartmentLogsToTheFileUntilItIsBack) {
    for (const DWORD kind : {COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED}) {
        SCOPED_TRACE(kind);
        file = CRecordingLogger::Create();
        std::thread([&] {
            std::optional<CTestApartment> apartment(kind);
            CTKRuntimeLoggerAPI api(file.Get());
            const LONG before = Ask(api, L"count");
            Log(api, L"within");
            EXPECT_EQ(before + 1, Ask(api, L"count"));
            for (const DWORD next : {COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED}) {
                apartment.reset();
                Log(api, L"outside");
                apartment.emplace(next);
                Log(api, L"back");
            }
            EXPECT_EQ(before + 3, Ask(api, L"count"));
            apartment.reset();
            Log(api, L"outside");
            peer->Kill();
            apartment.emplace(kind);
            Log(api, L"gone");
            EXPECT_FALSE(api.UsesService());
        }).join();
        EXPECT_EQ((Texts{L"outside", L"outside", L"outside", L"gone"}), file->Messages());
        peer.emplace(L"serve");
    }
}

}  // namespace
