#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

#include <tuple>

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
    CTempFolder folder;
};

TEST_F(Cat, RangesComeOutAsTheyStandInTheFileAlsoOfALiveSource) {
    const std::tuple<std::vector<std::wstring>, size_t, size_t> ranges[] = {
        {{}, 0, 200'000},
        {{L"--offset", L"0", L"--length", L"0"}, 0, 0},
        {{L"--offset", L"65535", L"--length", L"2"}, 65'535, 2},
        {{L"--offset", L"1000", L"--length", L"150000"}, 1000, 150'000},
        {{L"--offset", L"199990", L"--length", L"9223372036854775807"}, 199'990, 10},
        {{L"--offset", L"5000000000000000000"}, 200'000, 0},
    };
    const std::string contents = LongContents();
    const std::wstring known = folder.Write(contents, L"known.bin"), unknown = folder.Write(contents, L"unknown.live");
    for (auto [arguments, offset, length] : ranges) {
        SCOPED_TRACE(offset);
        arguments.push_back(known);
        const HostRun fromKnown = RunWithFilter(L"cat", arguments);
        arguments.back() = unknown;
        for (const HostRun& run : {fromKnown, RunWithFilter(L"cat", arguments, kAwkward)}) {
            ExpectRun(run, 0, {});
            EXPECT_TRUE(contents.substr(offset, length) == run.out) << run.out.size();
        }
    }
}

TEST_F(Cat, WritesAnyFileButItsSource) {
    const std::wstring output = folder.Write("longer than what replaces it", L"Ausgabe \u00E4\u97F3.bin");
    const HostRun run = RunWithFilter(L"cat", {L"-o", output, L"--length", L"4", MediaFile(L"tone.wav")});
    ExpectRun(run, 0, {});
    EXPECT_EQ("RIFF", run.out + BytesOf(output));
    for (const std::wstring& bad : {output, folder.Path(), folder.PathOf(L"no\\such\\folder.bin")})
        ExpectRun(RunWithFilter(L"cat", {L"-o", bad, output}), 1, {"Cannot write"});
    EXPECT_EQ("RIFF", BytesOf(output));
}

TEST_F(Cat, ASourceThatStaysBrokenIsAnErrorBehindItsReadableBytes) {
    const std::string contents = LongContents();
    const HostRun run = RunWithFilter(L"cat", {folder.Write(contents, L"long.broken")}, kAwkward);
    ExpectRun(run, 1, {"could not be read beyond byte 131072 of 200000: 0x8003001E"});
    EXPECT_EQ(contents.substr(0, 131072), run.out);
    EXPECT_TRUE(contents == RunWithFilter(L"cat", {folder.Write(contents, L"long.hiccup")}, kAwkward).out);
    const std::wstring huge = folder.Write("x", L"x.huge");
    const HostRun ended = RunWithFilter(L"cat", {huge}, kAwkward);
    ExpectRun(ended, 1, {"could not be read beyond byte 1 of 4611686018427387904\n"});
    EXPECT_EQ("x", ended.out);
    ExpectRun(RunWithFilter(L"cat", {L"--offset", L"1000000000000", huge}, kAwkward), 1,
              {"Position 1000000000000 is more than a media sample can carry"});
}

}  // namespace
