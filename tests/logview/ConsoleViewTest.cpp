#include "base/CAutoDestructor.h"
#include "console/CConsoleKeys.h"
#include "console/CTerminal.h"
#include "logview/CConsoleView.h"
#include "tests/logview/Arrivals.h"
#include "tests/support/Await.h"
#include "tests/support/COwnConsole.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <regex>
#include <vector>

using console::Tint;
using logview::CConsoleView;
using logview::CRecordFilter;

namespace {

std::string Narrow(std::wstring_view text) {
    const std::u8string utf8 = std::filesystem::path(text).u8string();
    return {utf8.begin(), utf8.end()};
}

// What a person would see: lines, and the one below them.
class CScreen final : public console::ITerminal {
public:
    bool isInteractive = true;
    unsigned height = 6, width = 90;
    std::optional<DWORD> fault;
    std::vector<console::TintedLine> lines;
    std::wstring status;

    bool IsInteractive() const noexcept override { return isInteractive; }
    unsigned Height() const noexcept override { return height; }
    unsigned Width() const noexcept override { return width; }
    void Write(std::span<const console::TintedLine> more) override {
        if (fault)
            throw console::COutputError(*fault);
        std::ranges::copy(more, std::back_inserter(lines));
        status.clear();
    }
    void Status(std::wstring_view text) override { status = text; }

    // The lines since the last call; of records, what stands behind the thread.
    std::vector<std::string> New() {
        std::vector<std::string> texts;
        for (; m_told < lines.size(); ++m_told) {
            const std::string text = Narrow(lines[m_told].text);
            texts.push_back(std::regex_replace(text, std::regex("^.*  Player.exe 20/"), ""));
        }
        return texts;
    }

private:
    std::size_t m_told = 0;
};

using Lines = std::vector<std::string>;

struct ConsoleViewTest : ::testing::Test {
    ConsoleViewTest() { Make(); }

    void Make(std::wstring_view filter = L"") {
        view.emplace(screen, CRecordFilter::Parse(filter),
                     [](std::size_t width) { return L"Site  Count " + std::to_wstring(width) + L"\nLoad  12"; });
    }

    void Take(std::initializer_list<RecordOf> records) {
        for (const RecordOf& record : records)
            view->Take(ArrivalOf(record));
        view->Flush();
    }

    // Messages alone.
    void Say(std::initializer_list<const wchar_t*> messages) {
        for (const wchar_t* message : messages)
            view->Take(ArrivalOf({.message = message, .function = L"F"}));
        view->Flush();
    }

    bool Type(std::wstring_view characters) {
        return std::ranges::all_of(characters, [&](wchar_t c) { return view->Press({0, c}); });
    }
    bool Press(WORD code) { return view->Press({code, 0}); }

    CScreen screen;
    std::optional<CConsoleView> view;
};

TEST_F(ConsoleViewTest, ALineHasTimeSeverityProcessThreadCategoryFunctionAndMessage) {
    Take({{.severity = 2, .message = L"slow"}, {.severity = 7, .message = L"", .function = L""}, {.severity = -1}});
    ASSERT_EQ(3u, screen.lines.size());
    const std::regex first(
        R"(\d\d:\d\d:\d\d\.\d{3}  WARN   Player\.exe 20/30  TvFileSourceAsync  CReader::Load  slow)");
    EXPECT_TRUE(std::regex_match(Narrow(screen.lines[0].text), first)) << Narrow(screen.lines[0].text);
    EXPECT_TRUE(screen.lines[1].text.ends_with(L"  7      Player.exe 20/30  TvFileSourceAsync  -  -"))
        << Narrow(screen.lines[1].text);
    EXPECT_EQ(Tint::Warning, screen.lines[0].tint);
    EXPECT_EQ(Tint::Fatal, screen.lines[1].tint);
    EXPECT_EQ(Tint::Plain, screen.lines[2].tint);
}

TEST_F(ConsoleViewTest, ExplicitRecordsShowTheirNumbersAndFiguresAreShownWhenAskedFor) {
    logview::Arrival numbers = ArrivalOf({.message = L"m"});
    std::get<logview::LogRecord>(numbers.record).explicitValues = {4'000'000'000, true};
    view->Take(numbers);
    view->Take(ProfileOf(L"CReader::Load"));
    view->Flush();
    ASSERT_EQ(1u, screen.lines.size());
    EXPECT_TRUE(screen.lines[0].text.ends_with(
        L"  INFO   numbers 20, 30, 4000000000, flag true  TvFileSourceAsync  CReader::Load  m"))
        << Narrow(screen.lines[0].text);
    Make(L"category=PROFILE");
    view->Take(ProfileOf(L"CReader::Load"));
    view->Flush();
    ASSERT_EQ(2u, screen.lines.size());
    EXPECT_TRUE(screen.lines[1].text.ends_with(
        L"Player.exe 20/-  PROFILE  CReader::Load  12 calls, longest 1.500 ms, total 250.000 ms"))
        << Narrow(screen.lines[1].text);
}

TEST_F(ConsoleViewTest, NothingInARecordSteersTheConsoleOrMakesTwoLines) {
    Take({{.message = L"a\r\nb\x1B[2J\x202E\u2028c\xD800\x9B"
                      L"1m",
           .category = L"\a",
           .function = std::wstring(L"f\0g", 3)}});
    ASSERT_EQ(1u, screen.lines.size());
    for (const wchar_t c : screen.lines[0].text)
        EXPECT_TRUE(c >= L' ' && !(c >= 0x7F && c < 0xA0) && c != 0x202E && c != 0x2028) << static_cast<unsigned>(c);
    Take({{.message = std::wstring(65'536, L'x')}});
    EXPECT_LT(screen.lines[1].text.size(), 1200u);
    EXPECT_TRUE(screen.lines[1].text.ends_with(L"xx... (64536 more)"));
    screen.isInteractive = false;
    Make();
    Take({{.message = std::wstring(65'536, L'x')}});
    EXPECT_GT(screen.lines[2].text.size(), 65'536u);
}

TEST_F(ConsoleViewTest, AFunctionsEndIsGroupedWithTheFailedCallOfItsThread) {
    const std::wstring call = L"ERROR: hr=0x80070002 (\"no file\"), from call Open(name)";
    const std::wstring end = L"F failed on exit scope (x): HRESULT 0x80004005 (\"E_FAIL\")";
    const auto record = [](const std::wstring& message, ULONG thread) {
        return RecordOf{.severity = 3, .message = message, .threadId = thread, .category = L"C", .function = L"F"};
    };
    const std::string begin = "30  C  F  ", shown = Narrow(end);
    Take({record(call, 30), record(end, 30), record(end, 30)});
    EXPECT_EQ((Lines{begin + Narrow(call), begin + "└ " + shown, begin + "└ " + shown}), screen.New());
    // Other threads come in between, and end as well.
    Take({record(call, 30), record(call, 31), record(L"other", 32), record(end, 31), record(end, 30)});
    const Lines mixed = screen.New();
    ASSERT_EQ(5u, mixed.size());
    for (const std::size_t i : {3u, 4u})
        EXPECT_TRUE(std::regex_search(mixed[i], std::regex(R"(C  F  └ \[\d\d:\d\d:\d\d\.\d{3}\] F failed)")))
            << mixed[i];
    // Without a failed call of its thread before it, or with another line of that thread, it stands alone.
    Take({record(end, 33), record(call, 30), record(L"retried", 30), record(end, 30)});
    EXPECT_EQ((Lines{"33  C  F  " + shown, begin + Narrow(call), begin + "retried", begin + shown}), screen.New());
    // One that isn't shown is nothing to stand below.
    Make(L"text=!hr=");
    Take({record(call, 30), record(end, 30)});
    EXPECT_EQ((Lines{begin + shown}), screen.New());
}

TEST_F(ConsoleViewTest, APauseKeepsTheNewestLinesAndCountsThem) {
    Say({L"1"});
    EXPECT_TRUE(Type(L" "));
    EXPECT_TRUE(screen.status.starts_with(L"Paused, 0 lines waiting;"));
    Say({L"2"});
    EXPECT_TRUE(screen.status.starts_with(L"Paused, 1 line waiting;"));
    EXPECT_EQ(1u, screen.New().size());
    for (int i = 0; i < 1001; ++i)
        view->Take(ArrivalOf({.message = L"m" + std::to_wstring(i)}));
    view->Flush();
    EXPECT_TRUE(screen.status.starts_with(L"Paused, 1000 lines waiting, 2 before left out;")) << Narrow(screen.status);
    EXPECT_TRUE(Type(L" "));
    const Lines lines = screen.New();
    ASSERT_EQ(1001u, lines.size());
    EXPECT_EQ("... 2 lines left out here ...", lines[0]);
    EXPECT_TRUE(lines[1].ends_with("  m1") && lines[1000].ends_with("  m1000")) << lines[1] << lines[1000];
    EXPECT_EQ(L"", screen.status);
}

TEST_F(ConsoleViewTest, MoreThanAConsoleShowsAtOnceIsLeftOutButAPipeGetsAll) {
    for (const bool isInteractive : {true, false}) {
        screen.lines.clear();
        screen.isInteractive = isInteractive;
        Make();
        for (int i = 0; i < 5000; ++i)
            view->Take(ArrivalOf({}));
        view->Flush();
        EXPECT_EQ(isInteractive ? 1001u : 5000u, screen.lines.size());
    }
    screen.lines.clear();
    EXPECT_TRUE(Press(L' ')) << "nobody would see that it pauses";
    const std::wstring longText(32'768, L'x');
    for (int i = 0; i < 200; ++i)
        Say({longText.c_str()});
    EXPECT_EQ(200u, screen.lines.size());
}

TEST_F(ConsoleViewTest, ATypedFilterHoldsForWhatComesAndShowsTheLastScreenfulAgain) {
    for (const wchar_t* message : {L"a1", L"b1", L"a2", L"a3", L"a4", L"a5", L"b2"})
        Say({message});
    static_cast<void>(screen.New());
    EXPECT_TRUE(Type(L"/text=ax"));
    EXPECT_EQ("Filter now: none", screen.New()[0]);
    EXPECT_EQ(L"Filter: text=ax", screen.status);
    Say({L"a6"});  // waits meanwhile
    EXPECT_EQ(Lines{}, screen.New());
    EXPECT_EQ(L"Filter: text=ax", screen.status);
    EXPECT_TRUE(Press(VK_BACK) && Press(VK_RETURN));
    EXPECT_EQ(L"", screen.status);
    // Six lines high: the heading, four records, the line below.
    const std::string begin = "30  TvFileSourceAsync  F  ";
    EXPECT_EQ((Lines{"--- Filter: text=a; of what came before, the last 4: ---", begin + "a3", begin + "a4",
                     begin + "a5", begin + "a6"}),
              screen.New());
    Say({L"b3", L"a7"});
    EXPECT_EQ(Lines{begin + "a7"}, screen.New());

    // Escape leaves it, and shows what came; `f` begins with it; what is wrong is said, and typing goes on.
    EXPECT_TRUE(Type(L"/other"));
    Say({L"a8"});
    EXPECT_TRUE(Press(VK_ESCAPE));
    EXPECT_EQ(begin + "a8", screen.New().back());
    EXPECT_TRUE(Type(L"f seveity=warn") && Press(VK_RETURN));
    EXPECT_EQ(L"Filter: text=a seveity=warn", screen.status);
    EXPECT_TRUE(screen.New().back().starts_with("'seveity' is nothing to filter by"));
    EXPECT_TRUE(Type(L"\x15thread=30q") && Press(VK_BACK) && Press(VK_RETURN)) << "q is a letter there";
    EXPECT_EQ(L"thread=30", view->Filter().Text());
    EXPECT_TRUE(Type(L"c"));
    EXPECT_TRUE(view->Filter().IsEmpty());
    EXPECT_TRUE(screen.New().back().ends_with("a8"));
}

TEST_F(ConsoleViewTest, AFilterThatIsSetInAPauseLeavesThePause) {
    EXPECT_TRUE(Type(L" "));
    Say({L"a1", L"b1"});
    view->Note(L"one writer is gone");
    EXPECT_TRUE(Type(L"/text=b") && Press(VK_RETURN));
    EXPECT_TRUE(screen.New().back().ends_with("  b1"));
    EXPECT_TRUE(screen.status.starts_with(L"Paused, 1 line waiting;")) << "the note does";
    Say({L"b2"});
    EXPECT_TRUE(Type(L" "));
    const Lines lines = screen.New();
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ("one writer is gone", lines[0]);
    EXPECT_TRUE(lines[1].ends_with("  b2"));
}

TEST_F(ConsoleViewTest, OtherKeysShowTheProfileAndHelpAndEndIt) {
    EXPECT_TRUE(Type(L"p"));
    EXPECT_EQ((Lines{"Site  Count 89", "Load  12"}), screen.New());
    EXPECT_TRUE(Type(L"h?x\x1A") && Press(VK_LEFT) && Press(VK_CONTROL));
    EXPECT_EQ(2u, screen.New().size());
    EXPECT_FALSE(Type(L"q"));
    EXPECT_FALSE(Type(L"Q"));
    EXPECT_FALSE(Press(VK_ESCAPE));
}

TEST_F(ConsoleViewTest, AtItsEndNothingIsHeldBackAndNothingIsLeftBelow) {
    EXPECT_TRUE(Type(L" "));
    for (int i = 0; i < 1003; ++i)
        Say({L"x"});
    EXPECT_TRUE(Type(L"/sev"));
    EXPECT_EQ(2u, screen.New().size()) << "what the prompt says";
    EXPECT_TRUE(screen.status.starts_with(L"Filter"));
    view->Finish(true);
    const Lines lines = screen.New();
    ASSERT_EQ(1003u, lines.size());
    EXPECT_EQ("... 3 lines left out here ...", lines.front());
    EXPECT_EQ("Load  12", lines.back());
    EXPECT_EQ(L"", screen.status);
    screen.isInteractive = false;
    Make();
    Say({L"y"});
    view->Finish(true);
    EXPECT_EQ("Site  Count 120", screen.New().at(1)) << "a file has no width";
}

TEST_F(ConsoleViewTest, OthersMayAskForALineToo) {
    std::vector<std::optional<std::wstring>> answers;
    const CConsoleView::Answer answer = [&](const std::optional<std::wstring>& line) {
        answers.push_back(line);
        return line == L"" ? L"yes or no" : L"";
    };
    EXPECT_TRUE(view->Ask(L"Go on\x1B? ", L"y", answer));
    EXPECT_FALSE(view->Ask(L"Another? ", L"", answer)) << "one at a time";
    EXPECT_EQ(L"Go on<U+001B>? y", screen.status);
    EXPECT_TRUE(Press(VK_BACK) && Press(VK_RETURN));
    EXPECT_EQ(Lines{"yes or no"}, screen.New());
    EXPECT_TRUE(Type(L"\xD83D\xDE00") && Press(VK_BACK) && Type(L"no") && Press(VK_RETURN));
    EXPECT_TRUE(view->Ask(L"Another? ", L"", answer));
    view->EndPrompt();
    EXPECT_EQ(L"", screen.status);
    EXPECT_EQ((std::vector<std::optional<std::wstring>>{L"", L"no", std::nullopt}), answers);
}

TEST_F(ConsoleViewTest, OutputThatCannotBeWrittenIsKnownAndNoMore) {
    screen.fault = ERROR_NO_DATA;
    Say({L"1"});
    ASSERT_TRUE(view->Failure());
    EXPECT_TRUE(view->Failure()->IsClosedPipe());
    screen.fault.reset();
    EXPECT_TRUE(Type(L"hpc/ "));
    Say({L"2"});
    EXPECT_TRUE(screen.lines.empty());
}

TEST(Terminal, WithoutAConsoleGetsBytesOrNothing) {
    console::CTerminal nowhere(nullptr);
    EXPECT_FALSE(nowhere.IsInteractive());
    EXPECT_THROW(nowhere.Write(std::vector<console::TintedLine>{{L"x", Tint::Plain}}), console::COutputError);
    base::CAutoHandle reader, writer;
    ASSERT_TRUE(::CreatePipe(reader.Put(), writer.Put(), nullptr, 0));
    console::CTerminal pipe(writer.Get());
    pipe.Write(std::vector<console::TintedLine>{{L"\u2514 x", Tint::Error}, {L"y", Tint::Plain}});
    pipe.Status(L"unseen");
    char bytes[20]{};
    DWORD read = 0;
    ASSERT_TRUE(::ReadFile(reader.Get(), bytes, sizeof bytes, &read, nullptr));
    EXPECT_EQ("\xE2\x94\x94 x\ny\n", std::string(bytes, read));
}

// A console of the system's: keys come with their characters, lines with their colours, and a prompt goes without
// trace.
TEST(Terminal, AConsoleShowsLinesAndAPromptAndTakesKeys) {
    const COwnConsole own;
    const base::CAutoHandle output(
        ::CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    const base::CAutoHandle input(
        ::CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr));
    const HANDLE before = ::GetStdHandle(STD_INPUT_HANDLE);
    ::SetStdHandle(STD_INPUT_HANDLE, input.Get());
    {
        console::CConsoleKeys keys;
        ASSERT_NE(nullptr, keys.Handle());
        console::CTerminal terminal(output.Get());
        ASSERT_TRUE(terminal.IsInteractive());
        EXPECT_GT(terminal.Height(), 0u);
        CConsoleView view(terminal, {}, {});
        const auto row = [&](SHORT y) {
            wchar_t text[60]{};
            DWORD read = 0;
            EXPECT_TRUE(::ReadConsoleOutputCharacterW(output.Get(), text, 60, {0, y}, &read));
            const std::wstring shown(text, read);
            return Narrow(shown.substr(0, shown.find_last_not_of(L' ') + 1));
        };
        const auto colour = [&](SHORT y) {
            WORD attributes = 0;
            DWORD read = 0;
            EXPECT_TRUE(::ReadConsoleOutputAttribute(output.Get(), &attributes, 1, {0, y}, &read));
            return attributes;
        };
        view.Take(ArrivalOf({.message = L"m1"}));
        view.Take(ArrivalOf({.severity = 3, .message = L"m2"}));
        view.Flush();
        EXPECT_TRUE(row(1).find("  ERROR  Player.exe 20/30") != std::string::npos) << row(1);
        EXPECT_EQ(FOREGROUND_RED | FOREGROUND_INTENSITY, colour(1) & 0xF);
        EXPECT_NE(colour(0), colour(1));

        // A letter on its own key, and one that no key has.
        for (const auto& [code, character] : {std::pair<WORD, wchar_t>{VK_DIVIDE, L'/'}, {'M', L'm'}, {0, L'\u97F3'}}) {
            INPUT_RECORD record{};
            record.EventType = KEY_EVENT;
            record.Event.KeyEvent = {TRUE, 1, code, 0, {character}, 0};
            DWORD written = 0;
            ASSERT_TRUE(::WriteConsoleInputW(input.Get(), &record, 1, &written));
        }
        std::vector<console::Key> came;
        Await([&] {
            std::ranges::copy(keys.Take(), std::back_inserter(came));
            return came.size() >= 3;
        });
        EXPECT_EQ((std::vector<console::Key>{{VK_DIVIDE, L'/'}, {'M', L'm'}, {0, L'\u97F3'}}), came);
        EXPECT_TRUE(view.Press(came[0]) && view.Press(came[1]));
        EXPECT_EQ("Filter now: none", row(2));
        const SHORT below = 5;  // the line with the kinds takes two rows of eighty columns
        EXPECT_EQ("Filter: m", row(below)) << row(3) << row(4);
        EXPECT_TRUE(view.Press({VK_ESCAPE, 0}));
        EXPECT_EQ("", row(below));
    }
    ::SetStdHandle(STD_INPUT_HANDLE, before);
}

}  // namespace
