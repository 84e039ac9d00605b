// What `info` tells of a source's streams, as text and as JSON, and what it does where no parser can tell.
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

namespace {

using Json = nlohmann::json;

Json ObjectOf(const HostRun& run) {
    EXPECT_EQ(1, std::count(run.out.begin(), run.out.end(), '\n')) << run.out;
    return Json::parse(run.out, nullptr, false);
}

struct Info : ::testing::Test {
    void SetUp() override {
        if (!HasParsers())
            GTEST_SKIP() << "the platform has no parsers for programs of this bitness";
    }
    CTempFolder folder;
};

TEST_F(Info, TellsTheStreamsOfEachFile) {
    const char* const video = R"({"kind":"video","codecCode":"I420","width":64,"height":48,"frameRate":10.0})";
    const char* const wave = R"({"kind":"audio","codec":"PCM","sampleRate":16000,"channels":1,"bits":16})";
    const char* const bytes = R"({"kind":"audio","codec":"PCM","sampleRate":8000,"channels":1,"bits":8})";
    const char* const layer3 = R"({"kind":"audio","codecCode":"0x0055","codec":"MP3","channels":1,"bits":null})";
    const struct {
        const wchar_t* name;
        const char* parser;
        std::vector<const char*> streams;
    } rows[] = {{L"tone.wav", "WAVE Parser", {wave}},
                {L"tone.flac", "generic parser", {wave}},
                {L"tone.mp3", "MPEG-I Stream Splitter", {layer3}},
                // The AVI splitter here doesn't know the pictures' format, so the next parser is asked.
                {L"clip.avi", "generic parser", {video, bytes}},
                {L"clip.mp4", "generic parser", {video, wave}}};
    std::vector<std::wstring> names{L"--json"};
    for (const auto& row : rows)
        names.push_back(MediaFile(row.name));
    const HostRun run = RunWithFilter(L"info", names);
    EXPECT_EQ(0u, run.exitCode) << run.err;
    std::istringstream lines(run.out);
    for (const auto& [name, parser, streams] : rows) {
        std::string line;
        std::getline(lines, line);
        const Json object = Json::parse(line, nullptr, false);
        SCOPED_TRACE(line);
        EXPECT_EQ(parser, object.value("parser", ""));
        EXPECT_NEAR(0.5, object.value("duration", 0.0), 0.1);
        EXPECT_LT(0, object["reads"].value("bytesCame", 0));
        ASSERT_EQ(streams.size(), object["streams"].size());
        for (size_t i = 0; i < streams.size(); ++i) {
            const Json wanted = Json::parse(streams[i]);
            for (const auto& [key, value] : wanted.items())
                EXPECT_EQ(value, object["streams"][i].value(key, Json())) << key;
        }
    }
    ExpectRun(RunWithFilter(L"info", {MediaFile(L"clip.mp4")}), 0,
              {"\nParser   generic parser\nDuration 0.50 s\nStream   Stream 00 (video: uncompressed I420, 64x48, 10 "
               "frames/s)\nStream   Stream 01 (audio: PCM, 16000 Hz, 1 channel, 16 bits)\nReads    "});
}

TEST_F(Info, LooksAtTheContentAloneWhenToldTo) {
    const Json object = ObjectOf(RunWithFilter(L"info", {L"--json", L"--no-parse", MediaFile(L"clip.mp4")}));
    EXPECT_TRUE(object.contains("mime") && !object.contains("parser")) << object;
}

TEST_F(Info, OfWhatNoParserTakesIsNoFailureAndHasTheirAnswers) {
    const std::wstring text = folder.Write("no sound in here at all", L"text");
    const HostRun run = RunWithFilter(L"info", {L"--json", text});
    EXPECT_EQ(0u, run.exitCode) << run.err;
    const Json object = ObjectOf(run);
    EXPECT_TRUE(object["parser"].is_null() && object["tried"].size() > 1 && !object.contains("error")) << object;
    EXPECT_EQ("0x8", object["tried"][0].value("code", "").substr(0, 3)) << object;
    ExpectRun(RunWithFilter(L"info", {text}), 0,
              {"Parser   none: No parser takes the source; no type was found: ", "\n  generic parser: 0x8"});
    ExpectRun(RunWithFilter(L"info", {folder.Write("", L"empty")}), 0, {"Length   0 bytes"});
}

TEST_F(Info, OfASourceThatBreaksSaysWhere) {
    const std::wstring broken = folder.Write(ClipWithLateIndex(), L"clip.broken");
    const HostRun run = RunWithFilter(L"info", {broken}, kAwkward);
    ExpectRun(run, 1, {"the source could not be read at byte 3", ": 0x8003001E"});
    EXPECT_NE(run.out.npos, run.out.find("\nParser   none: ")) << run.out;
}

}  // namespace
