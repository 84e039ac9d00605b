// The graph that plays a source, as a picture.
#include "tests/support/CTempFolder.h"
#include "tests/support/CTestApartment.h"
#include "tests/tvsource/CHost.h"
#include "tests/tvsource/HostileGraph.h"
#include "tests/tvsource/XmlCheck.h"
#include "tvsource/graph/GraphPicture.h"

#include <map>
#include <regex>

namespace {

using tvsource::GraphModel;
using tvsource::SvgPlace;

struct GraphPicture : ::testing::Test {
    void SetUp() override {
        if (!MakeXmlDocument())
            GTEST_SKIP() << "the platform has no XML parser";
    }
    CTestApartment apartment{COINIT_MULTITHREADED};
};

// Without the labels, whose ends are found as Graphviz finds them.
std::string DotWithoutLabels(const std::string& dot) {
    return std::regex_replace(dot, std::regex(R"("([^"\\]|\\.)*")"), "L");
}

TEST_F(GraphPicture, OfAnyNamesIsWellFormedAndHasThemAll) {
    for (const SvgPlace place : {SvgPlace::File, SvgPlace::Page}) {
        const std::string svg = SvgOfGraph(HostileGraph(), kHostileName, place);
        // A line of the title, 3 names of filters, 8 of pins, 4 of types; empty ones have none.
        EXPECT_EQ(16, CountElements(svg, L"text"));
        EXPECT_EQ(4, CountElements(svg, L"rect"));
        EXPECT_EQ(5, CountElements(svg, L"path"));
        EXPECT_NE(svg.npos, svg.find("&#60;b&#62;&#38;amp; &#34;it&#39;s")) << svg;
        EXPECT_NE(svg.npos, svg.find("&#60;U+202E&#62;")) << "the direction of writing is turned";
        EXPECT_EQ(svg.npos, svg.find("http", svg.find("2000/svg"))) << "something outside is referred to";
    }
    const std::string dot = DotWithoutLabels(DotOfGraph(HostileGraph(), kHostileName));
    EXPECT_TRUE(std::regex_match(dot, std::regex(R"([A-Za-z0-9_\s{}=\[\];:,>-]*)"))) << dot;
    EXPECT_EQ(2, std::ranges::count(dot, '{') + std::ranges::count(dot, '}')) << dot;
    EXPECT_EQ(1, CountElements(SvgOfGraph({}, L"", SvgPlace::File), L"svg"));
}

// The left side of each box, by the filter's name.
std::map<std::string, int> SidesIn(const std::string& svg) {
    std::map<std::string, int> sides;
    const std::regex box("<rect x=\"(\\d+)\"[^>]*/>\\s*<text[^>]*>([^<]*)<");
    for (std::sregex_iterator at(svg.begin(), svg.end(), box), end; at != end; ++at)
        sides[(*at)[2]] = std::stoi((*at)[1]);
    return sides;
}

TEST_F(GraphPicture, HasEachFilterBehindAllThatItGetsDataFrom) {
    // The last of them are given first, and the source has also a short way to the renderer.
    const GraphModel graph{{{L"end", {L"1", L"2"}, {}},
                            {L"two", {L"i"}, {L"o"}},
                            {L"one", {L"i"}, {L"o"}},
                            {L"source", {}, {L"1", L"2"}},
                            {L"alone", {}, {}}},
                           {{3, 0, 0, 0, L"short"}, {1, 0, 0, 1, L"t"}, {2, 0, 1, 0, L"t"}, {3, 1, 2, 0, L"t"}}};
    const std::string svg = SvgOfGraph(graph, L"", SvgPlace::File);
    auto sides = SidesIn(svg);
    EXPECT_EQ(5u, sides.size());
    EXPECT_LT(sides["source"], sides["one"]);
    EXPECT_LT(sides["one"], sides["two"]);
    EXPECT_LT(sides["two"], sides["end"]);
    EXPECT_EQ(sides["source"], sides["alone"]);
    // Between them, the short way's line goes below the boxes that stand there.
    std::smatch lane, box;
    ASSERT_TRUE(std::regex_search(svg, lane, std::regex("(\\d+) (\\d+) L(\\d+) (\\d+) C[^L]*>\\s*<text[^>]*>short<")))
        << svg;
    EXPECT_EQ(lane[2], lane[4]);
    EXPECT_LE(std::stoi(lane[1]), sides["one"]);
    EXPECT_LT(sides["two"], std::stoi(lane[3]));
    for (const char* name : {"one", "two"}) {
        ASSERT_TRUE(std::regex_search(
            svg, box,
            std::regex(std::string("y=\"(\\d+)\" width=\"\\d+\" height=\"(\\d+)\"[^>]*/>\\s*<text[^>]*>") + name)));
        EXPECT_LT(std::stoi(box[1]) + std::stoi(box[2]), std::stoi(lane[2])) << name;
    }
}

struct Graph : GraphPicture {
    void SetUp() override {
        GraphPicture::SetUp();
        if (!IsSkipped() && RunWithFilter(L"play", {L"--null", MediaFile(L"tone.wav")}).exitCode != 0)
            GTEST_SKIP() << "the platform has no parsers";
    }
    CTempFolder folder;
};

TEST_F(Graph, OfAFileHasItsFiltersAndTheTypesBetweenThem) {
    const std::tuple<const wchar_t*, const char*, std::vector<std::string>> files[] = {
        {L"tone.wav", "WAVE Parser", {"Stream / WAVE", "audio PCM 16000 Hz 1 ch"}},
        {L"clip.avi", "generic parser", {"Stream / Avi", "video I420 64x48", "audio PCM 8000 Hz 1 ch"}},
        {L"clip.mkv", "generic parser", {"Stream / any", "video I420 64x48", "audio float 16000 Hz 1 ch"}}};
    const std::wstring svg = folder.Write("", L"a & b.SVG"), dot = folder.Write("", L"a.gv");
    for (const auto& [name, parser, types] : files) {
        ExpectRun(RunWithFilter(L"graph", {MediaFile(name), L"-o", svg}), 0, {});
        const std::string picture = BytesOf(svg);
        EXPECT_EQ(static_cast<long>(types.size()), CountElements(picture, L"path"));
        EXPECT_EQ(static_cast<long>(types.size()) + 1, CountElements(picture, L"rect"));
        const HostRun run = RunWithFilter(L"graph", {MediaFile(name)});
        ExpectRun(run, 0, {"digraph ", parser, "f0:o0:e -> f1:i0:w"});
        ExpectRun(RunWithFilter(L"graph", {MediaFile(name), L"-o", dot}), 0, {});
        EXPECT_EQ(run.out, BytesOf(dot));
        const std::string json = RunWithFilter(L"graph", {L"--json", MediaFile(name)}).out;
        for (const std::string& type : types) {
            for (const std::string& text : {picture, run.out, json})
                EXPECT_NE(text.npos, text.find(type)) << type << "\n" << text;
        }
    }
}

TEST_F(Graph, ThatCannotBeDrawnIsAnErrorAndNoPicture) {
    const std::wstring wave = MediaFile(L"tone.wav"), output = folder.Write("old", L"old.svg");
    ExpectRun(RunWithFilter(L"graph", {wave, L"-o", L"x.png"}), 2, {"--format"});
    ExpectRun(RunWithFilter(L"graph", {wave, L"--format", L"png"}), 2, {"png"});
    ExpectRun(RunWithFilter(L"graph", {wave, L"-o", folder.Path() + L"\\no\\x.svg"}), 1, {"Cannot write"});
    const std::pair<const wchar_t*, const char*> sources[] = {
        {L"a.unreadable", "No parser takes the source; "}, {L"a.wav", "is empty"}, {L"a.older", "Cannot open"}};
    for (const auto& [name, words] : sources) {
        const std::wstring source = folder.Write(L".wav" == std::wstring(name).substr(1) ? "" : LongSound(), name);
        const HostRun run = RunWithFilter(L"graph", {L"--type", L"MPEG1Audio", source, L"-o", output}, kAwkward);
        ExpectRun(run, 1, {words});
        EXPECT_EQ("old", run.out + BytesOf(output));
    }
}

}  // namespace
