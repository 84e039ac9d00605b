// What the program says of the MIME types of files.
#include "base/CAutoDestructor.h"
#include "tests/support/CTempFolder.h"
#include "tests/support/MediaFiles.h"
#include "tests/tvsource/CHost.h"

#include <filesystem>

namespace {

struct Detect : ::testing::Test {
    CTempFolder folder;
};

TEST_F(Detect, EachFileNamedOrInAFolderIsOneLine) {
    const std::wstring deep = folder.Copy(MediaFile(L"tone.mp3"), L"a\\b\\no extension");
    const std::wstring wrong = folder.Copy(MediaFile(L"clip.avi"), L"c \u97F3.txt");
    const std::wstring text = folder.Write("no media", L"d.wav");
    folder.Write("", L"e.mp3");
    const std::string root = Utf8(folder.Path());
    const std::wstring slashes = std::filesystem::path(folder.Path()).generic_wstring();
    const HostRun run = RunHost({L"detect", L"--progress", slashes, text});
    EXPECT_EQ(root + "\\a\\b\\no extension\taudio/mpeg\n" + root + "\\c \xE9\x9F\xB3.txt\tvideo/avi\n" + root +
                  "\\d.wav\t-\n" + root + "\\e.mp3\t-\n" + root + "\\d.wav\t-\n",
              run.out);
    EXPECT_TRUE(run.err.starts_with("\rfile 1") && run.err.ends_with("\r      \r")) << run.err;
    EXPECT_EQ(0u, run.exitCode);
}

// More than it looks at ahead, of unequal length, one of them missing: whichever is looked at first.
TEST_F(Detect, ManyFilesAreToldInTheOrderInWhichTheyWereGiven) {
    std::string lines;
    std::vector<std::wstring> command = {L"detect"};
    const CCurrentFolder current(folder.Path());
    for (int i = 0; i < 600; ++i) {
        command.push_back(std::to_wstring((i * 7) % 600));
        if (i == 300)
            continue;
        folder.Write(std::string(i % 5 == 0 ? 200'000 : 10, '\0'), command.back());
        lines += Utf8(command.back()) + "\t-\n";
    }
    const HostRun run = RunHost(command);
    ExpectRun(run, 1, {"tvsource: 300: Cannot find ", "0x80070002 (no such file)"});
    EXPECT_EQ(lines, run.out);
}

TEST_F(Detect, PatternsStandForWhatTheyMatchInTheLastPartOfThePath) {
    for (const wchar_t* name : {L"in\\a1.wav", L"in\\a2.wav", L"in\\b1.mp3", L"in\\a3.wav\\x"})
        folder.Write("", name);
    const CCurrentFolder current(folder.Path());
    folder.Write("", L"z");
    const std::wstring drive = folder.Path().substr(0, 2);  // its current folder is that one
    const std::pair<std::vector<std::wstring>, std::string> patterns[] = {
        {{L"detect", L"in\\*.wav"}, "in\\a1.wav\t-\nin\\a2.wav\t-\nin\\a3.wav\\x\t-\n"},
        {{L"detect", L"in/?1.*", L"in/a2.wav"}, "in\\a1.wav\t-\nin\\b1.mp3\t-\nin\\a2.wav\t-\n"},
        {{L"detect", L"i?"}, "in\\a1.wav\t-\nin\\a2.wav\t-\nin\\a3.wav\\x\t-\nin\\b1.mp3\t-\n"},
        {{L"detect", drive + L"z*"}, Utf8(drive) + "z\t-\n"},
        {{L"detect", folder.Path() + L"\\in\\b*"}, Utf8(folder.Path()) + "\\in\\b1.mp3\t-\n"}};
    for (const auto& [arguments, lines] : patterns)
        EXPECT_EQ(lines, RunHost(arguments).out);
    // It goes on after what can't be read.
    const std::wstring locked = folder.Write("RIFF", L"locked.wav");
    const base::CAutoHandle lock(::CreateFileW(locked.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    const HostRun run = RunHost({L"detect", L"in\\*.ogg", L"no\\*.wav", L"nosuch:*", locked, L"no.wav", L"in\\a1.wav"});
    ExpectRun(run, 1,
              {"tvsource: in\\*.ogg: no file has such a name\n", "tvsource: no\\*.wav: Cannot list it: 0x8",
               "tvsource: nosuch:*: Cannot open it: 0x8", "locked.wav: Cannot open it: 0x80070020 (in use by another",
               "no.wav: 0x80070002 (no such file)"});
    EXPECT_EQ("in\\a1.wav\t-\n", run.out);
}

TEST_F(Detect, ExplainsWhichRuleSpokeOnWhatBytes) {
    ExpectRun(RunHost({L"detect", L"--explain", MediaFile(L"tone.wav")}), 0,
              {"tone.wav\taudio/wav\n  found: WAVE: ", "(bytes 20 to 35: 01 00 01 00 ", "  no sign of: "});
    ExpectRun(RunHost({L"detect", L"--explain", folder.Write({"RIFF\x10\0\0\0WAVE", 12}, L"cut.wav")}), 0,
              {"cut.wav\t-\n  nothing found\n", "ruled out: WAVE: "});
}

TEST_F(Detect, ANullOrAnEmptyAnswerAndOneThatIsCutShortAreToldApart) {
    const std::string slow = "the source is slow: only what came in time was judged", failed = "Cannot read it: 0x8003";
    const std::string nothing = "none (no type was found)";
    const struct {
        bool isOlder;                      // the dictionary
        std::string content;               // see AwkwardDictionary.cpp
        std::string types, fault, offers;  // offers: of the filter
    } rows[] = {{false, "audio/wav|video/avi|1|", "video/avi", slow, "Stream / Avi"},
                {false, "||1|", "-", slow, nothing},
                {false, "!|video/avi|0|", "video/avi", "", "Stream / Avi"},
                {false, "audio/wav|!|80030005|", "", failed + "0005", nothing},
                {false, "|!|0|", "", failed + "001E", nothing},
                {true, "audio/wav|video/avi|1|", "audio/wav", "", "Stream / WAVE"}};
    const auto expect = [](const HostRun& run, const std::string& fault) {
        EXPECT_EQ(fault.empty() ? 0u : 1u, run.exitCode);
        EXPECT_TRUE(fault.empty() ? run.err.empty() : run.err.find(": " + fault) != run.err.npos) << run.err;
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        const std::wstring place = std::to_wstring(&row - rows) + L"\\", name = folder.Write(row.content, place + L"x");
        const std::wstring program = folder.Copy(BuiltFile(L"tvsource.exe"), place + L"tvsource.exe");
        const std::wstring filter = folder.Copy(BuiltFile(L"TvFileSourceAsync.dll"), place + L"filter.dll");
        expect(RunHost({L"detect", name}, program), "TvMetadata.dll was not found; the MIME dictionary belongs");
        EXPECT_NE(std::string::npos, RunHost({L"play", L"--null", L"--dll", filter, name}, program)
                                         .err.find("No type was found: TvMetadata.dll was not found"));
        folder.Copy(BuiltFile(row.isOlder ? L"older_dictionary.dll" : L"awkward_dictionary.dll"),
                    place + L"TvMetadata.dll");
        HostRun run = RunHost({L"detect", name}, program);
        const std::string line = row.types.empty() ? "" : Utf8(name) + "\t" + row.types + "\n";
        EXPECT_EQ(line, run.out);
        expect(run, row.fault);
        run = RunHost({L"detect", L"--explain", name}, program);
        EXPECT_EQ(line.empty() || row.isOlder ? "" : line + "  because\n", run.out);
        expect(run, row.isOlder ? "this TvMetadata.dll gives no explanations" : row.fault);
        run = RunHost({L"info", L"--dll", filter, name}, program);
        const std::string why = row.fault.empty() ? "\n" : " (" + row.fault + ")\n";
        const std::string mime = row.types.empty() ? "not known: " + row.fault : row.types + why;
        EXPECT_NE(run.out.npos, run.out.find("\nMIME     " + mime)) << run.out;
        EXPECT_NE(run.out.npos, run.out.find("\nOffers   " + row.offers + "\n")) << run.out;
        expect(run, row.fault);
        if (row.offers == nothing)
            ExpectRun(RunHost({L"play", L"--null", L"--dll", filter, name}, program), 1,
                      {"No type was found: " + (row.fault.empty() ? "the content is of none" : row.fault)});
    }
    folder.Write("no library", L"damaged\\TvMetadata.dll");
    expect(
        RunHost({L"detect", MediaFile(L"tone.wav")}, folder.Copy(BuiltFile(L"tvsource.exe"), L"damaged\\tvsource.exe")),
        "Cannot load TvMetadata.dll: 0x800700C1 (damaged");
}

TEST_F(Detect, InfoShowsTheMimeTypesBesideWhatIsOfferedOrWhyItCannot) {
    ExpectRun(RunWithFilter(L"info", {MediaFile(L"tone.ogg")}), 0,
              {"MIME     audio/ogg,application/ogg\n", "Offers   Stream / Ogg\n"});
    ExpectRun(RunWithFilter(L"info", {MediaFile(kFormatWithoutAType)}), 0, {"MIME     -\n", "Offers   none"});
    ExpectRun(RunWithFilter(L"info", {folder.Write("RIFF", L"x.unreadable")}, kAwkward), 1,
              {": Cannot read it: 0x8003001E"});
}

}  // namespace
