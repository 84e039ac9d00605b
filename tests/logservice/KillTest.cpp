// Either side goes at any moment, with clients that call and clients with channels.
#include "tests/logservice/ServiceTest.h"

#include <map>
#include <random>

namespace {

struct ServiceKillTest : RecordingServiceTest {
    // With pauses, so that the service is never far behind.
    std::unique_ptr<CProgram> Client(const wchar_t* how, int records) const {
        return std::make_unique<CProgram>(ClientProgram(),
                                          std::vector<std::wstring>{L"mta", how, std::to_wstring(records), L"20"});
    }
    void SleepUpTo(DWORD ms) { ::Sleep(std::uniform_int_distribution<DWORD>(0, ms)(random)); }

    void StartRecording() {
        Start({L"--record", recording, L"--quiet", L"--rotate-size", L"1", L"--rotate-count", L"10000"});
    }

    // Of a client that goes on. In the newest part alone, as there may be much.
    void AwaitRecordsOf(const CProgram& client) const {
        Await([&] {
            std::filesystem::path newest;
            for (const auto& file : std::filesystem::directory_iterator(recording)) {
                if (file.path().extension() == L".log")
                    newest = std::max(newest, file.path());
            }
            return !newest.empty() && RecordsOf(ContentsOf(newest), client) > 0;
        });
    }

    // The messages of each process: numbers from 0 on, without a hole, wherever they end.
    void ExpectNoHoles() const {
        std::map<std::string, long long> next;
        for (const std::string& line : LinesOf(RecordsIn(recording))) {
            if (!Has(line, "CAT: TestClient"))
                continue;
            const std::string process = line.substr(line.find("PID: "), line.find(", TID") - line.find("PID: "));
            if (next[process]++ != static_cast<long long>(NumberBehind("MSG: ", line)))
                FAIL() << "record " << next[process] - 1 << " is missing: " << line;
        }
    }

    std::mt19937 random{20261123};
};

TEST_F(ServiceKillTest, ClientsThatAreKilledHarmNobody) {
    StartRecording();
    const auto steady = Client(L"front", 50'000);
    std::vector<std::unique_ptr<CProgram>> killed;
    for (int i = 0; i < 12; ++i) {
        killed.push_back(Client(i % 2 ? L"front" : L"flood", 10'000'000));
        if (i % 4 != 3)  // every fourth at any moment, its start included
            AwaitRecordsOf(*killed.back());
        SleepUpTo(150);
        killed.back()->Kill();
    }
    EXPECT_EQ(0u, steady->Wait()) << steady->Out();
    const auto last = Client(L"front", 1'000);
    EXPECT_EQ(0u, last->Wait()) << last->Out();
    End();
    ExpectNoHoles();
    const std::string records = RecordsIn(recording);
    EXPECT_EQ(50'000, RecordsOf(records, *steady));
    EXPECT_EQ(1'000, RecordsOf(records, *last));
    // Each of them is in the table once, with as many records as there are, and its end.
    const std::string table = ContentsOf(recording + L"\\sessions.csv");
    for (const auto& client : killed) {
        const std::string begin = "\n" + std::to_string(client->Id()) + ",log_client.exe,";
        const std::ptrdiff_t count = RecordsOf(records, *client);
        EXPECT_EQ(count > 0 ? 1 : 0, CountOf(table, begin)) << table;
        if (count > 0) {
            const std::string line = table.substr(table.find(begin) + 1, 200);
            EXPECT_TRUE(Has(line, "Z,0," + std::to_string(count) + ",0,0,0,0,0")) << count << ": " << line;
        }
    }
}

TEST_F(ServiceKillTest, AServiceThatIsKilledFailsItsClientsAtOnceAndLeavesWhatItTook) {
    for (int turn = 0; turn < 4; ++turn) {
        SCOPED_TRACE(turn);
        StartRecording();
        const auto calls = Client(L"flood", 10'000'000), channel = Client(L"front", 40'000),
                   other = Client(L"front", 40'000);
        if (turn > 0) {  // once at any moment, their start included
            AwaitRecordsOf(*calls);
            AwaitRecordsOf(*channel);
        }
        SleepUpTo(turn > 0 ? 300 : 100);
        service->Kill();
        const unsigned result = calls->Wait();
        EXPECT_TRUE(result == 1 || (turn == 0 && result == 3)) << result << calls->Out();
        EXPECT_EQ(0u, channel->Wait()) << "it goes on without a service";
        EXPECT_EQ(0u, other->Wait());
    }
    ExpectNoHoles();
    CProgram shows(ServiceProgram(), {L"--open", recording, L"--quiet", L"--profile", folder.PathOf(L"again.csv")});
    EXPECT_EQ(0u, shows.Wait()) << shows.Err();
    std::filesystem::remove(folder.PathOf(L"again.csv"));
}

TEST_F(ServiceKillTest, AServiceThatEndsInOrderHasAllUpToTheEndWithoutHoles) {
    StartRecording();
    std::vector<std::unique_ptr<CProgram>> clients;
    for (int i = 0; i < 3; ++i)
        clients.push_back(Client(L"front", 40'000));
    for (const auto& client : clients)
        AwaitRecordsOf(*client);
    End();
    for (const auto& client : clients)
        EXPECT_EQ(0u, client->Wait()) << "it goes on without a service";
    ExpectNoHoles();
}

TEST_F(ServiceKillTest, TwentyClientsWithChannelsLoseNothingAndHaveTheirNames) {
    StartRecording();
    std::vector<std::unique_ptr<CProgram>> clients;
    for (int i = 0; i < 20; ++i)  // every second one has ended before its channel is looked into
        clients.push_back(Client(L"front", i % 2 ? 1 : 3'000));
    for (const auto& client : clients)
        EXPECT_EQ(0u, client->Wait()) << client->Out();
    End();
    const std::string records = RecordsIn(recording);
    for (std::size_t i = 0; i < clients.size(); ++i)
        EXPECT_EQ(i % 2 ? 1 : 3'000, RecordsOf(records, *clients[i]));
    ExpectNoHoles();
    for (const auto& file : std::filesystem::directory_iterator(recording)) {
        const std::string times = file.path().extension() == L".times" ? ContentsOf(file.path()) : "";
        EXPECT_EQ(CountOf(times, "\r"), CountOf(times, "\tlog_client.exe\r")) << file.path();
    }
}

}  // namespace
