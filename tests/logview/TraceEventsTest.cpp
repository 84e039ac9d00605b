// The trace of a log: what a timeline viewer gets of it.
#include "logview/TraceEvents.h"
#include "tests/logview/TestRecords.h"
#include "tests/support/CTempFile.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>

using Json = nlohmann::json;

namespace {

constexpr LONGLONG kSomeTimeUs = 1'795'405'046'000'000;  // kSomeTime, since 1970

struct TraceEvents : ::testing::Test {
    // The events of one phase.
    std::vector<Json> Events(const std::string& phase) {
        const CTempFile file;
        logview::WriteTraceEvents(file.Path(), history);
        trace = Json::parse(file.Contents());
        std::vector<Json> events;
        for (const Json& event : trace["traceEvents"]) {
            if (event["ph"] == phase)
                events.push_back(event);
        }
        return events;
    }

    logview::CHistory history;
    Json trace;
};

TEST_F(TraceEvents, HaveAnInstantForEachRecord) {
    history.Take(MakeArrival(L"Loading"));
    history.Take(MakeArrival(std::wstring(65'536, L'x'), kSomeTime + 25));
    logview::Arrival noTime = MakeArrival(L"");
    noTime.time = 0;
    std::get<logview::LogRecord>(noTime.record).explicitValues = {7, true};
    history.Take(noTime);
    const std::vector<Json> instants = Events("i");
    ASSERT_EQ(3, instants.size());
    EXPECT_EQ(
        Json::parse(R"({"name":"Loading","cat":"TvFileSourceAsync","ph":"i","s":"t","ts":1795405046000000,"pid":212,
        "tid":280,"args":{"severity":1,"category":"TvFileSourceAsync","file":"CustomFileSource","line":111,
        "function":"C::Load","message":"Loading"}})"),
        instants[0]);
    EXPECT_EQ(kSomeTimeUs + 2, instants[1]["ts"]);
    EXPECT_LT(instants[1]["name"].get<std::string>().size(), 110);
    EXPECT_EQ(65'536, instants[1]["args"]["message"].get<std::string>().size());
    EXPECT_EQ(kSomeTimeUs + 3, instants[2]["ts"]);
    EXPECT_EQ("C::Load", instants[2]["name"]);
    EXPECT_EQ("not known", instants[2]["args"]["time"]);
    EXPECT_EQ(7, instants[2]["args"]["explicit"]["value"]);
    EXPECT_EQ(2, Events("M").size()) << "a process and a thread";
    EXPECT_TRUE(Events("X").empty());
}

TEST_F(TraceEvents, CountSeverities) {
    for (ULONGLONG i = 0; i < 1'000; ++i)  // in a tenth of a second
        history.Take(MakeArrival(L"", kSomeTime + i * kTicksASecond / 10'000, static_cast<LONG>(i % 6)));
    const std::vector<Json> counters = Events("C");
    EXPECT_GE(counters.size(), 10);
    EXPECT_LE(counters.size(), 12);
    EXPECT_EQ(Json::parse(R"({"DEBUG":167,"INFO":167,"WARN":167,"ERROR":167,"FATAL":166,"other":166})"),
              counters.back()["args"])
        << "the last state is there";
}

TEST_F(TraceEvents, ShowTheFiguresOfTimingSites) {
    history.Take(MakeReportArrival(3, 0.5, kSomeTime, L"reading"));
    history.Take(MakeReportArrival(4, std::numeric_limits<double>::infinity()));
    const std::vector<Json> counters = Events("C");
    ASSERT_EQ(6, counters.size());
    EXPECT_EQ("C::SyncRead: reading, calls", counters[0]["name"]);
    EXPECT_EQ(3, counters[0]["args"]["calls"]);
    EXPECT_EQ(500, counters[1]["args"]["total ms"]);
    EXPECT_EQ(250, counters[2]["args"]["longest ms"]);
    EXPECT_EQ("CustomFileSource:258", counters[2]["id"]);
    EXPECT_EQ(0, counters[4]["args"]["total ms"]) << "what is no number would be no JSON that a viewer takes";
    EXPECT_TRUE(Events("i").empty());
}

TEST_F(TraceEvents, HaveSpansWhereARecordTellsADuration) {
    history.Take(MakeArrival(L"Hangs for 1500 ms: reading (thread 9, in C::SyncRead)"));
    history.Take(MakeArrival(L"Goes on after 2500 ms: reading (thread 8), again (thread 9)"));
    for (const wchar_t* const message :
         {L"Goes on after  ms: reading (thread 9)", L"Goes on after 99999999999999999 ms: reading (thread 9)",
          L"Goes on after 2500 ms:  (thread 9) ", L"Goes on after (thread 9) ms: ",
          L"It Goes on after 1 ms: a (thread 9)"})
        history.Take(MakeArrival(message));
    const std::vector<Json> spans = Events("X");
    ASSERT_EQ(1, spans.size());
    EXPECT_EQ("Hangs: reading (thread 8), again", spans[0]["name"]);
    EXPECT_EQ(kSomeTimeUs - 2'500'000, spans[0]["ts"]);
    EXPECT_EQ(2'500'000, spans[0]["dur"]);
    EXPECT_EQ(9, spans[0]["tid"]);
}

TEST_F(TraceEvents, AreJsonWhateverTheTexts) {
    logview::Arrival hostile = MakeArrival(kHostileText);
    auto& record = std::get<logview::LogRecord>(hostile.record);
    record.category = record.file = record.function = hostile.process = kHostileText;
    record.processId = record.threadId = std::numeric_limits<ULONG>::max();
    record.severity = std::numeric_limits<LONG>::min();
    history.Take(hostile);
    hostile.time = std::numeric_limits<ULONGLONG>::max();
    hostile.record = MakeReport(std::numeric_limits<ULONGLONG>::max(), -1, kHostileText);
    history.Take(hostile);
    EXPECT_EQ(1, Events("i").size());
    EXPECT_EQ(4, Events("C").size());
    EXPECT_EQ(0, trace["otherData"]["recordsLeftOut"]);
}

TEST(History, KeepsTheNewest) {
    logview::CHistory few(3), small(1'000, 10'000);
    for (int i = 0; i < 10; ++i) {
        few.Take(MakeArrival(std::to_wstring(i)));
        small.Take(MakeArrival(std::wstring(1'000, L'x')));
    }
    EXPECT_EQ(3, few.All().size());
    EXPECT_EQ(L"7", std::get<logview::LogRecord>(few.All()[0].record).message);
    EXPECT_EQ(7, few.LeftOut());
    EXPECT_LE(small.All().size(), 5);
    small.Take(MakeArrival(std::wstring(20'000, L'x')));
    EXPECT_EQ(1, small.All().size()) << "the newest stays, however large";
    EXPECT_EQ(10, small.LeftOut());
}

}  // namespace
