#include "base/FormatText.h"
#include "base/Utf8Text.h"
#include "console/CConsoleKeys.h"
#include "console/COutputFile.h"
#include "console/Text.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/commands/SourceTurn.h"
#include "tvsource/graph/CFrameGrabber.h"
#include "tvsource/graph/CPlayControls.h"
#include "tvsource/graph/CPlayGraph.h"
#include "tvsource/graph/CVideoWindow.h"
#include "tvsource/graph/GraphModel.h"
#include "tvsource/graph/Png.h"
#include "tvsource/graph/Screen.h"
#include "tvsource/report/CActivity.h"
#include "tvsource/report/CProgressLine.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/report/NetworkText.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <functional>
#include <optional>
#include <utility>

namespace tvsource {

namespace {

std::wstring Clock(LONGLONG units) {
    const LONGLONG seconds = units / 10'000'000;
    return base::FormatText(L"%I64d:%02I64d", seconds / 60, seconds % 60);
}

std::wstring EndingText(const CPlayGraph::Result& result) {
    switch (result.ending) {
        case CPlayGraph::Ending::Complete:
            return L"complete";
        case CPlayGraph::Ending::ErrorAbort:
            // A filter may give up without a code of its own; the code is a success then.
            return FAILED(result.error) ? L"stopped by an error, " + console::ResultText(result.error)
                                        : L"stopped: the source could not be read on";
        case CPlayGraph::Ending::Stopped:
            return L"stopped by hand";
        case CPlayGraph::Ending::Interrupted:
            break;
    }
    return L"stopped: interrupted";
}

struct Arguments {
    SourceArguments source;
    std::string file;
    bool null = false;
    bool window = false;
    bool countedSamples = false;
    std::string frame, output;
};

// Units of 100 ns, from seconds. Empty: no time from the beginning on.
std::optional<LONGLONG> TimeOf(const std::string& text) {
    constexpr double kMost = 9e11;  // what fits
    double seconds = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, seconds);
    return error == std::errc() && parsed == end && seconds >= 0 && seconds <= kMost
               ? std::optional(std::llround(seconds * 1e7))
               : std::nullopt;
}

std::wstring SecondsText(LONGLONG units) {
    return base::FormatText(L"%.2f s", static_cast<double>(units) / 1e7);
}

// `model`: of the graph before it ran. On its way into running, a graph may sort its filters on a thread of its own,
// and not every platform locks the list meanwhile.
void TellGraph(CTurn& turn, const CSourceFilter& source, const CSourceFilter::Length& length, const CPlayGraph& graph,
               const GraphModel& model, double seconds) {
    turn.Line(L"File     " + turn.Source());
    TellLength(turn, length);
    TellOffers(turn, source);
    TellType(turn, graph.ConnectedType());
    TellParser(turn, graph);
    turn.Line(base::FormatText(L"Time     %.2f s", seconds));
    turn.Fields()["seconds"] = seconds;
    turn.Fields()["graph"] = JsonOfGraph(model);
    TellNetwork(turn, source);
}

// Shows how far a run is. `isPaused`: nothing need go on.
CPlayGraph::Result RunGraph(CTurn& turn, const CSourceFilter& source, CPlayGraph& graph,
                            const std::function<CPlayGraph::Result(const CPlayGraph::Progress&)>& run,
                            const std::function<bool()>& isPaused) {
    turn.Enter(step::kPlay);
    CActivity activity(L"Play", L"playing " + turn.Source(), turn.Options().verbose);
    CProgressLine line(turn.Options().ShowsProgress());
    LONGLONG reached = 0;
    ULONGLONG delivered = 0;
    return run([&](LONGLONG position, LONGLONG duration) {
        const ULONGLONG now = graph.Reads().delivered;
        const bool hasMoved = std::exchange(reached, position) != position;
        if (std::exchange(delivered, now) != now || hasMoved || isPaused())
            activity.KeepAlive();
        const std::wstring end = duration > 0 ? L" of " + Clock(duration) : std::wstring();
        const std::wstring buffering = BufferingText(source.Status());
        line.Show(
            static_cast<ULONGLONG>(position), static_cast<ULONGLONG>(duration),
            Clock(position) + end + (isPaused() ? L", paused" : L"") + (buffering.empty() ? L"" : L", ") + buffering,
            now);
    });
}

// Without `shown` there is nobody whose keys would matter.
CPlayGraph::Result RunWithKeys(CTurn& turn, const Arguments& arguments, const CSourceFilter& source, CPlayGraph& graph,
                               bool shown) {
    if (!shown)
        return RunGraph(
            turn, source, graph, [&](const auto& progress) { return graph.Run(InterruptEvent(), progress); },
            [] { return false; });
    CVideoWindow window(*graph.Graph(), turn.Source() + L" \u2013 tvsource");
    if (arguments.window && !window.IsThere()) {
        const auto& streams = graph.Streams();
        if (std::ranges::any_of(streams, [](const auto& each) { return each.format.kind == StreamKind::Video; }))
            throw console::CCommandError(L"no renderer of the platform shows the video in a window");
        turn.Note(L"There is no video in it, and so no window");
    }
    console::CConsoleKeys console;
    CPlayControls controls(*graph.Graph());
    const auto press = [&](WORD key) { return controls.Press(key); };
    const CPlayGraph::Attendant attendant{console.Handle(), [&] {
                                              return std::ranges::all_of(console.Take(), press, &console::Key::code) &&
                                                     std::ranges::all_of(window.TakeKeys(), press) &&
                                                     !window.IsClosed();
                                          }};
    return RunGraph(
        turn, source, graph, [&](const auto& progress) { return graph.Run(InterruptEvent(), progress, attendant); },
        [&] { return controls.IsPaused(); });
}

void TellEnding(CTurn& turn, const CPlayGraph::Result& result) {
    turn.Line(L"Ended    " + EndingText(result));
    turn.Fields()["ended"] = EndingName(result.ending);
    if (result.ending == CPlayGraph::Ending::Interrupted)
        turn.SetExitCode(kInterrupted);
    else if (result.ending == CPlayGraph::Ending::ErrorAbort)
        turn.FailSilently(AbortError(result));
}

void PlayToTheEnd(CTurn& turn, const Arguments& arguments, CSourceFilter& source, bool shown) {
    const CSourceFilter::Length length = source.SourceLength();
    std::optional<CPlayGraph> graph(std::in_place, source, arguments.countedSamples);
    FindParser(turn, source, *graph, [&] { graph->Build(!shown); });
    const GraphModel model = ReadGraph(graph->Graph());
    const auto begin = std::chrono::steady_clock::now();
    CPlayGraph::Result result = RunWithKeys(turn, arguments, source, *graph, shown);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    TellGraph(turn, source, length, *graph, model, elapsed.count());
    turn.TellLines();
    if (result.ending == CPlayGraph::Ending::ErrorAbort)
        LearnReason(source, graph, result);
    TellEnding(turn, result);
}

// A parser that found streams says more than those that didn't take the source at all.
console::CCommandError NoPicture(const CPlayGraph& graph) {
    for (const CPlayGraph::Attempt& attempt : graph.Attempts()) {
        const auto isVideo = [](const ParserStream& each) { return each.format.kind == StreamKind::Video; };
        if (SUCCEEDED(attempt.result) && std::ranges::none_of(attempt.streams, isVideo))
            return console::CCommandError(L"there is no video in it, and so no frame");
    }
    return graph.Refusal();
}

console::CCommandError EndsBefore(LONGLONG at, LONGLONG duration) {
    return console::CCommandError(L"there is no frame at " + SecondsText(at) + L": the source has ended before" +
                                  (duration > 0 ? L", at " + SecondsText(duration) : L""));
}

void WriteFrame(CTurn& turn, const Picture& picture, LONGLONG at, const std::wstring& output) {
    turn.Enter(step::kWrite);
    const std::vector<BYTE> png = PngOf(picture);  // before an older file goes
    console::COutputFile(output).Write(png);
    turn.Line(base::FormatText(L"Frame    %ux%u at ", picture.width, picture.height) + SecondsText(at) + L" -> " +
              console::Printable(output));
    turn.Fields()["ended"] = "frame";
    turn.Fields()["frame"] = {{"file", console::JsonText(output)},
                              {"atSeconds", static_cast<double>(at) / 1e7},
                              {"width", picture.width},
                              {"height", picture.height}};
}

void SaveFrame(CTurn& turn, const Arguments& arguments, CSourceFilter& source, LONGLONG at) {
    const CSourceFilter::Length length = source.SourceLength();
    std::optional<CPlayGraph> graph(std::in_place, source, arguments.countedSamples);
    std::optional<CFrameGrabber> grabber(std::in_place, *graph, at);
    FindParser(turn, source, *graph, [&] {
        if (!graph->TryParsers([&](IPin* pin, const StreamFormat& format) { return grabber->Render(pin, format); }))
            throw NoPicture(*graph);
        graph->LearnDuration();
    });
    const LONGLONG duration = graph->Duration();
    if (duration > 0 && at >= duration)
        throw EndsBefore(at, duration);
    const GraphModel model = ReadGraph(graph->Graph());
    const auto begin = std::chrono::steady_clock::now();
    CPlayGraph::Result result = RunGraph(
        turn, source, *graph, [&](const auto& progress) { return grabber->Run(InterruptEvent(), progress); },
        [] { return false; });
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    TellGraph(turn, source, length, *graph, model, elapsed.count());
    turn.TellLines();
    if (result.ending == CPlayGraph::Ending::ErrorAbort) {
        grabber.reset();
        LearnReason(source, graph, result);
    }
    if (result.ending == CPlayGraph::Ending::ErrorAbort || result.ending == CPlayGraph::Ending::Interrupted)
        return TellEnding(turn, result);
    if (!grabber->Found())
        throw result.ending == CPlayGraph::Ending::Stopped
            ? console::CCommandError(L"the frame at " + SecondsText(at) + L" has no form that can be saved")
            : EndsBefore(at, duration);
    WriteFrame(turn, *grabber->Found(), at, base::WideOfUtf8(arguments.output));
}

void Play(CTurn& turn, const Arguments& arguments, const std::wstring& typed) {
    turn.Enter(step::kStart);
    const bool shown = !arguments.null && arguments.frame.empty() && HasScreen();
    if (arguments.window && !shown)
        throw console::CCommandError(L"there is no screen that a window could stand on");
    const auto source = OpenToPlay(turn, arguments.source, typed);
    if (const std::optional<LONGLONG> at = TimeOf(arguments.frame))
        SaveFrame(turn, arguments, *source, *at);
    else
        PlayToTheEnd(turn, arguments, *source, shown);
}

}  // namespace

void AddPlay(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("play",
                                           "Plays the source through the platform's parsers and renderers. The blank "
                                           "pauses and goes on, the left and right arrows move by ten seconds, Escape "
                                           "ends; in the video's window and in the console.");
    AddFile(*command, arguments->file);
    CLI::Option* const null =
        command->add_flag("--null", arguments->null,
                          "Show nothing and go as fast as possible, which is always so where there is no screen");
    CLI::Option* const window = command
                                    ->add_flag("--window", arguments->window,
                                               "Fail where there is no screen, instead of playing without a window")
                                    ->excludes(null);
    AddOutput(*command, arguments->output, "The PNG file that the frame goes to");
    CLI::Option* const output = command->get_option("-o")->type_name("PNG");
    CLI::Option* const frame =
        command->add_option("--frame", arguments->frame, "Show nothing, and save the frame that is shown at this time")
            ->type_name("SECONDS")
            ->check([](const std::string& text) {
                return TimeOf(text) ? std::string() : "'" + text + "' is no time in seconds, from 0 on";
            })
            ->needs(output)
            ->excludes(null)
            ->excludes(window);
    output->needs(frame);
    command->add_flag("--counted-samples", arguments->countedSamples,
                      "For a parser that is written to the filter's own rule: samples that it waited for have a "
                      "reference more. Without it the platform's rule holds, which other parsers rely on");
    arguments->source.AddTo(*command, true);
    command->callback([=, &chosen] {
        chosen = [=] {
            return RunTurns(arguments->source.report, "play", {arguments->file},
                            [&](CTurn& turn, const std::wstring& typed) { Play(turn, *arguments, typed); });
        };
    });
}

}  // namespace tvsource
