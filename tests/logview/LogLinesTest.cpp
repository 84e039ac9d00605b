// Records as lines, and the small texts of files about logs.
#include "base/Utf8Text.h"
#include "diagnostics/LogLine.h"
#include "logview/LogLines.h"
#include "logview/LogTexts.h"
#include "tests/logview/TestRecords.h"

#include <gtest/gtest.h>

#include <limits>

using logview::FormatLogLine;
using logview::LogRecord;
using logview::ParseLogLine;

namespace {

std::string WithoutEnd(std::string line) {
    EXPECT_TRUE(line.ends_with("\r\n"));
    EXPECT_EQ(line.size() - 1, line.find('\n')) << "a record is one line";
    line.resize(line.size() - std::min<std::size_t>(line.size(), 2));
    return line;
}

void ExpectSame(const LogRecord& wanted, const LogRecord& is) {
    EXPECT_EQ(wanted.severity, is.severity);
    EXPECT_EQ(wanted.category, is.category);
    EXPECT_EQ(wanted.processId, is.processId);
    EXPECT_EQ(wanted.threadId, is.threadId);
    EXPECT_EQ(wanted.file, is.file);
    EXPECT_EQ(wanted.line, is.line);
    EXPECT_EQ(wanted.function, is.function);
    EXPECT_EQ(wanted.message, is.message);
    ASSERT_EQ(wanted.explicitValues.has_value(), is.explicitValues.has_value());
    if (wanted.explicitValues) {
        EXPECT_EQ(wanted.explicitValues->value, is.explicitValues->value);
        EXPECT_EQ(wanted.explicitValues->flag, is.explicitValues->flag);
    }
}

TEST(LogLines, OfARecordGiveTheRecordAgain) {
    LogRecord awkward{std::numeric_limits<LONG>::min(),
                      L"a, PID: x, CAT: ",
                      0xFFFFFFFF,
                      0x80000000,
                      L"C:\\a, LINE: b, FUNC: ",
                      std::numeric_limits<LONG>::max(),
                      L"F, EXPLICIT: 7, FLAG: 2",
                      L" a, MSG: b, PID: 1, TID: 2, FILE: c, EXPLICIT: 7, FLAG: 1, MSG: \u97F3 ",
                      {}};
    LogRecord withValues = awkward;
    withValues.explicitValues = {0xFFFFFFFF, true};
    LogRecord withoutFlag = MakeRecord(L"");
    withoutFlag.explicitValues = {7, false};
    for (const LogRecord& record :
         {MakeRecord(L"Loading: C:\\clip.avi"), LogRecord{}, awkward, withValues, withoutFlag}) {
        SCOPED_TRACE(FormatLogLine(record));
        ExpectSame(record, ParseLogLine(WithoutEnd(FormatLogLine(record))));
    }
}

TEST(LogLines, AreThoseOfTheLogFile) {
    const std::string line = TKRuntimeLogger::LogLine(7, L"", -5, 280, nullptr, -1, L"F", L"a\r\nb\tc");
    const LogRecord record = ParseLogLine(WithoutEnd(line));
    EXPECT_EQ(0xFFFFFFFB, record.processId);
    EXPECT_EQ(L"a\u240D\u240Ab\tc", record.message);
    EXPECT_EQ(line, FormatLogLine(record));
    // A program that writes process ids as they are.
    EXPECT_EQ(0xFFFFFFFB,
              ParseLogLine("SEV: 1, CAT: c, PID: 4294967291, TID: 0, FILE: f, LINE: 1, FUNC: g, MSG: m").processId);
}

TEST(LogLines, KeepHostileTextsInOneLine) {
    LogRecord record = MakeRecord(kHostileText);
    record.category = record.file = record.function = kHostileText;
    const std::string line = WithoutEnd(FormatLogLine(record));
    for (const char c : line)
        EXPECT_FALSE(c >= 0 && c < 0x20 && c != '\t') << int{c};
    const std::wstring wide = base::WideOfUtf8(line);
    EXPECT_EQ(wide.npos, wide.find_first_of(L"\x7f\x85\u2028\u2029"));
    EXPECT_NE(wide.npos, wide.find(L"b\u2400c\u241B[31m")) << "nothing is cut off at a zero";
    EXPECT_EQ(line + "\r\n", FormatLogLine(ParseLogLine(line)));
}

TEST(LogLines, ThatAreNoneBecomeAMessage) {
    for (const char* const line : {
             "",
             "hello",
             "SEV: 1",
             "SEV: , CAT: a, PID: 1, TID: 2, FILE: f, LINE: 3, FUNC: g, MSG: m",
             "SEV: 99999999999999999999, CAT: a, PID: 1, TID: 2, FILE: f, LINE: 3, FUNC: g, MSG: m",
             "SEV: 1, CAT: a, PID: 4294967296, TID: 2, FILE: f, LINE: 3, FUNC: g, MSG: m",
             "SEV: 1, CAT: a, PID: 1, TID: 2, FILE: f, LINE: 2147483648, FUNC: g, MSG: m",
             "SEV: 1, CAT: a, PID: 1, TID: 2, FILE: f, LINE: 3, FUNC: g, MSG",
             " SEV: 1, CAT: a, PID: 1, TID: 2, FILE: f, LINE: 3, FUNC: g, MSG: m",
         }) {
        const LogRecord record = ParseLogLine(line);
        EXPECT_EQ(base::WideOfUtf8(line), record.message);
        EXPECT_EQ(1, record.severity);
        EXPECT_EQ(0, record.processId) << "nothing of what was read before it went wrong";
        EXPECT_EQ(L"", record.category);
    }
    // Damage within a field stays there.
    const LogRecord damaged =
        ParseLogLine("SEV: 1, CAT: a\xE2\x90, PID: 1, TID: 2, FILE: \xFF, LINE: 3, FUNC: g, MSG: m\xC3");
    EXPECT_EQ(L"a\uFFFD", damaged.category);
    EXPECT_EQ(L"\uFFFD", damaged.file);
    EXPECT_EQ(L"m\uFFFD", damaged.message);
}

TEST(LogTexts, TimesAreReadAsTheyAreWritten) {
    EXPECT_EQ("2026-11-23T03:37:26.0000000Z", logview::IsoTime(kSomeTime));
    for (const ULONGLONG time : {ULONGLONG{1}, kSomeTime + 1, kSomeTime + kTicksASecond - 1})
        EXPECT_EQ(time, logview::TimeOfIso(logview::IsoTime(time)));
    EXPECT_EQ(kSomeTime, logview::TimeOfIso("2026-11-23T03:37:26Z"));
    EXPECT_EQ(kSomeTime + kTicksASecond / 2, logview::TimeOfIso("2026-11-23T03:37:26.5Z"));
    EXPECT_EQ(kSomeTime + 1, logview::TimeOfIso("2026-11-23T03:37:26.00000019999999999999999Z"));
    EXPECT_EQ("", logview::IsoTime(0));
    EXPECT_EQ("", logview::IsoTime(std::numeric_limits<ULONGLONG>::max()));
    for (const char* const text : {"", "Z", "2026-11-23", "2026-11-23T03:37:26", "2026-13-23T03:37:26Z",
                                   "2026-11-23T03:37:26x", "2026-11-23T03:37:26xZ", "2026-11-23T03:37:2aZ",
                                   "-026-11-23T03:37:26Z", "2026-11-23T03:37:26.-1Z", "1500-01-01T00:00:00Z"})
        EXPECT_EQ(0, logview::TimeOfIso(text)) << text;
}

TEST(LogTexts, CsvFieldsAreQuotedWhereTheyMustBe) {
    EXPECT_EQ("", logview::CsvField(L""));
    EXPECT_EQ("host.exe", logview::CsvField(L"host.exe"));
    EXPECT_EQ("\"a,b\"", logview::CsvField(L"a,b"));
    EXPECT_EQ("\"say \"\"hi\"\"\"", logview::CsvField(L"say \"hi\""));
    EXPECT_EQ("\" a\"", logview::CsvField(L" a"));
    EXPECT_EQ(
        "a\xE2\x90\x8D\xE2\x90\x8A"
        "b",
        logview::CsvField(L"a\r\nb"));
}

}  // namespace
