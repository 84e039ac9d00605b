#include "tests/support/CTempFolder.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/MediaFiles.h"
#include "tests/tvsource/CHost.h"

#include <wrl/client.h>

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
    ExpectRun(run, 0, {"\nOffered  Stream / ", "Parser   " + parser + "\n", " (audio) -> Null", "Ended    complete\n"});
    EXPECT_EQ(streams, Count(run.out, "-> Null Renderer")) << run.out;
    const auto [reads, asked, came] = ReadsOf(run);
    EXPECT_TRUE(reads > 0 && asked > reads && asked == came) << run.out;
}

// Wine 8's parsers do not exist for 32-bit programs in its own WoW64 mode; there is nothing to play with then.
struct Play : ::testing::Test {
    void SetUp() override {
        constexpr GUID kWaveParser = {0xD51BD5A1, 0x7548, 0x11CF, {0xA5, 0x20, 0x00, 0x80, 0xC7, 0x7E, 0xF5, 0x8A}};
        const CTestApartment apartment(COINIT_MULTITHREADED);
        Microsoft::WRL::ComPtr<IUnknown> parser;
        if (FAILED(::CoCreateInstance(kWaveParser, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&parser))))
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

TEST_F(Play, AFormatWithoutATypePlaysOnlyWithOneNamed) {
    const std::wstring flac = MediaFile(kFormatWithoutAType);
    EXPECT_EQ(1u, Count(RunWithFilter(L"play", {L"--null", flac}).err, "No type was found: "));
    const HostRun told = RunWithFilter(L"play", {L"--null", L"--type", L"any", flac});
    ExpectPlayed(told, "generic parser", 1);
    EXPECT_EQ("", told.err);
}

TEST_F(Play, WhatNoParserTakesIsAnErrorThatNamesThemAll) {
    ExpectRun(RunWithFilter(L"play", {L"--null", L"--type", L"WAVE", folder.Write("no sound in here at all", L"text")}),
              1, {"No parser takes the source\n  WAVE Parser: 0x8", "\n  generic parser: 0x8"});
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

// One source never lets the parser stop; the other never returns to whoever asks why it failed.
TEST_F(Play, AReadThatNeverEndsDoesNotKeepTheProgram) {
    for (const wchar_t* name : {L"long.felled", L"long.stuck"}) {
        const HostRun run =
            RunWithFilter(L"play", {L"--null", L"--type", L"MPEG1Audio", folder.Write(LongSound(), name)}, kAwkward);
        ExpectRun(run, 1, {"a read of the source does not end; the program ends without it\n"});
        EXPECT_EQ(1u, Count(run.out, "Parser   MPEG-I Stream Splitter\n")) << run.out;
    }
}

}  // namespace
