// `play` with a window on a screen: what stands on it, and what keys do. Runs under a virtual X server
// (window_test.sh), which keeps the screen in the file that TV_SCREEN names.
#include "tests/support/COwnConsole.h"
#include "tests/support/CTempFolder.h"
#include "tests/tvsource/CHost.h"
#include "tests/tvsource/TestVideo.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>

namespace {

constexpr LONG kWidth = 160, kHeight = 120;
constexpr unsigned kPictures = 20, kSecondsEach = 2;

// The colours on the screen at these points, from an X window dump: a header of big-endian words, a table of colours,
// and the rows.
std::vector<std::uint32_t> LookAtScreen(const std::vector<POINT>& points) {
    const std::string dump = BytesOf(std::filesystem::path(std::getenv("TV_SCREEN")).wstring());
    const auto word = [&](size_t index) {
        std::uint32_t value = 0;
        for (size_t i = 0; i < 4; ++i)
            value = value << 8 | static_cast<BYTE>(dump.at(index * 4 + i));
        return value;
    };
    constexpr size_t kHeaderBytes = 0, kBitsPerPoint = 11, kBytesPerRow = 12, kColours = 19, kBytesPerColour = 12;
    EXPECT_EQ(32u, word(kBitsPerPoint));
    const size_t begin = word(kHeaderBytes) + word(kColours) * kBytesPerColour;
    std::vector<std::uint32_t> colours;
    for (const POINT& point : points) {
        const size_t at = begin + static_cast<size_t>(point.y) * word(kBytesPerRow) + static_cast<size_t>(point.x) * 4;
        const auto byte = [&](size_t index) { return std::uint32_t{static_cast<BYTE>(dump.at(at + index))}; };
        colours.push_back(byte(2) << 16 | byte(1) << 8 | byte(0));
    }
    return colours;
}

struct Window : ::testing::Test {
    // Wine starts the process of the desktop for whoever needs it first. Later it would inherit the handles of files.
    static void SetUpTestSuite() { EXPECT_NE(nullptr, ::GetDesktopWindow()); }

    // Runs it on the video; `meanwhile` gets the window once it is there, with a picture in it.
    HostRun PlayIn(std::vector<std::wstring> arguments, const std::function<void(HWND)>& meanwhile) {
        arguments.insert(arguments.begin(), {L"play", L"--progress", L"--dll", BuiltFile(L"TvFileSourceAsync.dll")});
        arguments.push_back(video);
        const base::CAutoHandle err = OpenInherited(errors, GENERIC_WRITE);
        return RunHost(arguments, BuiltFile(L"tvsource.exe"),
                       [&] {
                           HWND window = nullptr;
                           WaitFor("the window", [&] {
                               window = ::FindWindowW(nullptr, (video + L" \u2013 tvsource").c_str());
                               return window && ::IsWindowVisible(window);
                           });
                           WaitFor("the first picture", [&] { return PictureIn(window).has_value(); });
                           meanwhile(window);
                       },
                       {.err = err.Get()});
    }

    // What the screen shows in the window: the number of the picture in its round of four. Empty: none of them.
    static std::optional<unsigned> PictureIn(HWND window) {
        std::vector<POINT> points = {{8, 8}, {kWidth - 8, 8}, {8, kHeight - 8}, {kWidth - 8, kHeight - 8}};
        for (POINT& each : points)
            ::ClientToScreen(window, &each);
        const std::vector<std::uint32_t> seen = LookAtScreen(points);
        for (unsigned number = 0; number < 4; ++number) {
            bool isSame = true;
            for (unsigned field = 0; field < 4; ++field)
                isSame &= seen[field] == ColourOf(number, field);
            if (isSame)
                return number;
        }
        return std::nullopt;
    }

    // The seconds at which it stands, by the line of progress. Empty: it plays.
    [[nodiscard]] std::optional<unsigned> PausedAt() const {
        const std::string lines = BytesOf(errors);
        const std::string last = lines.substr(std::min(lines.rfind("%  0:"), lines.size()));
        unsigned seconds = 0;
        char paused = 0;
        return std::sscanf(last.c_str(), "%%  0:%u of 0:40, pause%c", &seconds, &paused) == 2 ? std::optional(seconds)
                                                                                              : std::nullopt;
    }

    // Half a minute at most.
    template <class Condition>
    static void WaitFor(const char* what, const Condition& isThere) {
        const base::CAutoHandle never(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
        for (int look = 0; look < 300; ++look) {
            if (isThere())
                return;
            ::WaitForSingleObject(never.Get(), 100);
        }
        ADD_FAILURE() << what << " doesn't come";
    }

    CTempFolder folder;
    const std::wstring video = folder.Write(TestVideo(kWidth, kHeight, kPictures, kSecondsEach), L"fields.avi");
    const std::wstring errors = folder.Write("", L"errors");
};

TEST_F(Window, ShowsTheVideoInItsSizeAndObeysKeys) {
    const HostRun run = PlayIn({L"--window"}, [&](HWND window) {
        RECT client{};
        ::GetClientRect(window, &client);
        EXPECT_EQ(std::pair(kWidth, kHeight), std::pair(client.right, client.bottom));
        ::PostMessageW(window, WM_KEYDOWN, VK_SPACE, 0);
        WaitFor("the pause", [&] { return PausedAt().has_value(); });
        const unsigned paused = PausedAt().value_or(0);
        ::PostMessageW(window, WM_KEYDOWN, VK_RIGHT, 0);
        WaitFor("the place ten seconds on", [&] { return PausedAt() == paused + 10; });
        WaitFor("its picture", [&] { return PictureIn(window) == (paused + 10) / kSecondsEach % 4; });
        ::PostMessageW(window, WM_KEYDOWN, 'X', 0);
        ::PostMessageW(window, WM_KEYDOWN, VK_ESCAPE, 0);
    });
    ExpectRun(run, 0, {" -> Video Renderer\n", "Ended    stopped by hand\n"});
}

TEST_F(Window, IsThereUnaskedAndItsClosingEndsTheRun) {
    ExpectRun(PlayIn({}, [](HWND window) { ::PostMessageW(window, WM_CLOSE, 0, 0); }), 0,
              {"Ended    stopped by hand\n"});
}

TEST_F(Window, ThatWasAskedForIsMissedBySoundWithANote) {
    const HostRun run = RunWithFilter(L"play", {L"--window", MediaFile(L"tone.wav")});
    ExpectRun(run, 0, {"Ended    complete\n"});
    EXPECT_NE(std::string::npos, run.err.find("There is no video in it, and so no window"));
}

TEST_F(Window, IsNotNeededForKeysInTheConsole) {
    const std::wstring sound = folder.Write(LongSound(), L"long.mp3");
    const COwnConsole console;
    const base::CAutoHandle input = OpenInherited(L"CONIN$", GENERIC_READ | GENERIC_WRITE);
    // The keys are there before the program is: those without a meaning are passed over, and the release of a key is
    // none.
    std::vector<INPUT_RECORD> records;
    for (const auto& [key, isDown] : {std::pair<WORD, BOOL>{'A', TRUE}, {VK_ESCAPE, FALSE}, {VK_ESCAPE, TRUE}}) {
        records.push_back({KEY_EVENT, {}});
        records.back().Event.KeyEvent = {isDown, 1, key, 0, {}, 0};
    }
    DWORD written = 0, before = 0, after = 0;
    ASSERT_TRUE(::WriteConsoleInputW(input.Get(), records.data(), static_cast<DWORD>(records.size()), &written));
    ::SetConsoleMode(input.Get(), ENABLE_PROCESSED_INPUT | ENABLE_VIRTUAL_TERMINAL_INPUT);
    ::GetConsoleMode(input.Get(), &before);
    const HostRun run = RunHost({L"play", L"--dll", BuiltFile(L"TvFileSourceAsync.dll"), sound},
                                BuiltFile(L"tvsource.exe"), [] {}, {.in = input.Get()});
    ExpectRun(run, 0, {"Ended    stopped by hand\n"});
    ::GetConsoleMode(input.Get(), &after);
    EXPECT_EQ(before, after);
}

}  // namespace
