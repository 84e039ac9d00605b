#include "console/CCommandError.h"
#include "logview/CRecordFilter.h"
#include "tests/logview/Arrivals.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

using logview::Arrival;
using logview::CRecordFilter;

namespace {

bool Passes(std::wstring_view words, const Arrival& arrival) {
    return CRecordFilter::Parse(words).Matches(arrival);
}

std::string Narrow(std::wstring_view text) {
    const std::u8string utf8 = std::filesystem::path(text).u8string();
    return {utf8.begin(), utf8.end()};
}

TEST(RecordFilter, KindsCombineAndValuesOfOneKindAreAlternatives) {
    const Arrival failed = ArrivalOf({.severity = 3, .message = L"ERROR: No such \u00C4ther; 100% *done*"});
    const std::pair<const wchar_t*, bool> rows[] = {
        {L"", true},
        {L"   ", true},
        {L"severity=error", true},
        {L"severity=WARN", true},
        {L"severity=3", true},
        {L"severity=fatal", false},
        {L"severity=-1 severity=fatal", true},
        {L"severity=warn severity=!error", false},
        {L"category=tvfile*", true},
        {L"category=FileSource", true},    // within
        {L"category=FileSource*", false},  // a pattern covers the whole
        {L"category=TvFileSource?????", true},
        {L"category=TvFileSource????", false},
        {L"category=!PROFILE", true},
        {L"process=player.EXE", true},
        {L"process=20", true},
        {L"process=2", false},
        {L"process=30", false},
        {L"thread=30", true},
        {L"thread=31 thread=30", true},
        {L"thread=31", false},
        {L"thread=!30", false},
        {L"function=*Load*", true},
        {L"function=c*::*d", true},
        {L"text=\"no SUCH \u00E4ther\"", true},
        {L"text='no such'", true},
        {L"text=no text=such", true},
        {L"text=nothing text=such", true},
        {L"text=!\"no such\"", false},
        {L"text=\"!no such\"", false},
        {L"'no such' thread=30", true},  // without a kind
        {L"!such", false},
        {L"\"thread=30\"", false},  // the mark makes a text of it
        {L"severity=error thread=30 process=player", true},
        {L"severity=error thread=30 process=other", false},
        {L"severity=error thread=30 category=!Tv*", false},
        {L"SEVERITY=error", true},
    };
    for (const auto& [words, passes] : rows)
        EXPECT_EQ(passes, Passes(words, failed)) << Narrow(words);
    EXPECT_TRUE(Passes(L"text=\"say \"\"no\"\"\"", ArrivalOf({.message = L"to say \"No\""})));
    EXPECT_TRUE(Passes(L"severity=-5", ArrivalOf({.severity = -5})));
    EXPECT_FALSE(Passes(L"severity=debug", ArrivalOf({.severity = -5})));
    EXPECT_TRUE(Passes(L"category=!x function=!x", ArrivalOf({.category = L"", .function = L""})));
}

TEST(RecordFilter, FiguresOfTimingSitesHaveNoThread) {
    const Arrival profile = ProfileOf(L"CReader::Load");
    EXPECT_TRUE(Passes(L"category=PROFILE function=Load process=20 thread=!7", profile));
    EXPECT_FALSE(Passes(L"thread=0", profile));
    EXPECT_FALSE(Passes(L"severity=info", profile));
    EXPECT_TRUE(CRecordFilter::Parse(L"category=prof*").AsksForCategory(L"PROFILE"));
    EXPECT_FALSE(CRecordFilter::Parse(L"category=!x text=PROFILE").AsksForCategory(L"PROFILE"));
}

TEST(RecordFilter, WhatMakesNoSenseIsNamed) {
    const std::pair<const wchar_t*, const char*> rows[] = {
        {L"severty=warn", "'severty' is nothing to filter by"},
        {L"severity=loud", "'loud' is no severity: debug"},
        {L"severity=99999999999", "'99999999999' is no severity"},
        {L"thread=main", "'main' is no thread"},
        {L"thread=", "thread has no value"},
        {L"text=!", "text has no value"},
        {L"text=\"\"", "text has no value"},
        {L"text=\"no such", "the quotation mark before 'no such'"},
        {L"text=\"no\"such", "no blank stands behind the quotation mark of '\"no\"'"},
        {L"a\x1B[2Jb=1", "'a<U+001B>[2Jb' is nothing"},
    };
    for (const auto& [words, complaint] : rows) {
        try {
            static_cast<void>(CRecordFilter::Parse(words));
            ADD_FAILURE() << Narrow(words);
        } catch (const console::CCommandError& error) {
            EXPECT_TRUE(Narrow(error.Text()).starts_with(complaint)) << Narrow(error.Text());
        }
    }
    EXPECT_THROW(static_cast<void>(CRecordFilter::Parse(std::wstring(2001, L'x'))), console::CCommandError);
}

TEST(RecordFilter, ItsTextIsUnderstoodAgain) {
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"", L""},
        {L"  Such   severity=warn\tTHREAD=!7 ", L"text=Such severity=warn thread=!7"},
        {L"text='a \"b\" c'", L"text=\"a \"\"b\"\" c\""},
        {L"\"!x\" '\"y' can't", L"text=\"!x\" text=\"\"\"y\" text=can't"},
    };
    for (const auto& [words, text] : rows) {
        const std::wstring is = CRecordFilter::Parse(words).Text();
        EXPECT_EQ(Narrow(text), Narrow(is));
        EXPECT_EQ(Narrow(is), Narrow(CRecordFilter::Parse(is).Text()));
    }
}

// Patterns and texts of the worst kind take milliseconds, not minutes.
TEST(RecordFilter, APatternTakesNoMoreStepsThanItsLengthTimesTheTexts) {
    std::wstring pattern = L"text=";
    for (int i = 0; i < 200; ++i)
        pattern += L"*a";
    EXPECT_FALSE(Passes(pattern + L"b", ArrivalOf({.message = std::wstring(65'536, L'a')})));
    EXPECT_TRUE(Passes(pattern, ArrivalOf({.message = std::wstring(65'536, L'a')})));
}

}  // namespace
