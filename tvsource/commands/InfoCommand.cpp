#include "base/FormatText.h"
#include "diagnostics/EnvironmentReport.h"
#include "diagnostics/LogDestination.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/commands/SourceTurn.h"
#include "tvsource/graph/StreamSearch.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/source/CMimeDictionary.h"
#include "tvsource/source/SourceName.h"

namespace tvsource {

namespace {

using TKRuntimeLogger::LogDestination;

struct Arguments {
    SourceArguments source;
    std::vector<std::string> files;
    bool environment = false;
    bool noParse = false;
};

// Says where the report can be read.  Throws CCommandError: nowhere.
void LogEnvironment(CTurn& turn) {
    constexpr auto kCategory = L"tvsource";
    TKRuntimeLogger::LogProcessEnvironment(kCategory);
    TKRuntimeLogger::LogLoadedModules(nullptr, kCategory, FALSE);

    const LogDestination log = TKRuntimeLogger::ThreadLogDestination();
    if (log.kind == LogDestination::Kind::Service) {
        turn.Line(L"The environment is in the log of the logging service");
        turn.Fields()["environment"] = "service";
    } else if (log.kind == LogDestination::Kind::File) {
        turn.Line(L"The environment is in the log file " + ShownName(log.path));
        turn.Fields()["environment"] = console::JsonText(log.path);
    } else if (!log.path.empty()) {
        turn.Fail(console::CCommandError(L"the environment is not reported: the log file " + ShownName(log.path) +
                                         L" can't be opened"));
    } else {
        turn.Fail(console::CCommandError(L"the environment is not reported: no log is on")
                      .Advise(L"the registry value LogFile (REG_SZ) of "
                              L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Tavel\\TKRuntimeLogger names a log file"));
    }
}

// What the dictionary that the filter uses says of the content. The filter has looked at the content by itself; a
// source that it couldn't read isn't waited for once more.
void TellMimeTypes(CTurn& turn, CSourceFilter& source) {
    const HRESULT result = source.DetectionResult().value_or(S_OK);
    std::optional<console::CCommandError> fault = DetectionFault(result);
    std::wstring text;
    try {
        if (FAILED(result))
            throw *fault;
        source.EnableDataFlow();
        turn.Wait(step::kDetect, L"looking at", [&] {
            const CMimeDictionary::Answer answer = CMimeDictionary(source.Folder()).Detect(source.Content().Get());
            text = MimeTypesText(answer.types);
            turn.Fields()["mime"] = console::JsonTexts(answer.types);
            if (!fault)
                fault = DetectionFault(answer.result);
        });
        if (fault)
            text += L" (" + fault->Text() + L")";
    } catch (const console::CCommandError& error) {
        fault = error;
        text = L"not known: " + error.Text();
        turn.Fields()["mime"] = nullptr;
    }
    turn.Line(L"MIME     " + text);
    if (fault)
        turn.FailLater(*fault);
}

// Why no parser could be asked to the end. Empty: the source is well, they just don't take it.
std::optional<console::CCommandError> ReadFault(const CSourceFilter& source, const CPlayGraph& graph) {
    if (graph.IsGivenUp())
        return console::CCommandError(std::wstring(kNothingComes) + L"; its streams are not known");
    std::optional<console::CCommandError> fault;
    // A source of unknown length can only be asked further on, which may take long.
    if (const LONGLONG shortAt = graph.Reads().shortAt; shortAt > 0 && !source.SourceLength().estimated) {
        RunOrEndProcess([&] {
            if (const HRESULT hr = source.TryByteAt(shortAt); FAILED(hr))
                fault = console::CCommandError(base::FormatText(L"the source could not be read at byte %I64d", shortAt),
                                               hr);
        });
    }
    return fault;
}

// What a parser finds in the source.
void TellStreams(CTurn& turn, CSourceFilter& source) {
    source.EnableDataFlow();
    std::optional<CPlayGraph> graph(std::in_place, source, false);
    bool isTaken = false;
    turn.Wait(step::kConnect, L"finding a parser for", [&] { isTaken = FindStreams(*graph); });
    TellAttempts(turn, *graph);
    if (isTaken)
        return TellParser(turn, *graph);
    turn.Line(L"Parser   none: " + graph->Refusal().Text());
    turn.Fields()["parser"] = nullptr;
    turn.Enter(step::kRead);
    if (const std::optional<console::CCommandError> fault = ReadFault(source, *graph))
        turn.FailLater(*fault);
}

void Describe(CTurn& turn, const Arguments& arguments, const std::wstring& typed) {
    const auto source = OpenSource(turn, arguments.source, typed, [&] {
        if (arguments.environment)
            LogEnvironment(turn);
    });
    turn.Line(L"File     " + turn.Source());
    TellLength(turn, source->SourceLength());
    TellMimeTypes(turn, *source);
    TellType(turn, source->Current().type);
    TellOffers(turn, *source);
    const bool isReadable = SUCCEEDED(source->DetectionResult().value_or(S_OK)) && source->SourceLength().total > 0;
    if (!arguments.noParse && isReadable)
        TellStreams(turn, *source);
    TellNetwork(turn, *source);
}

}  // namespace

void AddInfo(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("info",
                                           "Prints the length of the sources, their MIME types, the types that they "
                                           "offer, and what a parser finds in them.");
    AddFiles(*command, arguments->files);
    command->get_option("FILE")->required(false);  // the environment can be had without one
    command->add_flag("--environment", arguments->environment,
                      "Also write to the log where this program runs, on which system, and the versions of what it has "
                      "loaded; FILE may be left out");
    command->add_flag("--no-parse", arguments->noParse,
                      "Look at the content alone: no parser is asked for the streams and the duration");
    arguments->source.AddTo(*command, false);
    command->callback([=, &chosen] {
        if (arguments->files.empty() && !arguments->environment)
            throw CLI::RequiredError("FILE");
        arguments->source.layer.CheckNames(arguments->files);
        chosen = [=] {
            if (arguments->files.empty())
                return CTurn::Run(arguments->source.report, "info", L"", LogEnvironment);
            return RunTurnsOfFiles(arguments->source.report, "info", arguments->files,
                                   [&](CTurn& turn, const std::wstring& typed) { Describe(turn, *arguments, typed); });
        };
    });
}

}  // namespace tvsource
