// The service as a process of its own, and clients that are processes of theirs.
#include "tests/logservice/ServiceTest.h"
#include "base/CDeadline.h"
#include "tests/support/CRecordingLogger.h"
#include "tests/support/CTempFolder.h"

#include <dbghelp.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>
#include <thread>

namespace {

void ExpectDumpOf(const std::filesystem::path& path, DWORD processId) {
    std::string bytes = ContentsOf(path);
    void* stream = nullptr;
    ULONG size = 0;
    ASSERT_TRUE(::MiniDumpReadDumpStream(bytes.data(), MiscInfoStream, nullptr, &stream, &size)) << bytes.size();
    MINIDUMP_MISC_INFO about{};  // it need not be aligned there
    std::memcpy(&about, stream, std::min<std::size_t>(size, sizeof about));
    EXPECT_EQ(processId, about.ProcessId);
    for (const ULONG kind : {ThreadListStream, ModuleListStream, SystemInfoStream})
        EXPECT_TRUE(::MiniDumpReadDumpStream(bytes.data(), kind, nullptr, &stream, &size) && size > 0) << kind;
}

TEST_F(ServiceTest, EveryMethodArrivesFromEitherBitnessAndApartmentAtEither) {
    const bool hasBoth = std::filesystem::exists(ServiceProgram(true)) && std::filesystem::exists(ClientProgram(true));
    for (const bool otherService : {false, true}) {
        if (otherService && !hasBoth)
            GTEST_SKIP() << "the other bitness has not been built: only four of the eight pairs were tried";
        for (const bool otherClient : {false, hasBoth}) {
            for (const wchar_t* apartment : {L"mta", L"sta"}) {
                SCOPED_TRACE(::testing::Message()
                             << otherService << otherClient << (apartment[0] == L'm' ? "mta" : "sta"));
                const CTempFolder folder;
                const std::wstring profile = folder.PathOf(L"p.csv");
                Start({L"--profile", profile}, otherService);
                CProgram client(ClientProgram(otherClient), {apartment, L"every"});
                EXPECT_EQ(0u, client.Wait()) << client.Out();
                EXPECT_TRUE(Has(client.Out(), "answer -77")) << client.Out();
                CProgram writer(ClientProgram(otherClient), {apartment, L"front", L"1000"});
                EXPECT_EQ(0u, writer.Wait()) << writer.Out();
                const std::string out = End();
                EXPECT_EQ(1000, LinesOfProcess(out, writer)) << "through the channel";
                EXPECT_EQ(1, CountOf(out, "explicit")) << out;
                EXPECT_EQ(1, CountOf(ContentsOf(profile), ",78187493520,")) << ContentsOf(profile);
                std::filesystem::remove(profile);
            }
        }
    }
}

TEST_F(ServiceTest, OneIsEnoughForASession) {
    Start();
    EXPECT_TRUE(Has(service->Err(), "Clients of any rights")) << service->Err();
    EXPECT_EQ(3u, RunProgram(ServiceProgram(), {}));
    EXPECT_TRUE(service->Runs());
    End();
    EXPECT_EQ(0u, RunProgram(ServiceProgram(), {L"--stop"})) << "there is none any more";
    Start();
    service->Kill();
    Start();  // what the killed one left behind is in nobody's way
    End();
}

TEST_F(ServiceTest, ALoggerThatAnotherProgramHasPublishedIsNotCrowdedOut) {
    {
        const CPublishedLogger other;
        EXPECT_EQ(3u, RunProgram(ServiceProgram(), {}));
    }
    Start();
    End();
}

TEST_F(ServiceTest, WhoStopsOneDoesNotStopTheNext) {
    // As if another --stop were still there: its event, and its looks at the turn.
    const base::CAutoHandle stop(::CreateEventW(nullptr, TRUE, TRUE, L"Local\\TKRuntimeLogger.Stop"));
    const base::CAutoHandle turn(::CreateMutexW(nullptr, FALSE, L"Local\\TKRuntimeLogger.Service"));
    ASSERT_TRUE(stop && turn);
    std::optional<std::jthread> looks(std::in_place, [&](const std::stop_token& end) {
        for (; !end.stop_requested(); ::Sleep(1)) {
            const DWORD waited = ::WaitForSingleObject(turn.Get(), 0);
            if (waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED) {
                ::Sleep(10);  // most of the time somebody looks
                ::ReleaseMutex(turn.Get());
            }
        }
    });
    CProgram starts(ServiceProgram(), {});
    Await([&] { return Has(starts.Err(), "TKRuntimeLogger runs.") || !starts.Runs(); });
    looks.reset();
    EXPECT_EQ(WAIT_TIMEOUT, ::WaitForSingleObject(starts.Handle(), 500)) << starts.Err();
    EXPECT_EQ(0u, RunProgram(ServiceProgram(), {L"--stop"}));
    EXPECT_EQ(0u, starts.Wait());
}

TEST_F(ServiceTest, TwentyClientsAtOnceLoseNothing) {
    Start();
    std::vector<std::unique_ptr<CProgram>> clients;
    for (int i = 0; i < 20; ++i)
        clients.push_back(std::make_unique<CProgram>(
            ClientProgram(), std::vector<std::wstring>{i % 2 ? L"mta" : L"sta", L"flood", L"50"}));
    for (const auto& client : clients)
        EXPECT_EQ(0u, client->Wait()) << client->Out();
    const std::string out = End();
    for (const auto& client : clients)
        EXPECT_EQ(50, LinesOfProcess(out, *client));
}

TEST_F(ServiceTest, AnOutputThatNobodyTakesHoldsNoClientUp) {
    const CBlockedPipe pipe;
    Start({}, false, pipe.Writer());
    CProgram calls(ClientProgram(), {L"mta", L"flood", L"2000"}),
        channel(ClientProgram(), {L"mta", L"front", L"200000"});
    EXPECT_EQ(0u, calls.Wait()) << calls.Out();
    EXPECT_EQ(0u, channel.Wait()) << channel.Out();
    EXPECT_TRUE(service->Runs());
}

TEST_F(ServiceTest, WhatMakesNoSenseIsRefused) {
    for (const std::vector<std::wstring>& line :
         std::vector<std::vector<std::wstring>>{{L"--nothing"},
                                                {L"word"},
                                                {L"--register", L"--stop"},
                                                {L"--stop", L"--for", L"1"},
                                                {L"--register", L"--record", L"x"},
                                                {L"--rotate-size", L"5"},
                                                {L"--record", L""},
                                                {L"--report", L""},
                                                {L"--severity", L"loud"},
                                                {L"--sort", L"beauty"},
                                                {L"--for", L"-1"},
                                                {L"--open", L"x", L"--patience", L"1"}}) {
        CProgram program(ServiceProgram(), line);
        EXPECT_EQ(2u, program.Wait()) << ::testing::PrintToString(line);
        EXPECT_TRUE(program.Out().empty() && Has(program.Err(), "TKRuntimeLogger: ")) << program.Err();
    }
    CProgram missing(ServiceProgram(), {L"--open", L"Z:\\no such folder"});
    EXPECT_EQ(1u, missing.Wait());
    CProgram help(ServiceProgram(), {L"--help"});
    EXPECT_EQ(0u, help.Wait());
    EXPECT_TRUE(Has(help.Out(), "--register")) << help.Out();
}

TEST_F(ServiceTest, OutputsThatCantBeWrittenAreToldAtOnce) {
    const CTempFile inTheWay;
    const std::wstring impossible = inTheWay.Path() + L"\\folder";
    for (const wchar_t* output : {L"--record", L"--profile", L"--report", L"--trace"}) {
        CProgram ends(ServiceProgram(), {output, impossible});
        EXPECT_EQ(1u, ends.Wait());
        EXPECT_TRUE(Has(ends.Err(), "0x80070003") && !Has(ends.Err(), "TKRuntimeLogger runs.")) << ends.Err();
    }
    CProgram file(ServiceProgram(), {L"--record", inTheWay.Path()});
    EXPECT_EQ(1u, file.Wait()) << "a file is no folder";
}

TEST_F(RecordingServiceTest, WhoseFolderGoesIsToldAtTheEnd) {
    Start({L"--record", recording});
    EXPECT_TRUE(std::filesystem::is_empty(recording)) << "trying leaves nothing";
    std::filesystem::remove(recording);
    const std::ofstream inTheWay{std::filesystem::path(recording)};
    CProgram client(ClientProgram(), {L"mta", L"flood", L"10"});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    EXPECT_EQ(0u, RunProgram(ServiceProgram(), {L"--stop"}));
    EXPECT_EQ(1u, service->Wait());
    EXPECT_TRUE(Has(service->Err(), "lacks 10 records") && Has(service->Err(), "tables")) << service->Err();
    EXPECT_EQ(10, LinesOfProcess(service->Out(), client));
}

TEST_F(RecordingServiceTest, IsWholeBehindAnOutputThatNobodyTakes) {
    const CBlockedPipe pipe;
    Start({L"--record", recording}, false, pipe.Writer());
    CProgram client(ClientProgram(), {L"mta", L"front", L"20000"});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    EXPECT_EQ(0u, RunProgram(ServiceProgram(), {L"--stop"}));
    EXPECT_EQ(1u, service->Wait()) << "the lines aren't whole";
    EXPECT_TRUE(Has(service->Err(), "takes nothing")) << service->Err();
    EXPECT_EQ(20'000, RecordsOf(RecordsIn(recording), client));
}

TEST_F(RecordingServiceTest, OfAKilledServiceLacksAtMostTheLastSecond) {
    Start({L"--record", recording, L"--quiet"});
    CProgram client(ClientProgram(), {L"mta", L"flood", L"100"});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    const base::CDeadline limit(10'000);  // ten times what it may take
    Await([&] { return RecordsOf(RecordsIn(recording), client) == 100; });
    EXPECT_FALSE(limit.IsOver());
    service->Kill();
    EXPECT_EQ(100, RecordsOf(RecordsIn(recording), client));
}

TEST_F(RecordingServiceTest, HasAllThatWasTakenWhenTheServiceEnds) {
    Start({L"--record", recording, L"--quiet"});
    CProgram client(ClientProgram(), {L"mta", L"flood", L"1000000"});
    Await([&] { return RecordsOf(RecordsIn(recording), client) > 100; });
    End();
    EXPECT_EQ(1u, client.Wait()) << "it was told that nobody takes its records any more";
    EXPECT_EQ(NumberBehind("taken ", client.Out()), RecordsOf(RecordsIn(recording), client));
}

TEST_F(RecordingServiceTest, LacksNothingOfAWriterInAHurry) {
    constexpr int kRecords = 200'000;
    Start({L"--record", recording, L"--quiet"});
    CProgram client(ClientProgram(), {L"mta", L"front", std::to_wstring(kRecords)});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    constexpr int kCalls = 1000;
    CProgram calls(ClientProgram(), {L"mta", L"flood", std::to_wstring(kCalls)});
    EXPECT_EQ(0u, calls.Wait()) << calls.Out();
    EXPECT_LT(5 * NumberBehind("took ", client.Out()) / kRecords, NumberBehind("took ", calls.Out()) / kCalls);
    End();
    EXPECT_EQ(kRecords, RecordsOf(RecordsIn(recording), client));
}

TEST_F(RecordingServiceTest, IsNotRecordedIntoItself) {
    Start({L"--record", recording});
    CProgram client(ClientProgram(), {L"mta", L"flood", L"10"});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    End();
    const std::string before = RecordsIn(recording);
    EXPECT_EQ(1u, RunProgram(ServiceProgram(), {L"--open", recording + L"\\log-00001.log", L"--record", recording}));
    EXPECT_EQ(before, RecordsIn(recording));
}

TEST_F(RecordingServiceTest, IsShownAgainAsItWas) {
    Start({L"--record", recording});
    CProgram client(ClientProgram(), {L"mta", L"odd"});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    const std::string live = End();
    CProgram again(ServiceProgram(), {L"--open", recording});
    EXPECT_EQ(0u, again.Wait()) << again.Err();
    EXPECT_EQ(live, again.Out());
    CProgram filtered(ServiceProgram(), {L"--open", recording, L"--severity", L"error", L"--text", L"!last"});
    EXPECT_EQ(0u, filtered.Wait()) << filtered.Err();
    EXPECT_EQ(2u, LinesOf(filtered.Out()).size()) << filtered.Out();
}

TEST_F(ServiceTest, OneRecordIsOneLineWhateverIsInIt) {
    Start();
    CProgram client(ClientProgram(), {L"mta", L"odd"});
    EXPECT_EQ(0u, client.Wait()) << client.Out();
    const std::string out = End();
    EXPECT_EQ(7u, LinesOf(out).size()) << out.substr(0, 200);
    EXPECT_EQ(7, LinesOfProcess(out, client));
    EXPECT_EQ(std::string::npos, out.find('\x1B'));
    EXPECT_EQ(1, CountOf(out, std::string(32 * 1024, 'x')));
}

TEST_F(RecordingServiceTest, HasDumpsThatCanBeOpenedAgain) {
    Start({L"--record", recording});
    const CTempFile probe;
    const base::CAutoHandle file(
        ::CreateFileW(probe.Path().c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!::MiniDumpWriteDump(service->Handle(), service->Id(), file.Get(), MiniDumpNormal, nullptr, nullptr, nullptr))
        GTEST_SKIP() << "the platform makes no dumps of processes of this bitness";
    CProgram odd(ClientProgram(), {L"mta", L"dumpnone", L"25"});
    EXPECT_EQ(0u, odd.Wait()) << odd.Out();
    EXPECT_EQ(0, NumberBehind("made ", odd.Out()));
    CProgram client(ClientProgram(), {L"mta", L"dump"});
    EXPECT_EQ(0u, client.Wait()) << client.Out() << "tries that failed don't count";
    End();
    std::vector<std::filesystem::path> dumps;
    for (const auto& file : std::filesystem::directory_iterator(recording)) {
        if (file.path().extension() == L".dmp")
            dumps.push_back(file.path());
    }
    ASSERT_EQ(1u, dumps.size());
    ExpectDumpOf(dumps[0], client.Id());
    EXPECT_EQ(2, RecordsOf(RecordsIn(recording), client)) << "the record, and where its dump is";
}

TEST_F(ServiceTest, WithoutAFolderNoDumpIsOffered) {
    Start();
    CProgram client(ClientProgram(), {L"mta", L"dump"});
    EXPECT_EQ(1u, client.Wait());
    EXPECT_TRUE(Has(client.Out(), "result 0x80004002")) << client.Out();
}

}  // namespace
