// URLs wherever a file goes, what the program says when the network fails, and how it is interrupted.
#include "tests/support/Await.h"
#include "tests/support/CHttpServer.h"
#include "tests/support/CLogFileSetting.h"
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
    server.Serve("/live", {.bytes = wave, .live = true});
    for (const std::wstring path : {L"/tone", L"/live"}) {
        const std::wstring url = server.Url(path, L"me:secret@"), shown = server.Url(path, L"***@");
        EXPECT_EQ(wave, RunWithFilter(L"cat", {url}).out);
        const HostRun info = RunWithFilter(L"info", {url});
        ExpectRun(info, 0, {"File     " + Utf8(shown) + "\n", "MIME     audio/wav\n", "Offers   Stream / WAVE\n"});
        EXPECT_EQ(path == L"/live", info.out.find("not known") != info.out.npos) << info.out;
        EXPECT_EQ(Utf8(shown) + "\taudio/wav\n", RunHost({L"detect", url}).out);
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
    ExpectRun(RunHost({L"detect", closed}), 1, {"regsvr32 TvDataServices.dll"});
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

TEST_F(Url, ShowsItsProgressOnlyToATerminalUnlessToldTo) {
    server.Serve("/live", {.bytes = contents, .live = true});
    const std::pair<std::wstring, const char*> sources[] = {
        {folder.Write(contents, L"a"), "\r[####                ]  21%  65.5 kB, "},
        {server.Url(L"/live"), "\r65.5 kB, "}};
    for (const auto& [source, begin] : sources) {
        EXPECT_EQ("", RunWithFilter(L"cat", {source}).err);
        const HostRun run = RunWithFilter(L"cat", {L"--progress", source});
        EXPECT_EQ(contents, run.out);
        EXPECT_TRUE(run.err.starts_with(begin)) << run.err;
        EXPECT_NE(run.err.npos, run.err.find("B/s")) << run.err;
        EXPECT_TRUE(run.err.ends_with("   \r")) << run.err;
    }
}

// A console that this process and those that it starts have to themselves, so that Ctrl+C reaches no others.
class COwnConsole final {
public:
    COwnConsole() {
        ::FreeConsole();
        EXPECT_TRUE(::AllocConsole()) << ::GetLastError();
        ::SetConsoleCtrlHandler(StayAlive, TRUE);
    }
    ~COwnConsole() {
        ::SetConsoleCtrlHandler(StayAlive, FALSE);
        ::FreeConsole();
    }
    static void PressControlC() { EXPECT_TRUE(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0)) << ::GetLastError(); }

private:
    static BOOL WINAPI StayAlive(DWORD) { return TRUE; }
};

TEST_F(Url, OfAStalledServerEndsAtOnceWhenInterrupted) {
    // The first waits for its source to open, the others for more data.
    std::vector<std::vector<std::wstring>> commands = {
        {L"info"}, {L"detect"}, {L"cat", L"--progress", L"--type", L"mpeg1audio"}};
    // The platform may have no parsers for programs of this bitness.
    if (RunWithFilter(L"play", {L"--null", MediaFile(L"tone.mp3")}).exitCode == 0)
        commands.push_back({L"play", L"--type", L"mpeg1audio"});
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
