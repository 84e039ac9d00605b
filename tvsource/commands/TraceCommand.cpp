#include "base/FormatText.h"
#include "base/Utf8Text.h"
#include "console/Text.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/commands/SourceTurn.h"
#include "tvsource/graph/CPlayGraph.h"
#include "tvsource/report/CActivity.h"
#include "tvsource/report/CProgressLine.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/source/SourceName.h"
#include "tvsource/trace/CTracingPin.h"

#include <optional>
#include <utility>

namespace tvsource {

namespace {

using Microsoft::WRL::ComPtr;

struct Arguments {
    SourceArguments source;
    std::string file, output;
    unsigned mostCalls = static_cast<unsigned>(kMostCalls);
};

// The source by the name that was typed: whoever gets the trace has other folders.
console::Json Header(const CSourceFilter& source, const std::wstring& typed) {
    const CSourceFilter::Length length = source.SourceLength();
    console::Json header{{"source", console::JsonText(ShownName(typed))},
                         {"length", length.estimated ? console::Json() : console::Json(length.total)}};
    header["offers"] = console::Json::array();
    for (const StreamType& type : source.OfferedTypes())
        header["offers"].push_back(console::JsonText(TypeText(type)));
    return header;
}

CPlayGraph::Result RunGraph(CTurn& turn, CPlayGraph& graph, const CTraceRecorder& recorder, HANDLE interrupt) {
    turn.Enter(step::kPlay);
    CActivity activity(L"Trace", L"playing " + turn.Source(), turn.Options().verbose);
    CProgressLine line(turn.Options().ShowsProgress());
    unsigned calls = 0;
    return graph.Run(interrupt, [&](LONGLONG position, LONGLONG duration) {
        if (std::exchange(calls, recorder.Calls()) != recorder.Calls())
            activity.KeepAlive();
        line.Show(static_cast<ULONGLONG>(position), static_cast<ULONGLONG>(duration),
                  console::CountText(calls, L"call"), graph.Reads().delivered);
    });
}

// What the end of the trace says. `interrupt` ends the run.
console::Json Play(CTurn& turn, CSourceFilter& source, const std::shared_ptr<CTraceRecorder>& recorder,
                   HANDLE interrupt) {
    const CSourceFilter::Length length = source.SourceLength();
    const auto total = length.estimated ? std::nullopt : std::optional(length.total);
    ComPtr<CTracingPin> tracing;
    *tracing.GetAddressOf() = new CTracingPin(source.OutputPin(), source.Reader(), total, recorder);
    std::optional<CPlayGraph> graph(std::in_place, source, false, tracing.Get());
    FindParser(turn, source, *graph, [&] { graph->Build(true); });
    CPlayGraph::Result result = RunGraph(turn, *graph, *recorder, interrupt);
    console::Json end{{"ended", EndingName(result.ending)},
                      {"parser", console::JsonText(graph->ParserName())},
                      {"type", JsonType(graph->ConnectedType())}};
    if (result.ending == CPlayGraph::Ending::ErrorAbort) {
        LearnReason(source, graph, result);
        turn.FailLater(AbortError(result));
    }
    if (result.ending == CPlayGraph::Ending::Interrupted && recorder->HasStopped())
        end["ended"] = "failed";
    else if (result.ending == CPlayGraph::Ending::Interrupted)
        turn.SetExitCode(kInterrupted);
    return end;
}

void Tell(CTurn& turn, const CTraceRecorder& recorder, double seconds, const console::Json& end) {
    const double percent = seconds > 0 ? 100 * recorder.Spent() / seconds : 0;
    const auto text = [&](const char* name) { return base::WideOfUtf8(end.value(name, std::string("-"))); };
    turn.Line(L"File     " + turn.Source());
    turn.Line(L"Type     " +
              (end.contains("type") ? base::WideOfUtf8(end["type"].value("text", std::string())) : L"-"));
    turn.Line(L"Parser   " + text("parser"));
    turn.Line(base::FormatText(L"Calls    %u, on ", recorder.Written()) +
              console::CountText(static_cast<LONGLONG>(recorder.Threads()), L"thread"));
    turn.Line(base::FormatText(L"Time     %.2f s, %.2f %% of it for the trace", seconds, percent));
    turn.Line(L"Ended    " + text("ended"));
    console::Json& fields = turn.Fields();
    for (const char* name : {"type", "parser", "ended"})
        fields[name] = end.contains(name) ? end[name] : console::Json();
    fields["calls"] = recorder.Written();
    fields["threads"] = recorder.Threads();
    fields["seconds"] = seconds;
    fields["recordingPercent"] = percent;
}

void RecordTrace(CTurn& turn, const Arguments& arguments, const std::wstring& typed) {
    const auto source = OpenToPlay(turn, arguments.source, typed);
    turn.Enter(step::kWrite);
    const std::wstring path = base::WideOfUtf8(arguments.output);
    const HANDLE interrupt = InterruptEvent();
    const auto recorder =
        std::make_shared<CTraceRecorder>(path, Header(*source, typed), arguments.mostCalls, interrupt);
    turn.Fields()["trace"] = console::JsonText(console::Printable(path));

    console::Json end{{"ended", "failed"}};
    std::optional<console::CCommandError> failure;
    try {
        end = Play(turn, *source, recorder, interrupt);
    } catch (const console::CCommandError& error) {
        failure = error;  // what was asked for until then is worth having
        turn.FailLater(error);
    }
    const double seconds = recorder->Elapsed();
    turn.Enter(step::kWrite);
    recorder->Close();
    if (const std::wstring full = recorder->FullText(); !full.empty()) {
        end["ended"] = "full";
        turn.FailLater(console::CCommandError(L"the trace is full with " + full + L", and ends before the run"));
    }
    try {
        recorder->Finish(end);
    } catch (const console::CCommandError& error) {
        turn.FailLater(error);
    }
    Tell(turn, *recorder, seconds, end);
    TellNetwork(turn, *source);
}

}  // namespace

void AddTrace(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand(
        "trace", "Plays the source without showing it, and records every call of the parser on the source's pin.");
    AddFile(*command, arguments->file);
    AddOutput(*command, arguments->output, "The trace to be written: a JSON object on each line");
    command->get_option("-o")->required();
    command
        ->add_option("--calls", arguments->mostCalls,
                     "End after so many calls (1 to 5000000, as when left out: replay takes no more)")
        ->type_name("N")
        ->check(CLI::Range(1u, static_cast<unsigned>(kMostCalls)));
    arguments->source.AddTo(*command, true);
    command->callback([=, &chosen] {
        chosen = [=] {
            return RunTurns(arguments->source.report, "trace", {arguments->file},
                            [&](CTurn& turn, const std::wstring& typed) { RecordTrace(turn, *arguments, typed); });
        };
    });
}

}  // namespace tvsource
