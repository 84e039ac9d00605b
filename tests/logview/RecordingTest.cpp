// Recordings: what is written, what stays, and what is read again, from them and from log files.
#include "base/Utf8Text.h"
#include "console/CCommandError.h"
#include "logview/CRecorder.h"
#include "logview/CRecordingReader.h"
#include "logview/LogLines.h"
#include "logview/LogTexts.h"
#include "logview/RecordingFiles.h"
#include "tests/logview/TestRecords.h"
#include "tests/support/CTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>

using logview::Arrival;
using logview::CRecorder;
using logview::CRecordingReader;

namespace {

std::wstring MessageOf(const Arrival& arrival) {
    return std::visit([](const auto& record) { return record.message; }, arrival.record);
}

std::vector<Arrival> ReadAll(const std::vector<std::wstring>& paths, std::vector<std::wstring>* notes = nullptr) {
    std::vector<Arrival> arrivals;
    try {
        CRecordingReader reader(paths);
        for (Arrival arrival; reader.Next(arrival);)
            arrivals.push_back(arrival);
        if (notes)
            *notes = reader.Notes();
    } catch (const console::CCommandError& error) {
        arrivals.push_back(MakeArrival(L"error: " + error.Text()));
    }
    return arrivals;
}

std::wstring Messages(const std::vector<Arrival>& arrivals) {
    std::wstring text;
    for (const Arrival& arrival : arrivals)
        text += MessageOf(arrival) + L" ";
    return text;
}

std::string Contents(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Recording : ::testing::Test {
    ~Recording() override {
        recorder.reset();
        std::filesystem::remove_all(path);
    }

    void Start() {
        recorder.reset();
        recorder = std::make_unique<CRecorder>(options, profile, sessions,
                                               [this](const std::wstring& words) { told.push_back(words); });
    }
    void Take(const Arrival& arrival) {
        profile.Take(arrival);
        sessions.Take(arrival);
        recorder->Take(arrival);
    }
    [[nodiscard]] std::wstring Files() const {
        std::wstring names;
        for (const auto& entry : std::filesystem::directory_iterator(path))
            names += entry.path().filename().wstring() + L" ";
        return names;
    }

    const CTempFolder folder;
    const std::wstring path = folder.PathOf(L"new");
    CRecorder::Options options{path + L"\\recording"};
    logview::CProfileTable profile;
    logview::CSessions sessions;
    std::vector<std::wstring> told;
    std::unique_ptr<CRecorder> recorder;
};

TEST_F(Recording, IsReadAsItWasWritten) {
    Start();
    std::vector<Arrival> written = {MakeArrival(L"first"), MakeArrival(kHostileText, kSomeTime + 1, -7),
                                    MakeReportArrival(3, 0.1, kSomeTime + 2, L"a, \"step\""),
                                    MakeArrival(L"", kSomeTime + 3)};
    std::get<logview::LogRecord>(written[3].record).explicitValues = {5, true};
    written[1].process = L"tab\tand\nline.exe";
    auto& report = std::get<logview::ProfileRecord>(written[2].record);
    report.maximumDuration = std::numeric_limits<double>::infinity();
    report.count = std::numeric_limits<ULONGLONG>::max();
    for (const Arrival& arrival : written)
        Take(arrival);
    recorder->Flush();  // a killed process does no more
    const std::vector<Arrival> read = ReadAll({options.folder});
    ASSERT_EQ(4, read.size()) << base::Utf8OfWide(Messages(read));
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(written[i].time, read[i].time);
        EXPECT_EQ(logview::OneLine(written[i].process), read[i].process);
        EXPECT_EQ(logview::OneLine(MessageOf(written[i])).substr(0, 20), MessageOf(read[i]).substr(0, 20));
    }
    EXPECT_EQ(-7, std::get<logview::LogRecord>(read[1].record).severity);
    EXPECT_TRUE(std::get<logview::LogRecord>(read[3].record).explicitValues->flag);
    const auto& readReport = std::get<logview::ProfileRecord>(read[2].record);
    EXPECT_EQ(report.count, readReport.count);
    EXPECT_EQ(report.maximumDuration, readReport.maximumDuration);
    EXPECT_EQ(0.1, readReport.totalDuration);
    for (const wchar_t* kind : {L".log", L".times", L".profiles"})
        EXPECT_EQ(4, ReadAll({options.folder + L"\\log-00001" + kind}).size());

    sessions.Ended(212, kSomeTime + kTicksASecond);
    recorder->Finish();
    EXPECT_EQ(logview::FormatLogLine(std::get<logview::LogRecord>(written[0].record)),
              Contents(options.folder + L"\\log-00001.log").substr(0, 114));
    const std::string times = Contents(options.folder + L"\\log-00001.times");
    EXPECT_TRUE(times.starts_with("2026-11-23T03:37:26.0000000Z\thost.exe\r\n")) << times;
    EXPECT_NE(std::string::npos,
              Contents(options.folder + L"\\profile.csv").find("C::SyncRead,\"a, \"\"step\"\"\",0,"));
    EXPECT_NE(std::string::npos,
              Contents(options.folder + L"\\sessions.csv")
                  .find("212,host.exe,2026-11-23T03:37:26.0000000Z,2026-11-23T03:37:26.0000000Z,,0,1"));
    EXPECT_TRUE(told.empty());
    EXPECT_EQ(0, recorder->Lost());
}

TEST_F(Recording, KeepsTheNewestPartsAndNothingButItsOwnGoes) {
    std::filesystem::create_directories(options.folder);
    const std::vector<std::wstring> others = {L"log-1.log",      L"log-00001.txt",     L"log-00000.log",
                                              L"log-000001.log", L"log-00001.log.bak", L"xlog-00001.log",
                                              L"log-0000a.log"};
    for (const std::wstring& name : others)
        std::ofstream(std::filesystem::path(options.folder + L"\\" + name)) << "mine";
    options.mostPartBytes = 2'000;
    options.mostParts = 3;
    Start();
    for (int i = 0; i < 100; ++i)
        Take(MakeArrival(std::to_wstring(i)));
    Take(MakeArrival(std::wstring(5'000, L'x')));
    Take(MakeArrival(L"last"));
    recorder->Finish();
    for (const std::wstring& name : others)
        EXPECT_EQ("mine", Contents(options.folder + L"\\" + name)) << base::Utf8OfWide(name);
    const std::vector<ULONG> parts = logview::PartNumbers(options.folder);
    ASSERT_EQ(3, parts.size());
    EXPECT_EQ(10, parts.back()) << "each part is filled";
    EXPECT_LE(Contents(options.folder + L"\\" + logview::PartName(parts[0]) + L".log").size(), 2'000);
    const std::vector<Arrival> read = ReadAll({options.folder});
    ASSERT_GT(read.size(), 10);
    EXPECT_EQ(L"last", MessageOf(read.back()));
    EXPECT_EQ(L"99", MessageOf(read[read.size() - 3]));

    // The next one goes on.
    options.mostParts = 4;
    Start();
    Take(MakeArrival(L"restarted"));
    recorder->Finish();
    EXPECT_EQ(parts.back() + 1, logview::PartNumbers(options.folder).back());
    EXPECT_EQ(L"last restarted ", Messages(ReadAll({options.folder})).substr(Messages(read).size() - 5));
    EXPECT_EQ(0, recorder->Lost());
}

TEST_F(Recording, OfTwoAtOnceInOneFolderIsInPartsOfEachItsOwn) {
    Start();
    CRecorder other(options, profile, sessions, [](const std::wstring&) {});
    for (const wchar_t* const name : {L"1", L"2"}) {
        Take(MakeArrival(std::wstring(L"a") + name));
        other.Take(MakeArrival(std::wstring(L"b") + name));
        recorder->Flush();
        other.Flush();
    }
    EXPECT_EQ(L"a1 a2 b1 b2 ", Messages(ReadAll({options.folder})));
}

TEST_F(Recording, WaitsForAFolderThatCantBeWrittenTo) {
    std::filesystem::create_directories(path);
    std::ofstream(std::filesystem::path(options.folder)) << "a file";
    options.retryEveryMs = 0;
    options.tablesEveryMs = 0;
    Start();
    EXPECT_NE(DWORD{ERROR_SUCCESS}, recorder->Failure());
    for (int i = 0; i < 3; ++i) {
        Take(MakeArrival(std::to_wstring(i)));
        recorder->Flush();
    }
    ASSERT_EQ(2, told.size()) << "one for the records, one for the tables";
    EXPECT_NE(std::wstring::npos, told[0].find(L"Cannot record into"));
    std::filesystem::remove(options.folder);
    recorder->Flush();
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, recorder->Failure());
    ASSERT_EQ(3, told.size());
    EXPECT_NE(std::wstring::npos, told[2].find(L"again; 0 records are lost"));
    EXPECT_EQ(L"0 1 2 ", Messages(ReadAll({options.folder})));
    EXPECT_TRUE(std::filesystem::exists(options.folder + L"\\profile.csv"));
}

TEST_F(Recording, CountsWhatItCouldNotKeep) {
    std::filesystem::create_directories(path);
    std::ofstream(std::filesystem::path(options.folder)) << "a file";
    Start();
    constexpr int kRecords = 30;
    for (int i = 0; i < kRecords; ++i)
        Take(MakeArrival(std::to_wstring(i) + std::wstring(1'000'000, L'x')));
    EXPECT_GT(recorder->Lost(), 0);
    EXPECT_LT(recorder->Lost(), kRecords);
    recorder->Finish();
    EXPECT_EQ(kRecords, recorder->Lost());
}

TEST_F(Recording, GoesOnInANewFolderWhenItsOwnIsGone) {
    Start();
    Take(MakeArrival(L"gone"));
    recorder->Flush();
    // Windows moves no folder whose files are open; a pulled-out stick isn't asked.
    if (!::MoveFileW(options.folder.c_str(), (path + L"\\elsewhere").c_str()))
        GTEST_SKIP() << ::GetLastError();
    Take(MakeArrival(L"next"));
    recorder->Flush();
    EXPECT_EQ(L"next ", Messages(ReadAll({options.folder})));
    EXPECT_EQ(1, recorder->Lost());
}

TEST_F(Recording, IsReadAsFarAsItsFilesGo) {
    CTempFolder files;
    const std::string line = "SEV: 3, CAT: c, PID: 1, TID: 2, FILE: f, LINE: 3, FUNC: g, MSG: ";
    files.Write("\xEF\xBB\xBF" + line + "a\r\n\r\n" + line + "b\n" + line + "\xFF\r\nno record\r\r\n" + line + "e",
                L"log-00001.log");
    files.Write("2026-11-23T03:37:26Z\thost.exe\r\nnonsense\r\n2026-11-23T03:37:27Z\r\n", L"log-00001.times");
    files.Write("nonsense\r\n2026-11-23T03:37:27Z,p,1,0,c,f,1,g,report,1,0,1,1\r\n1,2,3,4,5,6,7,8,9,10,11,12,13\r\n",
                L"log-00001.profiles");
    files.Write("2026-11-23T03:37:28Z,p,1,0,c,f,1,g,alone,1,0,1,1\r\n", L"log-00003.profiles");
    files.Write("", L"log-00004.log");
    const std::vector<Arrival> read = ReadAll({files.Path()});
    EXPECT_EQ(L"a b \uFFFD no record\r e report 9 alone ", Messages(read));
    EXPECT_EQ(kSomeTime, read[0].time);
    EXPECT_EQ(L"host.exe", read[0].process);
    EXPECT_EQ(0, read[1].time);
    EXPECT_EQ(kSomeTime + kTicksASecond, read[2].time);
    EXPECT_EQ(0, read[4].time);
    EXPECT_EQ(L"\uFFFD", MessageOf(read[2]));
    EXPECT_EQ(7, ReadAll({files.PathOf(L"log-00001.log")}).size()) << "one part, with what belongs to it";

    CTempFolder empty;
    EXPECT_TRUE(MessageOf(ReadAll({empty.Path()})[0]).starts_with(L"error: There is no recording in "));
    EXPECT_TRUE(MessageOf(ReadAll({files.PathOf(L"none.log")})[0]).starts_with(L"error: Cannot read "));
    EXPECT_TRUE(ReadAll({}).empty());
}

TEST_F(Recording, HasItsTablesAlsoWhereAnEarlierTryWasLeftBehind) {
    Start();
    Take(MakeReportArrival(3, 0.1, kSomeTime, L""));
    const std::filesystem::path left =
        options.folder + L"\\profile.csv." + std::to_wstring(::GetCurrentProcessId()) + L".new";
    std::ofstream(left) << "an earlier try";
    recorder->Finish();
    EXPECT_NE(std::string::npos, Contents(options.folder + L"\\profile.csv").find("C::SyncRead"));
    EXPECT_FALSE(std::filesystem::exists(left));
    EXPECT_TRUE(told.empty());
}

TEST_F(Recording, OfSeveralIsMergedByTime) {
    CTempFolder files;
    const auto write = [&](const wchar_t* name, const std::vector<std::pair<std::wstring, ULONGLONG>>& records) {
        std::string log, times;
        for (const auto& [message, seconds] : records) {
            log += logview::FormatLogLine(MakeRecord(message));
            times += logview::TimesLine(MakeArrival(L"", seconds == 0 ? 0 : kSomeTime + seconds));
        }
        files.Write(log, std::wstring(name) + L".log");
        if (!records.empty() && records[0].second != 0)
            files.Write(times, std::wstring(name) + L".times");
        return files.PathOf(std::wstring(name) + L".log");
    };
    // Ties go to the file named first; a clock that was set back doesn't change a file's own order.
    const std::wstring a = write(L"a", {{L"a1", 1}, {L"a5", 5}, {L"a?", 0}, {L"a4", 4}, {L"a9", 9}});
    const std::wstring b = write(L"b", {{L"b1", 1}, {L"b5", 5}, {L"b6", 6}});
    const std::wstring plain = write(L"plain", {{L"p1", 0}, {L"p2", 0}});
    std::vector<std::wstring> notes;
    EXPECT_EQ(L"p1 p2 a1 b1 a5 a? a4 b5 b6 a9 ", Messages(ReadAll({a, b, plain}, &notes)));
    ASSERT_EQ(1, notes.size());
    EXPECT_NE(std::wstring::npos, notes[0].find(L"plain.log doesn't tell when its records came; they stand before"));
    EXPECT_EQ(L"b1 a1 b5 a5 a? a4 b6 a9 ", Messages(ReadAll({b, a}, &notes)));
    EXPECT_TRUE(notes.empty());
}

TEST_F(Recording, WithEndlessLinesIsReadInPieces) {
    constexpr std::size_t kCharacters = 5'000'000;  // of two bytes each
    CTempFolder files;
    std::string log = "x";
    for (std::size_t i = 0; i < kCharacters; ++i)
        log += "\xC3\xA4";
    files.Write(log + "\r\nnext\r\n" + std::string(1'000, '\0'), L"log-00001.log");
    files.Write("2026-11-23T03:37:26Z\ta\r\n2026-11-23T03:37:27Z\tb\r\n", L"log-00001.times");
    const std::vector<Arrival> read = ReadAll({files.Path()});
    ASSERT_EQ(5, read.size());
    EXPECT_EQ(L"x" + std::wstring(kCharacters, L'\u00E4'),
              MessageOf(read[0]) + MessageOf(read[1]) + MessageOf(read[2]));
    EXPECT_EQ(L"a", read[2].process);
    EXPECT_EQ(L"b", read[3].process);
    EXPECT_EQ(1'000, MessageOf(read[4]).size());
}

TEST_F(Recording, TellsWhichProcessesEnded) {
    Start();
    Take(MakeArrival(L"1"));
    sessions.Ended(212, kSomeTime + 1);
    Take(MakeArrival(L"2", kSomeTime + 2 * kTicksASecond));  // another one of that number
    sessions.Ended(212, kSomeTime + 3 * kTicksASecond);
    Take(MakeArrival(L"3", kSomeTime + 5 * kTicksASecond));
    recorder->Finish();
    CRecordingReader reader({options.folder});
    logview::CSessions read;
    for (Arrival arrival;;) {
        const bool isThere = reader.Next(arrival);
        for (const logview::ProcessEnd& end : reader.TakeEnds())
            read.Ended(end.processId, end.time);
        if (!isThere)
            break;
        read.Take(arrival);
    }
    EXPECT_EQ(sessions.Csv(), read.Csv());
    EXPECT_EQ(3, read.All().size());
}

TEST(Sessions, AreToldApart) {
    logview::CSessions sessions;
    const auto take = [&](const wchar_t* process, ULONGLONG seconds, LONG severity, ULONG id = 212) {
        Arrival arrival = MakeArrival(L"", kSomeTime + seconds * kTicksASecond, severity);
        arrival.process = process;
        std::get<logview::LogRecord>(arrival.record).processId = id;
        sessions.Take(arrival);
    };
    sessions.Ended(212, kSomeTime);
    take(L"", 1, 4);
    take(L"a.exe", 2, 1);
    take(L"", 3, 9);
    take(L"other.exe", 3, 1, 300);
    sessions.Ended(212, kSomeTime + 5 * kTicksASecond);
    sessions.Ended(212, kSomeTime + 6 * kTicksASecond);
    take(L"a.exe", 4, 1);  // was on its way
    take(L"a.exe", 8, 1);  // another process
    take(L"b.exe", 9, 1);  // and another, though nobody saw the end
    Arrival values = MakeArrival(L"", kSomeTime);
    std::get<logview::LogRecord>(values.record).explicitValues = logview::LogRecord::Explicit{};
    sessions.Take(values);
    sessions.Take(MakeReportArrival(1, 1));
    const std::vector<logview::Session> all = sessions.All();
    ASSERT_EQ(5, all.size());
    EXPECT_EQ(L"a.exe", all[0].process);
    EXPECT_EQ(kSomeTime + kTicksASecond, all[0].first);
    EXPECT_EQ(kSomeTime + 4 * kTicksASecond, all[0].last);
    EXPECT_EQ(kSomeTime + 5 * kTicksASecond, all[0].end);
    EXPECT_EQ(2, all[0].severities[1]);
    EXPECT_EQ(1, all[0].severities[4]);
    EXPECT_EQ(1, all[0].others);
    EXPECT_EQ(L"other.exe", all[1].process);
    EXPECT_EQ(0, all[2].end);
    EXPECT_EQ(L"b.exe", all[3].process);
    EXPECT_EQ(1, all[4].reports);
    const std::string csv = sessions.Csv();
    EXPECT_EQ(6, std::count(csv.begin(), csv.end(), '\n'));
}

TEST(Sessions, WhenThereAreTooManyThoseThatEndedFirstGo) {
    logview::CSessions sessions;
    ULONGLONG time = kSomeTime;
    const auto take = [&](ULONG id) {
        Arrival arrival = MakeArrival(L"", ++time);
        std::get<logview::LogRecord>(arrival.record).processId = id;
        sessions.Take(arrival);
    };
    const auto isThere = [&](ULONG id) { return std::ranges::count(sessions.All(), id, &logview::Session::processId); };
    for (ULONG id = 0; id < logview::CSessions::kMostSessions; ++id)
        take(id);
    sessions.Ended(7, ++time);
    sessions.Ended(5, ++time);
    take(0);
    for (const ULONG id : {10'001ul, 10'002ul, 10'003ul})
        take(id);
    EXPECT_EQ(0, isThere(7));
    EXPECT_EQ(0, isThere(5));
    EXPECT_EQ(1, isThere(0)) << "it isn't the one that was longest silent";
    EXPECT_EQ(0, isThere(1)) << "that one is";
    EXPECT_EQ(1, isThere(10'003));
    EXPECT_EQ(3, sessions.LeftOut());
    EXPECT_EQ(logview::CSessions::kMostSessions, sessions.All().size());
    take(7);  // as one that is new
    EXPECT_EQ(7, sessions.All().back().processId);
    const std::string csv = sessions.Csv(), last = csv.substr(csv.rfind('\n', csv.size() - 2) + 1);
    EXPECT_TRUE(last.starts_with(",(4 older processes")) << last;
    EXPECT_EQ(11, std::count(last.begin(), last.end(), ',')) << "a field a column";
    EXPECT_EQ(std::nullopt, logview::ParseSessionEnd(last));
}

}  // namespace
