// The table of timing sites: which rows it has, in which order, and how they are written.
#include "base/Utf8Text.h"
#include "logview/ProfileText.h"
#include "tests/logview/TestRecords.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <sstream>

using logview::CProfileTable;
using logview::ProfileColumn;
using logview::ProfileRow;

namespace {

// Each row as "function:text", an inner one behind a ">".
std::wstring Names(const std::vector<ProfileRow>& rows) {
    std::wstring names;
    for (const ProfileRow& row : rows)
        names += (row.isInner ? L">" : L"") + row.function + L":" + row.text + L" ";
    return names;
}

struct ProfileTable : ::testing::Test {
    // A report of `function`, in line `line`.
    void Report(const wchar_t* function, const wchar_t* text, LONG line, double total, ULONGLONG count = 1) {
        logview::Arrival arrival = MakeReportArrival(count, total, kSomeTime, text);
        auto& report = std::get<logview::ProfileRecord>(arrival.record);
        report.function = function;
        report.line = line;
        table.Take(arrival);
    }

    CProfileTable table;
};

TEST_F(ProfileTable, HasTheNewestFiguresOfEachSite) {
    table.Take(MakeReportArrival(10, 0.5, kSomeTime));
    table.Take(MakeReportArrival(30, 1.5, kSomeTime + 2 * kTicksASecond));
    table.Take(MakeReportArrival(40, 2, kSomeTime + 4 * kTicksASecond));
    table.Take(MakeArrival(L"no report"));
    logview::Arrival other = MakeReportArrival(1, 6);
    std::get<logview::ProfileRecord>(other.record).processId = 300;
    table.Take(other);
    const std::vector<ProfileRow> rows = table.Rows();
    ASSERT_EQ(2, rows.size());
    EXPECT_EQ(300, rows[0].processId) << "by the total, the largest first";
    EXPECT_EQ(std::nullopt, rows[0].callsASecond) << "of a single report";
    EXPECT_EQ(0.75, rows[0].share);
    EXPECT_EQ(212, rows[1].processId);
    EXPECT_EQ(L"host.exe", rows[1].process);
    EXPECT_EQ(40, rows[1].count);
    EXPECT_EQ(0.05, rows[1].mean);
    EXPECT_EQ(1, rows[1].longest);
    EXPECT_EQ(7.5, rows[1].callsASecond);
}

TEST_F(ProfileTable, CountsAnewWhenAProcessNumberComesAgain) {
    table.Take(MakeReportArrival(1000, 5, kSomeTime));
    table.Take(MakeReportArrival(1, 1, kSomeTime + kTicksASecond));
    EXPECT_EQ(std::nullopt, table.Rows()[0].callsASecond);
    table.Take(MakeReportArrival(11, 2, kSomeTime + 2 * kTicksASecond));
    EXPECT_EQ(10, table.Rows()[0].callsASecond);
}

TEST_F(ProfileTable, ShowsStepsBeneathTheirFunction) {
    Report(L"Read", L"seeking", 293, 1);
    Report(L"Read", L"", 258, 8);
    Report(L"Read", L"reading", 297, 5);
    Report(L"Read", L"", 280, 2);           // another function of that name, which stands before the steps
    Report(L"Type", L"Extracting", 53, 9);  // has no scope around it
    Report(L"Load", L"", 1, 6);
    EXPECT_EQ(L"Type:Extracting Read: Load: Read: >Read:reading >Read:seeking ", Names(table.Rows()));
    EXPECT_EQ(L"Read: >Read:seeking >Read:reading Load: Read: Type:Extracting ",
              Names(table.Rows(ProfileColumn::Total, false)));
    EXPECT_DOUBLE_EQ(1.0 / 25, table.Rows(ProfileColumn::Total, false)[1].share) << "of what isn't counted twice";
    logview::Arrival other = MakeReportArrival(1, 1, kSomeTime, L"seeking");
    std::get<logview::ProfileRecord>(other.record).function = L"Read";
    other.process = L"other.exe";
    table.Take(other);
    EXPECT_FALSE(table.Rows().back().isInner && table.Rows().back().process == L"other.exe") << "of another process";
}

TEST_F(ProfileTable, IsSortedByAnyColumnBothWays) {
    for (int site = 0; site < 8; ++site) {
        logview::Arrival arrival = MakeReportArrival(static_cast<ULONGLONG>(1 + site * 7 % 5), 1 + site * 3 % 7,
                                                     kSomeTime, L"step" + std::to_wstring(site % 3));
        auto& report = std::get<logview::ProfileRecord>(arrival.record);
        report.category = L"c" + std::to_wstring(site % 4);
        report.file = L"f" + std::to_wstring(site * 5 % 8);
        report.function = L"g" + std::to_wstring(site / 2);
        report.maximumDuration = site * 11 % 13;
        arrival.process = L"p" + std::to_wstring(site % 2);
        table.Take(arrival);
        if (site % 2) {
            report.count += static_cast<ULONGLONG>(site);
            arrival.time += kTicksASecond;
            table.Take(arrival);
        }
    }
    const auto expectSorted = [&](ProfileColumn column, auto value) {
        for (const bool isDescending : {false, true}) {
            const std::vector<ProfileRow> rows = table.Rows(column, isDescending);
            ASSERT_EQ(8, rows.size());
            for (std::size_t i = 1; i < rows.size(); ++i) {
                EXPECT_FALSE(isDescending ? value(rows[i - 1]) < value(rows[i]) : value(rows[i]) < value(rows[i - 1]))
                    << static_cast<int>(column) << " " << isDescending << " " << i;
            }
        }
    };
    expectSorted(ProfileColumn::Process, [](auto& row) { return row.process; });
    expectSorted(ProfileColumn::Category, [](auto& row) { return row.category; });
    expectSorted(ProfileColumn::File, [](auto& row) { return row.file; });
    expectSorted(ProfileColumn::Function, [](auto& row) { return row.function; });
    expectSorted(ProfileColumn::Text, [](auto& row) { return row.text; });
    expectSorted(ProfileColumn::Count, [](auto& row) { return row.count; });
    expectSorted(ProfileColumn::Mean, [](auto& row) { return row.mean; });
    expectSorted(ProfileColumn::Longest, [](auto& row) { return row.longest; });
    expectSorted(ProfileColumn::Total, [](auto& row) { return row.total; });
    expectSorted(ProfileColumn::Share, [](auto& row) { return row.share; });
    for (const bool isDescending : {false, true}) {
        const std::vector<ProfileRow> rows = table.Rows(ProfileColumn::CallsASecond, isDescending);
        EXPECT_TRUE(rows[3].callsASecond && !rows[4].callsASecond) << "what isn't known comes last";
        EXPECT_EQ(isDescending, *rows[0].callsASecond > *rows[3].callsASecond);
    }
}

TEST_F(ProfileTable, HoldsOutAgainstHostileReports) {
    const double nan = std::numeric_limits<double>::quiet_NaN(), infinity = std::numeric_limits<double>::infinity();
    for (const double value : {nan, infinity, -infinity, -1.0, std::numeric_limits<double>::max()}) {
        logview::ProfileRecord report = MakeReport(0, value);
        report.line = static_cast<LONG>(table.Reports());
        report.function = kHostileText;
        table.Take({0, kHostileText, report});
        report.line += 100;
        table.Take({0, kHostileText, report});
    }
    for (const ProfileRow& row : table.Rows(ProfileColumn::Mean)) {
        EXPECT_TRUE(row.share >= 0 && row.share <= 1) << row.share;
        EXPECT_EQ(0, row.mean) << "of no calls";
    }
    for (int i = 0; i < 12'000; ++i)
        Report(std::to_wstring(i).c_str(), L"", 0, 1);
    EXPECT_EQ(CProfileTable::kMostSites, table.Rows().size());
    EXPECT_EQ(2'010, table.LeftOut());
}

TEST_F(ProfileTable, WhenItIsFullTheSiteThatWasLongestSilentGoes) {
    for (std::size_t i = 0; i < CProfileTable::kMostSites; ++i)
        Report(std::to_wstring(i).c_str(), L"", 0, 1);
    Report(L"0", L"", 0, 2);
    EXPECT_EQ(0, table.LeftOut());
    for (const wchar_t* const name : {L"new", L"newer", L"newest"})
        Report(name, L"", 0, 3);
    std::wstring names = L" " + Names(table.Rows());
    for (const wchar_t* const kept : {L" 0:", L" 4:", L" new:", L" newest:"})
        EXPECT_NE(names.npos, names.find(kept)) << kept;
    for (const wchar_t* const gone : {L" 1:", L" 3:"})
        EXPECT_EQ(names.npos, names.find(gone)) << gone;
    EXPECT_EQ(3, table.LeftOut());
    EXPECT_NE(std::wstring::npos, ProfileText(table.Rows(), 80, table.LeftOut()).find(L"\n(3 rows "));
    const std::string csv = ProfileCsv(table.Rows(), table.LeftOut());
    const std::string last = csv.substr(csv.rfind('\n', csv.size() - 2) + 1);
    EXPECT_TRUE(last.starts_with(",,,,,(3 rows ")) << last;
    EXPECT_EQ(13, std::count(last.begin(), last.end(), ',')) << "a field a column";

    CProfileTable byBytes;
    for (int i = 0; i < 40; ++i)
        byBytes.Take(MakeReportArrival(1, 1, kSomeTime, std::to_wstring(i) + std::wstring(1'000'000, L'x')));
    const std::vector<ProfileRow> rows = byBytes.Rows();
    EXPECT_EQ(40, rows.size() + byBytes.LeftOut());
    EXPECT_TRUE(std::ranges::any_of(rows, [](auto& row) { return row.text.starts_with(L"39x"); }));
}

TEST_F(ProfileTable, FitsAConsole) {
    table.Take(MakeReportArrival(1'234'567, 61.7));
    table.Take(MakeReportArrival(3, 0.000'003, kSomeTime,
                                 L"Syncread seeking \u97F3\u58F0\u97F3\u58F0\u97F3\u58F0\u97F3\u58F0"));
    logview::Arrival hostile = MakeReportArrival(1, 0.002, kSomeTime, kHostileText);
    hostile.process = std::wstring(70'000, L'x');
    table.Take(hostile);
    EXPECT_EQ(L"", logview::ProfileText({}, 80));
    for (const unsigned width : {1u, 40u, 60u, 80u, 100u, 120u, 200u, 1000u}) {
        std::wistringstream lines(logview::ProfileText(table.Rows(), width));
        std::wstring line;
        int count = 0;
        for (; std::getline(lines, line); ++count) {
            EXPECT_TRUE(width < 60 || line.size() <= width) << width;
            EXPECT_EQ(line.npos, line.find_first_of(L"\r\x1b\x85\u2028"));
        }
        EXPECT_TRUE(width < 60 || count <= 8) << count;
    }
    const std::wstring narrow = logview::ProfileText(table.Rows(), 80), wide = logview::ProfileText(table.Rows(), 400);
    EXPECT_NE(narrow.npos, narrow.find(L"1234567"));
    EXPECT_NE(narrow.npos, narrow.find(L"3.000 \u00B5s")) << base::Utf8OfWide(narrow);
    EXPECT_NE(narrow.npos, narrow.find(L"C::SyncRead"));
    EXPECT_EQ(narrow.npos, narrow.find(L"PROFILE"));
    for (const wchar_t* const part : {L"host.exe(212)", L" CustomFileSource:258", L" PROFILE\n",
                                      L"  C::SyncRead: Syncread seeking", L"what reporting these cost"})
        EXPECT_NE(wide.npos, wide.find(part)) << part;
}

TEST_F(ProfileTable, IsCsvOfALineARow) {
    table.Take(MakeReportArrival(4, 2));
    table.Take({kSomeTime, kHostileText, MakeReport(1, 0.25, kHostileText)});
    const std::string csv = ProfileCsv(table.Rows());
    EXPECT_EQ(3, std::count(csv.begin(), csv.end(), '\n'));
    EXPECT_EQ(csv.npos, csv.find('\0'));
    EXPECT_NE(csv.npos,
              csv.find("\r\n212,host.exe,PROFILE,CustomFileSource,258,C::SyncRead,,0,4,,0.5,1,2,0.888889\r\n"));
    EXPECT_NE(csv.npos, csv.find("alert(1)>\"\"',;"));
}

}  // namespace
