#include "tests/tvsource/CHost.h"
#include "tests/tvsource/CScratchFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

// Longer than three blocks of a reader and than the filter's buffer, and no two blocks of it alike.
std::string LongContents() {
    std::string contents;
    for (unsigned i = 0; contents.size() < 200'000; ++i)
        contents += std::to_string(i) + "\r\n";
    return contents;
}

struct Range {
    std::vector<std::wstring> options;
    size_t offset;
    size_t length;
};

const Range kRanges[] = {
    {{}, 0, std::string::npos},
    {{L"--offset", L"0", L"--length", L"0"}, 0, 0},
    {{L"--length", L"1"}, 0, 1},
    {{L"--offset", L"65535", L"--length", L"2"}, 65535, 2},
    {{L"--offset", L"1000", L"--length", L"150000"}, 1000, 150000},
    {{L"--offset", L"199000"}, 199000, std::string::npos},
    {{L"--offset", L"199990", L"--length", L"9223372036854775807"}, 199990, std::string::npos},
};

std::vector<std::wstring> With(std::vector<std::wstring> options, const std::wstring& name) {
    options.push_back(name);
    return options;
}

// The folder that relative names start from, until this object goes.
class CCurrentFolder final {
public:
    explicit CCurrentFolder(const std::filesystem::path& folder) { std::filesystem::current_path(folder); }
    CCurrentFolder(const CCurrentFolder&) = delete;
    CCurrentFolder& operator=(const CCurrentFolder&) = delete;
    ~CCurrentFolder() { std::filesystem::current_path(m_before); }

private:
    const std::filesystem::path m_before = std::filesystem::current_path();
};

}  // namespace

TEST(Cat, EveryMediaFileComesOutByteByByte) {
    for (const auto& entry : std::filesystem::directory_iterator(TV_TEST_MEDIA)) {
        SCOPED_TRACE(entry.path());
        const HostRun run = RunWithFilter(L"cat", {MediaFile(entry.path().filename().wstring())});
        EXPECT_EQ(0u, run.exitCode);
        EXPECT_EQ(BytesOf(entry.path().wstring()), run.out);
        EXPECT_EQ(L"", run.err);
    }
}

TEST(Cat, RangesComeOutAsTheyStandInTheFile) {
    CScratchFolder folder;
    const std::string contents = LongContents();
    // The same ranges of a source whose length nobody knows: the bytes before are read and left out.
    const std::wstring known = folder.Write(L"known.bin", contents);
    const std::wstring unknown = folder.Write(L"unknown.live", contents);
    for (const Range& range : kRanges) {
        SCOPED_TRACE(range.offset);
        SCOPED_TRACE(range.length);
        const std::string expected = contents.substr(range.offset, range.length);
        const HostRun fromKnown = RunWithFilter(L"cat", With(range.options, known));
        EXPECT_EQ(0u, fromKnown.exitCode) << fromKnown.err.c_str();
        EXPECT_TRUE(expected == fromKnown.out) << fromKnown.out.size();
        const HostRun fromUnknown = RunAwkward(L"cat", With(range.options, unknown));
        EXPECT_EQ(0u, fromUnknown.exitCode);
        EXPECT_TRUE(expected == fromUnknown.out) << fromUnknown.out.size();
    }
}

TEST(Cat, NamesMayBeWrittenInAnyOfWindowsWays) {
    CScratchFolder folder;
    const std::wstring full = folder.Write(L"-name.bin", "found");
    std::wstring slashes = full;
    std::replace(slashes.begin(), slashes.end(), L'\\', L'/');
    const std::vector<std::wstring> kNames[] = {
        {full},
        {slashes},
        {L"--", full},
        {L"file:///" + slashes},
    };
    const CCurrentFolder current(folder.Path());
    for (const auto& name : kNames) {
        const HostRun run = RunWithFilter(L"cat", name);
        EXPECT_EQ("found", run.out) << run.err.c_str();
    }
    EXPECT_EQ("found", RunWithFilter(L"cat", {L"--", L"-name.bin"}).out);
    // As the build names it: a path that begins with a slash, and yet no option.
    const std::wstring media = std::filesystem::path(TV_TEST_MEDIA "/tone.mp3").wstring();
    EXPECT_EQ(BytesOf(media), RunWithFilter(L"cat", {media}).out);
}

TEST(Cat, AnOffsetAtOrBehindTheEndGivesNothing) {
    CScratchFolder folder;
    for (const wchar_t* name : {L"ten.bin", L"ten.live"}) {
        const std::wstring file = folder.Write(name, "0123456789");
        for (const wchar_t* offset : {L"10", L"11", L"5000000000000000000"}) {
            const HostRun run = RunAwkward(L"cat", {L"--offset", offset, file});
            EXPECT_EQ(0u, run.exitCode) << run.err.c_str();
            EXPECT_EQ("", run.out);
        }
    }
}

TEST(Cat, WritesAFileOfAnyNameInPlaceOfStandardOutput) {
    CScratchFolder folder;
    const std::wstring output =
        folder.Write(L"Ausgabe \u00E4\u97F3.bin", "longer than what replaces it, for it is replaced");
    const HostRun run = RunWithFilter(L"cat", {L"-o", output, L"--length", L"4", MediaFile(L"tone.wav")});
    EXPECT_EQ(0u, run.exitCode);
    EXPECT_EQ("", run.out);
    EXPECT_EQ("RIFF", BytesOf(output));
}

TEST(Cat, AnOutputThatCannotBeWrittenIsAnErrorAndTheSourceSurvivesBeingNamedAsOne) {
    CScratchFolder folder;
    const std::wstring source = folder.Write(L"source.bin", "precious");
    for (const std::wstring& output : {source, folder.Path(), folder.PathOf(L"no\\such\\folder.bin")}) {
        const HostRun run = RunWithFilter(L"cat", {L"-o", output, source});
        EXPECT_EQ(1u, run.exitCode);
        EXPECT_NE(std::wstring::npos, run.err.find(L"Cannot write")) << run.err.c_str();
        EXPECT_EQ("precious", BytesOf(source));
    }
}

TEST(Cat, ASourceThatBreaksIsAnErrorWithWhatCouldBeReadWritten) {
    CScratchFolder folder;
    const std::string contents = LongContents();
    const HostRun run = RunAwkward(L"cat", {folder.Write(L"long.broken", contents)});
    EXPECT_EQ(1u, run.exitCode);
    EXPECT_NE(std::wstring::npos, run.err.find(L"could not be read beyond byte 131072")) << run.err.c_str();
    EXPECT_EQ(contents.substr(0, 131072), run.out);
}
