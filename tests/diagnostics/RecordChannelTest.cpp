// Records that go to another process through shared memory.
#include "diagnostics/CTKRuntimeLoggerAPI.h"
#include "tests/diagnostics/CLoggerPeer.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTypeLibrary.h"

#include <iostream>
#include <optional>
#include <thread>

using namespace TKRuntimeLogger;

namespace {

using Texts = std::vector<std::wstring>;

#ifdef NDEBUG
constexpr LONG kMany = 1'000'000;
#else
constexpr LONG kMany = 100'000;
#endif
constexpr int kThreads = 4;

LONG Ask(ITKRuntimeLoggerAPI& api, const wchar_t* question) {
    return api.AskQuestion(1, L"cat", L"file", 12, L"func", question, nullptr, -5, false);
}

struct RecordChannelTest : ::testing::Test {
    const CTypeLibrary typeLibrary{};
    std::optional<CLoggerPeer> peer{L"serve-channel"};
    Microsoft::WRL::ComPtr<CRecordingLogger> file = CRecordingLogger::Create();  // stands for the log file
    LONG next = 0;                                                               // line of the next record

    void Log(ITKRuntimeLoggerAPI& api, const wchar_t* message) {
        api.Log(1, L"category", L"SourceFile", next++, L"CClass::Function", message);
    }
    // Runs `body` with the front end of a new thread.
    void WithFrontEnd(const std::function<void(CTKRuntimeLoggerAPI&)>& body) {
        OnNewThread([&] {
            next = 0;
            CTKRuntimeLoggerAPI api(file.Get());
            EXPECT_TRUE(api.UsesService());
            body(api);
        });
    }
};

TEST_F(RecordChannelTest, AMillionRecordsOfOneProcessComeInOrderAndNoneIsLost) {
    const ULONGLONG began = ::GetTickCount64();
    CLoggerPeer writer(L"write " + std::to_wstring(kMany / kThreads) + L" " + std::to_wstring(kThreads));
    std::cout << kMany * 1000ull / (::GetTickCount64() - began) << " records a second\n";
    EXPECT_EQ(0u, writer.AwaitEnd());
    WithFrontEnd([](auto& api) {
        LONG count = 0;
        Await([&] { return (count = Ask(api, L"count")) >= kMany; });
        EXPECT_EQ(kMany, count);
        EXPECT_EQ(0, Ask(api, L"wrong"));
    });
}

TEST_F(RecordChannelTest, QuestionsAndRecordsTooBigForItComeAfterWhatWasWrittenBefore) {
    WithFrontEnd([this](auto& api) {
        const std::wstring big(150'000, L'x');
        for (int i = 0; i < 3; ++i) {
            Log(api, L"small");
            Log(api, big.c_str());
        }
        Log(api, nullptr);
        EXPECT_EQ(7, Ask(api, L"count"));
        EXPECT_EQ(0, Ask(api, L"wrong"));
    });
    EXPECT_EQ(Texts{}, file->Messages());
}

TEST_F(RecordChannelTest, AThreadWithoutAnApartmentLogsOn) {
    std::thread([&] {
        std::optional<CTestApartment> apartment(COINIT_APARTMENTTHREADED);
        CTKRuntimeLoggerAPI api(file.Get());
        Log(api, L"within");
        apartment.reset();
        Log(api, L"outside");
        apartment.emplace(COINIT_APARTMENTTHREADED);
        Log(api, L"back");
        EXPECT_EQ(3, Ask(api, L"count"));
    }).join();
    EXPECT_EQ(Texts{}, file->Messages());
}

TEST_F(RecordChannelTest, AKilledServiceCostsASecondOfRecordsAtMost) {
    WithFrontEnd([&](auto& api) {
        Log(api, L"one");
        peer->Kill();
        const base::CDeadline soon(15'000);  // a second; the machine may be busy
        for (const base::CDeadline limit(kLongMs); file->Messages().empty() && !limit.IsOver(); ::Sleep(20))
            Log(api, L"two");
        EXPECT_FALSE(soon.IsOver());
        EXPECT_FALSE(api.UsesService());
        peer.emplace(L"serve-channel");
        Log(api, L"three");
    });
    EXPECT_EQ((Texts{L"two", L"three"}), file->Messages());
}

TEST_F(RecordChannelTest, ANewServiceTakesThePlaceOfAKilledOne) {
    WithFrontEnd([&](auto& api) {
        Log(api, L"one");
        peer.emplace(L"serve-channel");
        Await([&] {
            Log(api, L"two");
            ::Sleep(20);
            return Ask(api, L"count") > 0;
        });
    });
    EXPECT_EQ(Texts{}, file->Messages());
}

TEST_F(RecordChannelTest, AModuleThatIsUnloadedTakesItsChannelAlong) {
    WithFrontEnd([](auto& api) {
        EXPECT_EQ(1, Ask(api, L"channels"));
        {
            const base::CAutoLibrary module(::LoadLibraryW(L"diagnostics_module.dll"));
            const auto log = reinterpret_cast<void (*)(const wchar_t*)>(
                reinterpret_cast<void*>(::GetProcAddress(module.Get(), "LogFromModule")));
            ASSERT_TRUE(log);
            OnNewThread([&] { log(L"from a module"); });
            EXPECT_EQ(2, Ask(api, L"channels"));
        }
        Await([&] { return Ask(api, L"channels") == 1; });
    });
}

TEST_F(RecordChannelTest, AFrozenServiceKeepsAWriterForASecondAndNewThreadsNotAtAll) {
    WithFrontEnd([&](auto& api) {
        Log(api, L"one");
        EXPECT_EQ(1, Ask(api, L"count"));
        peer->Freeze();
        ULONGLONG longest = 0;
        for (int i = 0; i < 100'000 && api.UsesService(); ++i) {
            const ULONGLONG began = ::GetTickCount64();
            Log(api, L"flood");
            longest = std::max(longest, ::GetTickCount64() - began);
        }
        EXPECT_FALSE(api.UsesService());
        EXPECT_LE(900u, longest) << "it wasn't waited for";
        EXPECT_GT(kLongMs / 2, longest);
        EXPECT_EQ(Texts{L"flood"}, file->Messages());
        std::thread([&] {
            const CTestApartment apartment(COINIT_MULTITHREADED);
            CTKRuntimeLoggerAPI other(file.Get());
            EXPECT_FALSE(other.UsesService());
        }).join();
        peer->Thaw();  // or the platform would wait for it when the last thread leaves the apartment
    });
}

TEST_F(RecordChannelTest, APlainCallAndTheChannelSideBySide) {
    constexpr int kCalls = 300;
    const auto rate = [&](const wchar_t* command, int count) {
        peer.emplace(command);
        double perSecond = 0;
        WithFrontEnd([&](auto& api) {
            LARGE_INTEGER began{}, ended{};
            ::QueryPerformanceCounter(&began);
            for (int i = 0; i < count; ++i)
                Log(api, L"a message of usual length, for a log");
            ::QueryPerformanceCounter(&ended);
            EXPECT_EQ(count, Ask(api, L"count"));
            perSecond =
                static_cast<double>(count * api.GetFrequency()) / static_cast<double>(ended.QuadPart - began.QuadPart);
        });
        std::wcout << command << L": " << perSecond << L" records a second\n";
        return perSecond;
    };
    const double calls = rate(L"serve", kCalls);
    EXPECT_LT(3 * calls, rate(L"serve-channel", 100 * kCalls));
}

}  // namespace
