#include "base/FormatText.h"
#include "base/Utf8Text.h"
#include "console/Text.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/commands/SourceTurn.h"
#include "tvsource/report/CActivity.h"
#include "tvsource/report/CProgressLine.h"
#include "tvsource/trace/CReplay.h"
#include "tvsource/trace/Differences.h"

#include <algorithm>
#include <chrono>

namespace tvsource {

namespace {

constexpr size_t kShownDifferences = 10;

struct Arguments {
    SourceArguments source;
    std::string trace, file;
    bool asRecorded = false;
    bool all = false;
    unsigned limit = 30;
};

console::Json TimesObject(const CallTimes& times) {
    return {{"p50Us", times.p50}, {"p90Us", times.p90}, {"p99Us", times.p99}, {"longestUs", times.longest}};
}

void TellTimes(CTurn& turn, const Trace& trace, const std::vector<TraceCall>& calls) {
    const auto recorded = TimesOf(trace.calls), replayed = TimesOf(calls);
    console::Json& object = turn.Fields()["times"] = console::Json::object();
    turn.Line(L"Times    in microseconds: recorded -> replayed");
    for (size_t i = 0; i < kCallKinds; ++i) {
        const char* const name = NameOf(static_cast<CallKind>(i));
        const CallTimes &was = recorded[i], &is = replayed[i];
        if (was.calls == 0)
            continue;
        turn.Line(base::FormatText(
            L"  %-16ls %12ls: p50 %I64d -> %I64d, p90 %I64d -> %I64d, p99 %I64d -> "
            L"%I64d, longest %I64d -> %I64d",
            base::WideOfUtf8(name).c_str(), console::CountText(static_cast<LONGLONG>(was.calls), L"call").c_str(),
            was.p50, is.p50, was.p90, is.p90, was.p99, is.p99, was.longest, is.longest));
        object[name] = {{"calls", was.calls}, {"recorded", TimesObject(was)}, {"replayed", TimesObject(is)}};
    }
}

void TellDifferences(CTurn& turn, const std::vector<Difference>& differences, size_t most) {
    console::Json& list = turn.Fields()["differences"];
    list = {{"count", differences.size()}, {"shown", console::Json::array()}};
    for (size_t i = 0; i < std::min(differences.size(), most); ++i) {
        const auto& [index, what, expected, came] = differences[i];
        const auto number = static_cast<ULONGLONG>(index) + 1;
        turn.Line(base::FormatText(L"  call %I64u, thread %u, ", number, came.thread) + CallText(expected) + L": " +
                  base::WideOfUtf8(what) + L" differs\n    expected " + ResultText(expected) + L"\n    came     " +
                  ResultText(came));
        const bool hasPlace = expected.GivesBytes() || expected.kind == CallKind::Request;
        list["shown"].push_back({{"call", number},
                                 {"thread", came.thread},
                                 {"name", NameOf(came.kind)},
                                 {"position", hasPlace ? console::Json(expected.position) : console::Json()},
                                 {"length", hasPlace ? console::Json(expected.length) : console::Json()},
                                 {"what", what},
                                 {"expected", ResultObject(expected)},
                                 {"came", ResultObject(came)}});
    }
    if (differences.size() > most)
        turn.Line(L"  ... (--all shows all of them)");
}

double RunReplay(CTurn& turn, CReplay& replay, bool asRecorded, size_t calls) {
    CActivity activity(L"Replay", L"replaying on " + turn.Source(), turn.Options().verbose);
    CProgressLine line(turn.Options().ShowsProgress());
    const auto begin = std::chrono::steady_clock::now();
    size_t reached = 0;
    replay.Run(asRecorded, [&](size_t ended) {
        if (std::exchange(reached, ended) != ended)
            activity.KeepAlive();
        const auto part = static_cast<unsigned>(calls > 0 ? ended * 100 / calls : 100);
        line.ShowText(base::FormatText(L"%3u%%  %I64u of %s", part, static_cast<ULONGLONG>(ended),
                                       console::CountText(static_cast<LONGLONG>(calls), L"call").c_str()));
    });
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void Replay(CTurn& turn, const Arguments& arguments, const std::wstring& typed) {
    turn.Enter(step::kRead);
    const auto trace = std::make_shared<const Trace>(ReadTrace(base::WideOfUtf8(arguments.trace)));
    const auto source = OpenSource(turn, arguments.source, typed);
    source->EnableDataFlow();
    const CSourceFilter::Length length = source->SourceLength();
    const auto text = [](bool isKnown, LONGLONG bytes) {
        return isKnown ? console::CountText(bytes, L"byte") : std::wstring(L"not known");
    };
    const std::wstring is = text(!length.estimated, length.total);
    const std::wstring was = text(trace->length.has_value(), trace->length.value_or(0));
    turn.Line(L"File     " + turn.Source());
    turn.Line(L"Length   " + is + (is == was ? L"" : L"; in the trace " + was));
    turn.Line(L"Trace    of " + console::Printable(trace->source) + L", ended: " +
              console::Printable(base::WideOfUtf8(trace->ended)));
    turn.Fields()["recordedSource"] = console::JsonText(trace->source);
    turn.Fields()["recordedEnding"] = console::JsonText(base::WideOfUtf8(trace->ended));
    turn.Fields()["length"] = length.estimated ? console::Json() : console::Json(length.total);
    turn.Fields()["recordedLength"] = trace->length ? console::Json(trace->length.value_or(0)) : console::Json();

    turn.Enter(step::kRead);
    CReplay replay(*source, trace, arguments.limit * 1000);
    const double seconds = RunReplay(turn, replay, arguments.asRecorded, trace->calls.size());
    turn.Line(base::FormatText(L"Calls    %I64u, on ", static_cast<ULONGLONG>(trace->calls.size())) +
              console::CountText(trace->threads, L"thread") + base::FormatText(L", in %.2f s", seconds));
    const auto skipped = trace->calls.size() - static_cast<size_t>(std::ranges::count_if(trace->calls, IsReplayable));
    if (skipped > 0)
        turn.Line(L"Skipped  " + console::CountText(static_cast<LONGLONG>(skipped), L"call") +
                  L" for more than 64 MiB, or for what no sample can carry");
    turn.Fields()["skipped"] = skipped;
    turn.Fields()["calls"] = trace->calls.size();
    turn.Fields()["threads"] = trace->threads;
    turn.Fields()["seconds"] = seconds;
    TellTimes(turn, *trace, replay.Calls());
    TellNetwork(turn, *source);

    turn.Enter(step::kCompare);
    const std::vector<Difference> differences = Differences(trace->calls, replay.Calls());
    const auto count = static_cast<LONGLONG>(differences.size());
    turn.Line(count == 0 ? L"Differs  in nothing" : L"Differs  in " + console::CountText(count, L"call"));
    TellDifferences(turn, differences, arguments.all ? differences.size() : kShownDifferences);
    if (count > 0)
        turn.FailSilently(
            console::CCommandError(console::CountText(count, L"call") + L" gave something else than in the trace"));
}

}  // namespace

void AddReplay(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand(
        "replay", "Makes the calls of a trace again on a source, and tells which of them give something else.");
    command->add_option("TRACE", arguments->trace, "What trace has written")->required();
    AddFile(*command, arguments->file);
    command->add_flag("--as-recorded", arguments->asRecorded,
                      "Make no call earlier than in the trace; without it all go as fast as they can");
    command->add_flag("--all", arguments->all, "Show all differences, not only the first ten");
    command->add_option("--limit", arguments->limit, "How long a call may take (1 to 3600; 30 when left out)")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 3600));
    arguments->source.AddTo(*command, true);
    command->callback([=, &chosen] {
        chosen = [=] {
            return RunTurns(arguments->source.report, "replay", {arguments->file},
                            [&](CTurn& turn, const std::wstring& typed) { Replay(turn, *arguments, typed); });
        };
    });
}

}  // namespace tvsource
