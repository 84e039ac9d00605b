#include "tests/support/CTempFolder.h"
#include "tests/support/MediaFiles.h"
#include "tests/tvsource/CHost.h"

#include <algorithm>
#include <cstdio>
#include <tuple>

namespace {

size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

// How many they were, what they asked for, and what came of that.
std::tuple<unsigned, unsigned, unsigned> ReadsOf(const HostRun& run) {
    unsigned reads = 0, asked = 0, came = 0;
    const std::string line = run.out.substr(std::min(run.out.find("Reads "), run.out.size()));
    EXPECT_EQ(3, std::sscanf(line.c_str(), "Reads %u, of %u bytes together; %u came", &reads, &asked, &came)) << line;
    return {reads, asked, came};
}

void ExpectPlayed(const HostRun& run, const std::string& parser, size_t streams) {
    ExpectRun(
        run, 0,
        {"\nOffers   Stream / ", "Parser   " + parser + "\n", " channel", " -> Null Renderer", "Ended    complete\n"});
    EXPECT_EQ(streams, Count(run.out, "-> Null Renderer")) << run.out;
    const auto [reads, asked, came] = ReadsOf(run);
    EXPECT_TRUE(reads > 0 && asked > reads && asked == came) << run.out;
}

struct Play : ::testing::Test {
    void SetUp() override {
        if (!HasParsers())
            GTEST_SKIP() << "the platform has no parsers for programs of this bitness";
    }
    CTempFolder folder;
};

TEST_F(Play, EveryMediaFilePlaysToItsEndThroughTheParserForItsContent) {
    const std::tuple<const wchar_t*, const char*, size_t> files[] = {
        {L"tone.wav", "WAVE Parser", 1},
        {L"tone.mp3", "MPEG-I Stream Splitter", 1},
        {L"tone.au", "generic parser", 1},
        {L"tone.ogg", "generic parser", 1},
        {L"clip.mkv", "generic parser", 2},
        {L"clip.mp4", "generic parser", 2},
        // The AVI splitter's video goes nowhere without a screen, so the next parser is taken.
        {L"clip.avi", "generic parser", 2}};
    for (const auto& [name, parser, streams] : files)
        ExpectPlayed(RunWithFilter(L"play", {L"--null", MediaFile(name)}), parser, streams);
    ExpectPlayed(RunWithFilter(L"play", {MediaFile(L"clip.mkv")}), "generic parser", 2);  // renderers taken unasked
}

TEST_F(Play, AFormatWithoutATypeIsOfferedAsAnyWithANote) {
    const std::pair<std::vector<std::wstring>, size_t> rows[] = {{{L"--null"}, 1}, {{L"--null", L"--type", L"any"}, 0}};
    for (auto [arguments, notes] : rows) {
        arguments.push_back(MediaFile(kFormatWithoutAType));
        const HostRun run = RunWithFilter(L"play", arguments);
        ExpectRun(run, 0, {"\nType     Stream / any\nParser   generic parser\n", "Ended    complete\n"});
        EXPECT_EQ(notes, Count(run.err, "Parsers are offered any"));
    }
}

TEST_F(Play, WhatNoParserTakesIsAnErrorThatNamesThemAll) {
    ExpectRun(RunWithFilter(L"play", {L"--null", L"--type", L"WAVE", folder.Write("no sound in here at all", L"text")}),
              1,
              {"No parser takes the source; it was offered as Stream / WAVE; ", "\n  WAVE Parser: 0x8",
               "\n  generic parser: 0x8"});
    ExpectRun(RunWithFilter(L"play", {L"--null", folder.Write("", L"empty.wav")}), 1, {"empty.wav is empty"});
}

TEST_F(Play, ASourceThatBreaksOnTheWayEndsTheRunWithAnError) {
    const HostRun run = RunWithFilter(
        L"play", {L"--null", L"--type", L"MPEG1Audio", folder.Write(LongSound(), L"long.broken")}, kAwkward);
    ExpectRun(run, 1, {});
    EXPECT_EQ(1u, Count(run.out, "Ended    stopped by an error, 0x8003001E")) << run.out;
    const auto [reads, asked, came] = ReadsOf(run);
    EXPECT_TRUE(0 < came && came < asked) << run.out;
}

TEST_F(Play, SamplesAreCountedByTheRuleOfThePlatformUnlessToldOtherwise) {
    const std::wstring wave = MediaFile(L"tone.wav");
    EXPECT_EQ("samples are not counted\n", RunWithFilter(L"play", {L"--null", wave}, kAwkward).err);
    EXPECT_EQ("samples are counted\n", RunWithFilter(L"play", {L"--null", L"--counted-samples", wave}, kAwkward).err);
}

// Behind the end of a source that doesn't know it, the parser would read for ever.
TEST_F(Play, ASourceOfWhichNothingComesIsGivenUpByWhoeverBuildsAGraph) {
    const std::wstring output = folder.Write("", L"out.dot");
    const std::string sound = LongSound().substr(0, 500'000);
    for (const auto& [command, name] : {std::pair(L"graph", L"long.huge"), std::pair(L"trace", L"long.live")})
        ExpectRun(
            RunWithFilter(command, {L"--type", L"MPEG1Audio", L"-o", output, folder.Write(sound, name)}, kAwkward), 1,
            {"nothing comes from the source while a parser reads it"});
}

// One source never lets the parser stop; the other never returns to whoever asks why it failed.
TEST_F(Play, AReadThatNeverEndsDoesNotKeepTheProgram) {
    for (const wchar_t* name : {L"long.felled", L"long.stuck"}) {
        const HostRun run =
            RunWithFilter(L"play", {L"--null", L"--type", L"MPEG1Audio", folder.Write(LongSound(), name)}, kAwkward);
        ExpectRun(run, 1, {"a read of the source does not end; the program ends without it\n"});
        EXPECT_EQ(1u, Count(run.out, "Parser   MPEG-I Stream Splitter\n")) << run.out;
    }
}

// This Wine prefix has no screen.
TEST_F(Play, AWindowThatWasAskedForWithoutAScreenIsAFailure) {
    ExpectRun(RunWithFilter(L"play", {L"--window", MediaFile(L"clip.mkv")}), 1,
              {"there is no screen that a window could stand on\n"});
}

}  // namespace
