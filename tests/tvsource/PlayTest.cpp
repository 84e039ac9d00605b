#include "tests/support/CTestApartment.h"
#include "tests/tvsource/CHost.h"
#include "tests/tvsource/CScratchFolder.h"

#include <windows.h>

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <sstream>

namespace {

size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

void ExpectPlayed(const HostRun& run, const std::string& parser, size_t streams) {
    EXPECT_EQ(0u, run.exitCode) << run.err.c_str();
    EXPECT_EQ(1u, Count(run.out, "Parser   " + parser + "\n")) << run.out;
    EXPECT_EQ(streams, Count(run.out, "Stream   ")) << run.out;
    EXPECT_EQ(streams, Count(run.out, "-> Null Renderer")) << run.out;
    EXPECT_EQ(1u, Count(run.out, "Ended    complete\n")) << run.out;
}

// The bytes that the parser asked for, as the report has them.
unsigned long long BytesRead(const std::string& report) {
    const std::string label = "Reads    ";
    const size_t at = report.find(label);
    std::istringstream numbers(at == report.npos ? std::string() : report.substr(at + label.size()));
    unsigned long long reads = 0;
    unsigned long long bytes = 0;
    std::string between;
    EXPECT_TRUE(numbers >> reads >> between >> between >> bytes) << report;
    EXPECT_LT(0u, reads);
    return bytes;
}

// Sound of half a minute's silence: longer than the filter's read buffer, so that a fault in a later read is met on the
// way.
std::string LongWave() {
    constexpr unsigned kDataBytes = 240'000;
    const auto number = [](unsigned value, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i)
            text += static_cast<char>(value >> (8 * i) & 0xFF);
        return text;
    };
    return "RIFF" + number(36 + kDataBytes, 4) + "WAVEfmt " + number(16, 4) + number(1, 2) + number(1, 2) +
           number(8000, 4) + number(8000, 4) + number(1, 2) + number(8, 2) + "data" + number(kDataBytes, 4) +
           std::string(kDataBytes, '\x80');
}

// Wine 8's parsers do not exist for 32-bit programs in its own WoW64 mode; there is nothing to play with then.
struct Play : ::testing::Test {
    void SetUp() override {
        constexpr GUID kWaveParser = {0xD51BD5A1, 0x7548, 0x11CF, {0xA5, 0x20, 0x00, 0x80, 0xC7, 0x7E, 0xF5, 0x8A}};
        const CTestApartment apartment(COINIT_MULTITHREADED);
        Microsoft::WRL::ComPtr<IUnknown> parser;
        const HRESULT hr = ::CoCreateInstance(kWaveParser, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IUnknown), &parser);
        if (FAILED(hr))
            GTEST_SKIP() << "the platform has no parsers for programs of this bitness: " << std::hex << hr;
    }
};

}  // namespace

TEST_F(Play, EveryMediaFilePlaysToItsEndThroughTheParserForItsKind) {
    const struct {
        const wchar_t* name;
        const char* parser;
        size_t streams;
    } kFiles[] = {
        {L"tone.wav", "WAVE Parser", 1},
        {L"tone.mp3", "MPEG-I Stream Splitter", 1},
        {L"tone.au", "generic parser", 1},
        {L"tone.flac", "generic parser", 1},
        {L"tone.ogg", "generic parser", 1},
        {L"clip.mkv", "generic parser", 2},
        {L"clip.mp4", "generic parser", 2},
        // The AVI splitter's video goes nowhere without a screen, so the next parser is taken.
        {L"clip.avi", "generic parser", 2},
    };
    for (const auto& file : kFiles) {
        SCOPED_TRACE(file.name);
        const HostRun run = RunWithFilter(L"play", {L"--null", MediaFile(file.name)});
        ExpectPlayed(run, file.parser, file.streams);
        EXPECT_LE(BytesOf(MediaFile(file.name)).size() / 2, BytesRead(run.out)) << run.out;
    }
}

TEST_F(Play, WithoutAScreenNullRenderersAreTakenUnasked) {
    ExpectPlayed(RunWithFilter(L"play", {MediaFile(L"clip.mkv")}), "generic parser", 2);
}

TEST_F(Play, AWaveIsReadWholeAndHardlyMore) {
    CScratchFolder folder;
    const HostRun run = RunWithFilter(L"play", {L"--null", folder.Write(L"long.wav", LongWave())});
    ExpectPlayed(run, "WAVE Parser", 1);
    EXPECT_LE(240'000u, BytesRead(run.out));
    EXPECT_GE(300'000u, BytesRead(run.out));
}

TEST_F(Play, AnyNameThatWindowsTakesIsPlayed) {
    CScratchFolder folder;
    const std::wstring folderName(60, L'n');
    const std::wstring kNames[] = {
        L"T\u00F6ne \u97F3\u697D \U0001F3B5.wav",
        L"with spaces & 100%.wav",
        L"no extension",
        L"wrong extension.mp3",
        folderName + L"\\" + folderName + L"\\" + folderName + L"\\" + folderName + L"\\beyond 260 characters.wav",
    };
    for (const std::wstring& name : kNames) {
        const HostRun run = RunWithFilter(L"play", {L"--null", folder.Copy(MediaFile(L"tone.wav"), name)});
        EXPECT_EQ(0u, run.exitCode) << run.err.c_str();
        EXPECT_EQ(1u, Count(run.out, "Ended    complete\n")) << run.out;
    }
}

TEST_F(Play, ATypeThatTheFilterDoesNotKnowIsGuessedFromTheNameAndSaidSo) {
    // A folder of their own, so that no library that knows types stands beside them.
    CScratchFolder folder;
    const std::wstring program = folder.Copy(BuiltFile(L"tvsource.exe"), L"tvsource.exe");
    const std::wstring library = folder.Copy(BuiltFile(L"TvFileSourceAsync.dll"), L"TvFileSourceAsync.dll");
    const struct {
        const wchar_t* name;
        const wchar_t* message;
    } kNames[] = {
        {L"a.MP3", L"trying .MP3: Stream / MPEG1Audio"},
        {L"a.b.mp2", L"trying .mp2: Stream / MPEG1Audio"},
        {L"a.xyz", L"trying .xyz: Stream / any"},
        {L"a.dot\\a", L"trying a name without extension: Stream / any"},
    };
    for (const auto& row : kNames) {
        const std::wstring file = folder.Copy(MediaFile(L"tone.mp3"), row.name);
        const HostRun guessed = RunHostAt(program, {L"play", L"--null", L"--dll", library, file});
        EXPECT_EQ(0u, guessed.exitCode);
        EXPECT_NE(std::wstring::npos, guessed.err.find(row.message)) << guessed.err.c_str();
        const HostRun told =
            RunHostAt(program, {L"play", L"--null", L"--dll", library, L"--type", L"MPEG1Audio", file});
        ExpectPlayed(told, "MPEG-I Stream Splitter", 1);
        EXPECT_EQ(std::wstring::npos, told.err.find(L"trying")) << told.err.c_str();
    }
}

TEST_F(Play, WhatNoParserTakesIsAnErrorThatNamesThemAll) {
    CScratchFolder folder;
    const HostRun text = RunWithFilter(L"play", {L"--null", folder.Write(L"text.wav", "no sound in here at all")});
    EXPECT_EQ(1u, text.exitCode);
    EXPECT_NE(std::wstring::npos, text.err.find(L"No parser takes the source\n  WAVE Parser: 0x8")) << text.err.c_str();
    EXPECT_NE(std::wstring::npos, text.err.find(L"\n  generic parser: 0x8")) << text.err.c_str();

    const HostRun empty = RunWithFilter(L"play", {L"--null", folder.Write(L"empty.wav", "")});
    EXPECT_EQ(1u, empty.exitCode);
    EXPECT_NE(std::wstring::npos, empty.err.find(L"empty.wav is empty")) << empty.err.c_str();
}

TEST_F(Play, ASourceThatBreaksOnTheWayEndsTheRunWithAnError) {
    CScratchFolder folder;
    const HostRun run = RunAwkward(L"play", {L"--null", L"--type", L"WAVE", folder.Write(L"long.broken", LongWave())});
    EXPECT_EQ(1u, run.exitCode);
    EXPECT_EQ(1u, Count(run.out, "Ended    stopped")) << run.out;
}
