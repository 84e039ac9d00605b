// URLs wherever a file goes, what the program says when the network fails, and how it is interrupted.
#include "tests/support/Await.h"
#include "tests/support/CHttpServer.h"
#include "tests/support/CLogFileSetting.h"
#include "tests/support/COwnConsole.h"
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"

namespace {

using Fault = CHttpServer::Fault;

// The data services of this build, registered.
struct Url : ::testing::Test {
    static void RunRegsvr32(const wchar_t* option) {
        ExpectRun(RunHost({L"/s", option, BuiltFile(L"TvDataServices.dll")}, L"regsvr32.exe"), 0, {});
    }
    void SetUp() override {
        if (!CHttpServer::IsSupported())
            GTEST_SKIP() << "the platform has no sockets for programs of this bitness";
        RunRegsvr32(L"/s");
    }
    void TearDown() override { RunRegsvr32(L"/u"); }

    const std::string contents = std::string(150'000, 'a') + std::string(150'000, 'b');
    CTempFolder folder;
    CHttpServer server;
};

TEST_F(Url, IsReadWhereverAFileIs) {
    const std::string wave = BytesOf(MediaFile(L"tone.wav"));
    server.Serve("/tone", {.bytes = wave});
    server.Serve("/live", {.bytes = wave, .live = true, .headers = "icy-name: one\r\n"});
    for (const std::wstring path : {L"/tone", L"/live"}) {
        const std::wstring url = server.Url(path, L"me:secret@"), shown = server.Url(path, L"***@");
        EXPECT_EQ(wave, RunWithFilter(L"cat", {url}).out);
        const HostRun info = RunWithFilter(L"info", {url});
        if (path == L"/tone")
            ExpectRun(RunWithFilter(L"play", {L"--null", url, L"--type", L"WAVE"}), 0,
                      {"Network  1 request, 16044 bytes, 0 of them again; 0 stalls, longest wait "});
        ExpectRun(info, 0,
                  {"File     " + Utf8(shown) + "\n", "MIME     audio/wav\n", "Offers   Stream / WAVE\n",
                   "\nNetwork  1 request, "});
        EXPECT_EQ(Utf8(shown) + "\taudio/wav\n", RunHost({L"detect", url}).out);
        ExpectRun(
            RunWithFilter(L"verify", {url}), 0,
            {"Read     in order, 16044 bytes in ", path == L"/tone" ? "Read     at random, 16044 bytes in " : ""});
    }
    server.Serve("/station", {.bytes = wave + contents, .live = true, .script = [](auto&) {
                                  return CHttpServer::Misbehaviour{Fault::Stall, 200'000};
                              }});
    ExpectRun(RunWithFilter(L"info", {server.Url(L"/station")}), 0, {"Length   not known"});
}

// Parsers are told no length, and look for an end all the same. Of a short read they take the rest for data; so it is a
// matter of luck whether those that read more at once than the whole sound find it.
TEST_F(Url, OfALiveSourcePlaysOrSaysWhyNot) {
    const std::pair<const wchar_t*, bool> rows[] = {{L"tone.mp3", false}, {L"clip.avi", true},  {L"clip.mkv", true},
                                                    {L"tone.au", true},   {L"tone.flac", true}, {L"tone.wav", false},
                                                    {L"tone.ogg", false}};
    for (const auto& [name, plays] : rows) {
        server.Serve("/live", {.bytes = BytesOf(MediaFile(name)), .live = true, .headers = "icy-name: one\r\n"});
        const size_t requests = server.Requests().size();
        const HostRun run = RunWithFilter(L"play", {L"--null", server.Url(L"/live")});
        EXPECT_EQ(requests + 1, server.Requests().size()) << Utf8(name);
        if (plays || run.exitCode == 0)
            ExpectRun(run, 0, {"Ended    complete\n"});
        else
            ExpectRun(run, 1, {"can't be played from its start alone"});
    }
}

TEST_F(Url, ShowsItsCredentialsNowhere) {
    server.Serve("/refused", {.status = 401});
    const std::wstring refused = server.Url(L"/refused", L"me:secret@");
    const std::string why = Utf8(server.Url(L"/refused", L"***@")) + ": 0x80190191 (the server refused the credentials";
    for (const wchar_t* command : {L"play", L"info", L"cat"}) {
        const HostRun run = RunWithFilter(command, {refused});
        ExpectRun(run, 1, {"Cannot open " + why});
        EXPECT_EQ(run.err.npos, run.err.find("secret")) << run.err;
    }
    const HostRun excess = RunHost({L"cat", L"one too many", refused});
    EXPECT_EQ(excess.err.npos, excess.err.find("secret")) << excess.err;
}

TEST_F(Url, IsOpenedAsTheOptionsSay) {
    const std::string wave = BytesOf(MediaFile(L"tone.wav"));
    server.Serve("/a", {.bytes = wave});
    const CLogFileSetting setting{};
    const std::wstring log = folder.Write("", L"options.log"), dll = BuiltFile(L"TvFileSourceAsync.dll");
    setting.Set(log);
    const auto isSecretFree = [](const std::string& text) {
        return text.find("Sesame") == text.npos && text.find("s3cret") == text.npos;
    };
    for (std::vector<std::wstring> command : std::initializer_list<std::vector<std::wstring>>{
             {L"info", L"--dll", dll}, {L"cat", L"--dll", dll}, {L"play", L"--null", L"--dll", dll}, {L"detect"}}) {
        const bool mayFail = command[0] == L"play";  // the platform may have no parsers
        command.insert(command.end(), {L"--header",          L"X-Key: Sesame", L"--header",      L"X-Too:1",
                                       L"--cookies",         L"a=s3cret",      L"--user-agent",  L"Player/1",
                                       L"--referer",         L"http://page/",  L"--timeout",     L"5000",
                                       L"--connect-timeout", L"5000",          L"--retries",     L"1",
                                       L"--store",           L"2MiB",          L"--proxy",       L"direct",
                                       L"--no-share-store",  L"--verbose",     server.Url(L"/a")});
        const HostRun run = RunHost(command);
        EXPECT_TRUE(run.exitCode == 0 || mayFail) << Utf8(command[0]) << run.err;
        EXPECT_TRUE(isSecretFree(run.err + run.out)) << run.err << run.out;
        EXPECT_TRUE(command[0] != L"cat" || run.out == wave);
    }
    EXPECT_LE(4u, server.Requests().size());
    for (const CHttpServer::Request& request : server.Requests())
        EXPECT_EQ("Sesame 1 a=s3cret Player/1 http://page/",
                  request.Header("x-key") + " " + request.Header("x-too") + " " + request.Header("cookie") + " " +
                      request.Header("user-agent") + " " + request.Header("referer"));
    EXPECT_NE(std::string::npos, BytesOf(log).find("status 206"));
    EXPECT_TRUE(isSecretFree(BytesOf(log)));
    EXPECT_EQ(wave, RunWithFilter(L"cat", {L"--retries", L"1", MediaFile(L"tone.wav")}).out) << "a local file as ever";

    const std::pair<std::vector<std::wstring>, std::pair<unsigned, const char*>> wrong[] = {
        {{L"--header", L"Host: Sesame"}, {1, "does not take this value of --header Host: 0x80070057"}},
        {{L"--retries", L"21"}, {1, "does not take this value of --retries: 0x80070057"}},
        {{L"--proxy", L"me:s3cret@host:1"}, {1, "this value of --proxy"}},
        {{L"--header", L"Sesame"}, {2, "a header is NAME: VALUE"}},
        {{L"--header", L"X-Key:", L"Sesame"}, {2, "in one pair of quotation marks"}},
        {{L"--header", L"X-Key: a", L"Sesame"}, {2, "needs quotation marks"}},
        {{L"--cookies", L"a=1;", L"b=s3cret"}, {2, "in one pair of quotation marks"}},
        {{L"--timeout", L"soon"}, {2, "'soon' is no number"}},
        {{L"--store", L"1KiB"}, {2, "'1KiB' is no number of bytes or MiB"}}};
    for (const auto& [words, outcome] : wrong) {
        std::vector<std::wstring> arguments = words;
        arguments.push_back(server.Url(L"/a"));
        const HostRun run = RunWithFilter(L"info", arguments);
        ExpectRun(run, outcome.first, {outcome.second});
        EXPECT_TRUE(isSecretFree(run.err)) << run.err;
    }
    for (const std::vector<std::wstring>& cut : std::initializer_list<std::vector<std::wstring>>{
             {L"detect", L"--header", L"X-Key: a", L"Sesame", L"http://h/"},
             {L"detect", L"--header", L"X-Key:", L"Sesame"},
             {L"detect", L"--cookies", L"a=1;", L"b=s3cret"}}) {
        const HostRun run = RunHost(cut);
        ExpectRun(run, 2, {"quotation marks"});
        EXPECT_TRUE(isSecretFree(run.err)) << run.err;
    }
    ExpectRun(RunHost({L"detect", L"--retries", L"1", L"http://name.invalid/"}), 1,
              {"Cannot open it: 0x8", "not resolved"});
    const std::wstring older = BuiltFile(L"awkward_source.dll");
    const wchar_t* const key = L"CLSID\\{8DEF38CF-43CC-44C3-A8D8-A69395CE9022}\\InprocServer32";
    ASSERT_EQ(ERROR_SUCCESS, ::RegSetKeyValueW(HKEY_CLASSES_ROOT, key, nullptr, REG_SZ, older.c_str(),
                                               static_cast<DWORD>((older.size() + 1) * sizeof(wchar_t))));
    ExpectRun(RunHost({L"detect", L"--retries", L"1", server.Url(L"/a")}), 1,
              {"takes no options of sources, such as --retries"});
    RunRegsvr32(L"/u");
    ExpectRun(RunHost({L"detect", L"--retries", L"1", server.Url(L"/a")}), 1,
              {"none is registered: 0x80040154 (not registered); regsvr32"});
}

TEST_F(Url, ThatCannotBeOpenedSaysWhyInWords) {
    const std::pair<int, const char*> statuses[] = {{401, "needs credentials"},
                                                    {403, "forbidden"},
                                                    {404, "not found"},
                                                    {410, "gone"},
                                                    {407, "the proxy needs credentials"},
                                                    {418, "(HTTP status 418)"},
                                                    {429, "too many requests"},
                                                    {599, "server error"}};
    size_t requests = 0;
    for (const auto& [status, words] : statuses) {
        server.Serve("/a", {.status = status});
        for (const HostRun& run :
             {RunHost({L"detect", server.Url(L"/a")}), RunWithFilter(L"info", {server.Url(L"/a")})})
            ExpectRun(run, 1, {words, "HTTP status " + std::to_string(status)});
        EXPECT_EQ(requests += 2, server.Requests().size());
    }
    server.Serve("/garbage", {.script = [](auto&) { return CHttpServer::Misbehaviour{Fault::Garbage, -1}; }});
    server.Serve("/circle", {.status = 302, .headers = "Location: /circle\r\n"});
    const std::wstring closed = CHttpServer().Url(L"/a");  // the server is gone by now
    const std::pair<std::wstring, const char*> urls[] = {{L"http://name.invalid/", "not resolved"},
                                                         {closed, "connection refused"},
                                                         {server.Url(L"/garbage"), "makes no sense"},
                                                         {server.Url(L"/circle"), "redirected too often"},
                                                         {L"nosuch://host/file", "knows no such scheme"}};
    for (const auto& [url, words] : urls) {
        ExpectRun(RunHost({L"detect", url}), 1, {Utf8(url) + ": Cannot open it: 0x8", words});
        ExpectRun(RunWithFilter(L"info", {url}), 1, {"Cannot open " + Utf8(url) + ": 0x8", words});
    }
    RunRegsvr32(L"/u");
    ExpectRun(RunHost({L"detect", closed}), 1, {"TvDataServices.dll\" registers the data services"});
}

TEST_F(Url, ThatIsLongInOpeningSaysThatItIsOpened) {
    server.Serve("/a", {.bytes = contents, .script = [](auto&) {
                            return CHttpServer::Misbehaviour{Fault::Stall, -1};
                        }});
    CPipe err;
    std::string text;
    const auto readUntilItSaysSo = [&] {
        err.writer.Reset();
        char next = 0;
        DWORD read = 0;
        while (!text.ends_with("\ropening ...") && ::ReadFile(err.reader.Get(), &next, 1, &read, nullptr))
            text += next;
        server.ReleaseStalls();
    };
    const HostRun run =
        RunHost({L"cat", L"--progress", L"--dll", BuiltFile(L"TvFileSourceAsync.dll"), server.Url(L"/a")},
                BuiltFile(L"tvsource.exe"), readUntilItSaysSo, {.err = err.writer.Get()});
    EXPECT_TRUE(text.ends_with("\ropening ...")) << text;
    EXPECT_EQ(contents, run.out);
}

TEST_F(Url, ThatDoesNotGoOnIsToldAndLogged) {
    const CLogFileSetting setting{};
    const std::wstring log = folder.Write("", L"hangs.log");
    setting.Set(log);
    for (std::vector<std::wstring> command : {std::vector<std::wstring>{L"detect", L"--verbose"},
                                              {L"cat", L"--verbose", L"--dll", BuiltFile(L"TvFileSourceAsync.dll")}}) {
        CHttpServer stalling;
        const bool opens = command[0] == L"detect";
        stalling.Serve("/a", {.bytes = contents, .script = [&](auto&) {
                                  return CHttpServer::Misbehaviour{Fault::Stall, opens ? -1 : 140'000};
                              }});
        const std::wstring url = stalling.Url(L"/a");
        command.push_back(url);
        const std::string told = (opens ? "looking at " : "copying ") + Utf8(url),
                          waited = (opens ? "asking for " : "waiting for bytes of ") + Utf8(url);
        const auto isLogged = [&](const std::string& words) { return BytesOf(log).find(words) != std::string::npos; };
        CPipe err;
        std::string text;
        const auto readUntilItHangs = [&] {
            err.writer.Reset();
            char next = 0;
            for (DWORD read = 0; ::ReadFile(err.reader.Get(), &next, 1, &read, nullptr);) {
                text += next;
                if (text.ends_with("tvsource: Hangs for ")) {
                    Await([&] { return isLogged(" ms: " + told) && isLogged(" ms: " + waited); });
                    stalling.ReleaseStalls();
                }
            }
        };
        const HostRun run = RunHost(command, BuiltFile(L"tvsource.exe"), readUntilItHangs, {.err = err.writer.Get()});
        EXPECT_EQ(0u, run.exitCode);
        EXPECT_NE(text.npos, text.find(" ms: " + told + " (thread ")) << text;
        EXPECT_NE(text.npos, text.find("tvsource: Goes on after ")) << text;
    }
}

TEST_F(Url, ThatBreaksOffIsNoEndOfTheData) {
    const auto serveUpTo = [&](LONGLONG end) {
        server.Serve("/a", {.bytes = contents, .script = [&, end, answers = 0](auto&) mutable {
                                if (answers++ > 0)
                                    server.Serve("/a", {.status = 410});
                                return CHttpServer::Misbehaviour{Fault::Close, end};
                            }});
    };
    serveUpTo(0);
    ExpectRun(RunHost({L"detect", server.Url(L"/a")}), 1, {"Cannot read it: 0x8019019A (gone, HTTP status 410)"});
    serveUpTo(200'000);
    const HostRun run = RunWithFilter(L"cat", {L"--type", L"WAVE", server.Url(L"/a")});
    ExpectRun(run, 1, {"could not be read beyond byte ", " of 300000: 0x8", "(gone, HTTP status 410)"});
    EXPECT_TRUE(contents.starts_with(run.out) && run.out.size() > 100'000) << run.out.size();
}

TEST_F(Url, WhoseServerStallsEndsAReplayAndLeavesInfoWithoutStreams) {
    const std::string clip = ClipWithLateIndex();
    server.Serve("/a", {.bytes = clip, .script = [](const CHttpServer::Request& request) {
                            const bool isFirst = request.Header("range") == "bytes=0-";
                            return CHttpServer::Misbehaviour{Fault::Stall, isFirst ? 150'000 : -1};
                        }});
    const std::wstring trace =
        folder.Write(R"({"tvsourceTrace":1,"source":"a","length":)" + std::to_string(clip.size()) + R"(}
{"call":1,"after":0,"thread":1,"atUs":0,"name":"SyncRead","position":0,"length":10,"result":"0x00000001","bytes":null,"tookUs":1}
{"call":2,"after":1,"thread":1,"atUs":0,"name":"SyncRead","position":300000,"length":10,"result":"0x00000001","bytes":null,"tookUs":1}
{"ended":"error","calls":2}
)",
                     L"trace");
    ExpectRun(RunWithFilter(L"replay", {L"--type", L"any", L"--limit", L"1", trace, server.Url(L"/a")}), 1,
              {"Call 2, SyncRead of 10 bytes at 300000, has not ended within 1.0 seconds"});
    if (HasParsers())
        ExpectRun(RunWithFilter(L"info", {L"--type", L"Avi", server.Url(L"/a")}), 1,
                  {"nothing comes from the source while a parser reads it; its streams are not known\n"});
}

TEST_F(Url, WhoseServerGivesOtherBytesTheSecondTimeDiffersFromThereOn) {
    std::string first(3'000'000, 'a'), second = first;
    second[100'000] = second[2'000'000] = 'b';
    const std::wstring trace = folder.Write(
        R"({"tvsourceTrace":1,"source":"a","length":3000000}
{"call":1,"after":0,"thread":1,"atUs":0,"name":"SyncRead","position":99990,"length":10,"result":"0x00000000","bytes":10,"hash":"bf2cb58a68f684d9","tookUs":1}
{"call":2,"after":1,"thread":1,"atUs":0,"name":"SyncRead","position":1999995,"length":10,"result":"0x00000000","bytes":10,"hash":"bf2cb58a68f684d9","tookUs":1}
{"ended":"complete","calls":2}
)",
        L"trace");
    // It breaks off, so that the rest is asked for.
    const auto serve = [&](LONGLONG end) {
        server.Serve("/a", {.bytes = first, .script = [&, end](auto&) {
                                server.Serve("/a", {.bytes = second});
                                return CHttpServer::Misbehaviour{Fault::Close, end};
                            }});
        return server.Url(L"/a");
    };
    const HostRun replay = RunWithFilter(L"replay", {trace, serve(1'500'000)});
    EXPECT_EQ(1u, replay.exitCode) << replay.err;
    EXPECT_NE(replay.out.npos, replay.out.find("\nDiffers  in 1 call\n  call 2, thread 1, SyncRead of 10 bytes at "
                                               "1999995: content differs"))
        << replay.out;
    const std::wstring sha256 = L"2a152c894398719c0570f83fac34ac03a0f6e8e474b995c2403aa5434f7b9dd4";
    ExpectRun(RunWithFilter(L"verify", {L"--sha256", sha256, serve(1'500'000)}), 1, {"and not " + Utf8(sha256)});
}

TEST_F(Url, ShowsItsProgressOnlyToATerminalUnlessToldTo) {
    server.Serve("/live", {.bytes = contents, .live = true});
    const std::pair<std::wstring, const char*> sources[] = {
        {folder.Write(contents, L"a"), "\r[####                ]  21%  65.5 kB, "},
        {server.Url(L"/live"), "\r"}};  // it may have ended meanwhile
    for (const auto& [source, begin] : sources) {
        EXPECT_EQ("", RunWithFilter(L"cat", {source}).err);
        const HostRun run = RunWithFilter(L"cat", {L"--progress", source});
        EXPECT_EQ(contents, run.out);
        EXPECT_TRUE(run.err.starts_with(begin)) << run.err;
        EXPECT_NE(run.err.npos, run.err.find("B/s")) << run.err;
        EXPECT_TRUE(run.err.ends_with("   \r")) << run.err;
    }
}

TEST_F(Url, OfAStalledServerEndsAtOnceWhenInterrupted) {
    // The first waits for its source to open, the others for more data.
    std::vector<std::vector<std::wstring>> commands = {{L"info"},
                                                       {L"detect"},
                                                       {L"cat", L"--progress", L"--type", L"mpeg1audio"},
                                                       {L"verify", L"--type", L"mpeg1audio"}};
    // The platform may have no parsers for programs of this bitness.
    if (RunWithFilter(L"play", {L"--null", MediaFile(L"tone.mp3")}).exitCode == 0) {
        commands.push_back({L"play", L"--type", L"mpeg1audio"});
        commands.push_back({L"trace", L"-o", folder.Write("", L"trace"), L"--type", L"mpeg1audio"});
    }
    const COwnConsole console;
    for (auto& command : commands) {
        CHttpServer stalling;
        stalling.Serve("/a", {.bytes = LongSound(), .script = [answers = command.size() > 1 ? 0 : 1](auto&) mutable {
                                  return answers++ == 0 ? CHttpServer::Misbehaviour{Fault::Close, 140'000}
                                                        : CHttpServer::Misbehaviour{Fault::Stall, -1};
                              }});
        if (command[0] != L"detect")
            command.insert(command.end(), {L"--dll", BuiltFile(L"TvFileSourceAsync.dll")});
        command.push_back(stalling.Url(L"/a"));
        size_t requests = 0;
        const HostRun run = RunHost(command, BuiltFile(L"tvsource.exe"), [&] {
            EXPECT_TRUE(stalling.WaitForStall());
            requests = stalling.Requests().size();
            COwnConsole::PressControlC();
        });
        EXPECT_EQ(requests, stalling.Requests().size()) << "it has waited for the server until it asked again";
        EXPECT_EQ(130u, run.exitCode) << Utf8(command[0]) << run.err;
        EXPECT_EQ(command[0] == L"cat", run.err.ends_with("   \r")) << "the line of progress is wiped";
    }
}

TEST_F(Url, BehindAFileStandsWithItsCountBelowTheLinesOnATerminal) {
    server.Serve("/a", {.bytes = BytesOf(MediaFile(L"tone.wav")), .script = [](auto&) {
                            return CHttpServer::Misbehaviour{Fault::Stall, -1};
                        }});
    folder.Write("x", L"x");
    const COwnConsole console;
    const CCurrentFolder current(folder.Path());
    const base::CAutoHandle screen = OpenInherited(L"CONOUT$", GENERIC_READ | GENERIC_WRITE);
    const auto line = [&](SHORT row) {
        char text[60]{};
        DWORD read = 0;
        EXPECT_TRUE(::ReadConsoleOutputCharacterA(screen.Get(), text, sizeof text, {0, row}, &read));
        const std::string shown(text, read);
        return shown.substr(0, shown.find_last_not_of(' ') + 1);
    };
    const HostRun run = RunHost({L"detect", L"x", server.Url(L"/a")}, BuiltFile(L"tvsource.exe"),
                                [&] {
                                    EXPECT_TRUE(server.WaitForStall());
                                    Await([&] { return line(1) == "file 2"; });
                                    EXPECT_EQ("x       -", line(0));
                                    EXPECT_EQ("file 2", line(1));
                                    server.ReleaseStalls();
                                },
                                {.out = screen.Get(), .err = screen.Get()});
    EXPECT_EQ(0u, run.exitCode);
    EXPECT_EQ("x       -", line(0));
    EXPECT_TRUE(line(1).starts_with("http://") && line(1).ends_with("audio/wav")) << line(1);
    EXPECT_EQ("", line(2));
}

}  // namespace
