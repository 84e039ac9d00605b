#include "tests/tvsource/CScratchFolder.h"

#include <algorithm>

namespace {

// Longer than three blocks of a reader and than the filter's buffer, and no two blocks of it alike.
std::string LongContents() {
    std::string contents;
    for (unsigned i = 0; contents.size() < 200'000; ++i)
        contents += std::to_string(i) + "\r\n";
    contents.resize(200'000);
    return contents;
}

struct Cat : ::testing::Test {
    CScratchFolder folder;
};

TEST_F(Cat, EveryMediaFileComesOutByteByByte) {
    for (const auto& entry : std::filesystem::directory_iterator(TV_TEST_MEDIA)) {
        SCOPED_TRACE(entry.path());
        const HostRun run = RunWithFilter(L"cat", {MediaFile(entry.path().filename().wstring())});
        ExpectRun(run, 0, {});
        EXPECT_EQ(BytesOf(entry.path().wstring()), run.out);
        EXPECT_EQ("", run.err);
    }
}

TEST_F(Cat, RangesComeOutAsTheyStandInTheFile) {
    const struct {
        const wchar_t *offset, *length;  // null: the option is not given
    } ranges[] = {
        {nullptr, nullptr},   {L"0", L"0"},         {nullptr, L"1"},
        {L"65535", L"2"},     {L"199000", nullptr}, {L"199990", L"9223372036854775807"},
        {L"1000", L"150000"}, {L"200000", nullptr}, {L"5000000000000000000", nullptr},
    };
    const std::string contents = LongContents();
    // The same ranges of a source whose length nobody knows: the bytes before are read and left out.
    const std::wstring known = folder.Write(L"known.bin", contents), unknown = folder.Write(L"unknown.live", contents);
    for (const auto& range : ranges) {
        SCOPED_TRACE(&range - ranges);
        std::vector<std::wstring> arguments;
        std::string expected = contents;
        if (range.offset) {
            arguments.insert(arguments.end(), {L"--offset", range.offset});
            expected.erase(0, static_cast<size_t>(std::min<ULONGLONG>(_wcstoui64(range.offset, nullptr, 10), 200'000)));
        }
        if (range.length) {
            arguments.insert(arguments.end(), {L"--length", range.length});
            expected.resize(
                static_cast<size_t>(std::min<ULONGLONG>(_wcstoui64(range.length, nullptr, 10), expected.size())));
        }
        arguments.push_back(known);
        const HostRun fromKnown = RunWithFilter(L"cat", arguments);
        arguments.back() = unknown;
        const HostRun fromUnknown = RunAwkward(L"cat", arguments);
        for (const HostRun& run : {fromKnown, fromUnknown}) {
            ExpectRun(run, 0, {});
            EXPECT_TRUE(expected == run.out) << run.out.size();
        }
    }
}

TEST_F(Cat, NamesMayBeWrittenInAnyOfWindowsWays) {
    const std::wstring full = folder.Write(L"-name.bin", "found");
    std::wstring slashes = full;
    std::replace(slashes.begin(), slashes.end(), L'\\', L'/');
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    const std::vector<std::wstring> names[] = {
        {full}, {slashes}, {L"--", full}, {L"--", L"-name.bin"}, {L"file:///" + slashes}};
    for (const auto& name : names) {
        const HostRun run = RunWithFilter(L"cat", name);
        EXPECT_EQ("found", run.out) << run.err;
    }
    std::filesystem::current_path(before);
    // As the build names it: a path that begins with a slash, and yet no option.
    const std::wstring media = std::filesystem::path(TV_TEST_MEDIA "/tone.mp3").wstring();
    EXPECT_EQ(BytesOf(media), RunWithFilter(L"cat", {media}).out);
}

TEST_F(Cat, WritesAFileOfAnyNameInPlaceOfStandardOutput) {
    const std::wstring output = folder.Write(L"Ausgabe \u00E4\u97F3.bin", "longer than what replaces it");
    const HostRun run = RunWithFilter(L"cat", {L"-o", output, L"--length", L"4", MediaFile(L"tone.wav")});
    ExpectRun(run, 0, {});
    EXPECT_EQ("", run.out);
    EXPECT_EQ("RIFF", BytesOf(output));
}

TEST_F(Cat, AnOutputThatCannotBeWrittenIsAnErrorAndTheSourceSurvivesBeingNamedAsOne) {
    const std::wstring source = folder.Write(L"source.bin", "precious");
    for (const std::wstring& output : {source, folder.Path(), folder.PathOf(L"no\\such\\folder.bin")}) {
        ExpectRun(RunWithFilter(L"cat", {L"-o", output, source}), 1, {"Cannot write"});
        EXPECT_EQ("precious", BytesOf(source));
    }
}

TEST_F(Cat, ASourceThatBreaksIsAnErrorWithWhatCouldBeReadWritten) {
    const std::string contents = LongContents();
    const HostRun run = RunAwkward(L"cat", {folder.Write(L"long.broken", contents)});
    ExpectRun(run, 1, {"could not be read beyond byte 131072"});
    EXPECT_EQ(contents.substr(0, 131072), run.out);
}

}  // namespace
