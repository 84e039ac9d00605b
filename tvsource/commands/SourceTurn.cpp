#include "tvsource/commands/SourceTurn.h"

#include "base/FormatText.h"
#include "console/Text.h"
#include "tvsource/graph/StreamSearch.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/report/NetworkText.h"
#include "tvsource/source/CMimeDictionary.h"
#include "tvsource/source/FileNames.h"
#include "tvsource/source/MediaTypes.h"
#include "tvsource/source/SourceName.h"

#include <algorithm>

namespace tvsource {

std::unique_ptr<CSourceFilter> OpenSource(CTurn& turn, const SourceArguments& arguments, const std::wstring& typed,
                                          const std::function<void()>& whenLoaded) {
    turn.Enter(step::kOpen);
    const std::wstring name = SourceName(typed);
    turn.Enter(step::kFilter);
    auto source = std::make_unique<CSourceFilter>(arguments.Library());
    if (whenLoaded)
        whenLoaded();
    turn.Wait(step::kOpen, L"opening", [&] { source->Load(name, arguments.Subtype(), arguments.layer.Options()); });
    turn.SetSource(ShownName(source->Current().name));
    return source;
}

namespace {

void NoteUnknownType(const CTurn& turn, const CSourceFilter& source) {
    const std::vector<StreamType> offered = source.OfferedTypes();
    if (offered.size() == 1 && offered.front().IsUnknown())
        turn.Note(L"No type was found: " + WhyNoType(source) + L". Parsers are offered any; --type names one");
}

}  // namespace

std::unique_ptr<CSourceFilter> OpenToPlay(CTurn& turn, const SourceArguments& arguments, const std::wstring& typed) {
    auto source = OpenSource(turn, arguments, typed);
    if (source->SourceLength().total == 0)
        throw console::CCommandError(turn.Source() + L" is empty");
    NoteUnknownType(turn, *source);
    source->EnableDataFlow();
    return source;
}

namespace {

int RunTurnsOf(const std::vector<FoundFile>& files, const ReportOptions& options, const char* command,
               const std::function<void(CTurn& turn, const std::wstring& typed)>& work) {
    int exitCode = 0;
    for (const FoundFile& file : files) {
        exitCode = std::max(exitCode, CTurn::Run(options, command, ShownName(file.name), [&](CTurn& turn) {
                                if (&file != &files.front() && !options.json)
                                    turn.Line(L"");  // between two sources
                                turn.Enter(step::kFind);
                                if (file.fault)
                                    throw *file.fault;
                                work(turn, file.name.Text());
                            }));
        if (exitCode == kInterrupted)
            break;
    }
    return exitCode;
}

std::vector<std::wstring> NamesOf(const std::vector<std::string>& typed) {
    std::vector<std::wstring> names;
    std::ranges::transform(typed, std::back_inserter(names), NameOf);
    return names;
}

}  // namespace

int RunTurns(const ReportOptions& options, const char* command, const std::vector<std::string>& files,
             const std::function<void(CTurn& turn, const std::wstring& typed)>& work) {
    std::vector<FoundFile> found;
    for (const std::wstring& name : NamesOf(files))
        found.push_back({framework::CParsedName(name.c_str()), {}});
    return RunTurnsOf(found, options, command, work);
}

int RunTurnsOfFiles(const ReportOptions& options, const char* command, const std::vector<std::string>& typed,
                    const std::function<void(CTurn& turn, const std::wstring& typed)>& work) {
    std::vector<FoundFile> files = FilesOf(NamesOf(typed), options.verbose);
    if (files.empty())
        files.push_back({framework::CParsedName(), NoFile()});
    return RunTurnsOf(files, options, command, work);
}

console::Json JsonType(const StreamType& type) {
    return {{"major", console::JsonText(GuidText(type.major))},
            {"subtype", console::JsonText(GuidText(type.subtype))},
            {"text", console::JsonText(TypeText(type))}};
}

void TellLength(CTurn& turn, const CSourceFilter::Length& length) {
    turn.Line(L"Length   " + (length.estimated ? L"not known" : console::CountText(length.total, L"byte")));
    turn.Fields()["length"] = length.estimated ? console::Json() : console::Json(length.total);
}

void TellType(CTurn& turn, const StreamType& type) {
    turn.Line(L"Type     " + TypeText(type));
    turn.Fields()["type"] = JsonType(type);
}

void TellOffers(CTurn& turn, const CSourceFilter& source) {
    turn.Fields()["offers"] = console::Json::array();
    for (const StreamType& type : source.OfferedTypes()) {
        turn.Line(L"Offers   " + TypeText(type));
        turn.Fields()["offers"].push_back(JsonType(type));
    }
}

void FindParser(CTurn& turn, const CSourceFilter& source, CPlayGraph& graph, const std::function<void()>& search) {
    const SearchLimits limits{.readMs = source.Control() ? INFINITE : 10'000};
    turn.Wait(step::kConnect, L"finding a parser for", [&] {
        try {
            Search(graph, limits, search);
        } catch (const console::CCommandError&) {
            TellAttempts(turn, graph);
            if (!graph.IsGivenUp())
                throw;
        }
    });
    if (graph.IsGivenUp())
        throw console::CCommandError(kNothingComes);
}

void TellParser(CTurn& turn, const CPlayGraph& graph) {
    const LONGLONG duration = graph.Duration();
    const double seconds = static_cast<double>(duration) / 1e7;
    const CCountingPin::Counts reads = graph.Reads();
    const double longestMs = static_cast<double>(reads.longestUs) / 1000;
    turn.Line(L"Parser   " + graph.ParserName());
    turn.Line(L"Duration " + (duration > 0 ? base::FormatText(L"%.2f s", seconds) : L"not known"));
    for (const ParserStream& stream : graph.Streams())
        turn.Line(L"Stream   " + StreamText(stream));
    turn.Line(base::FormatText(L"Reads    %I64u, of ", reads.reads) +
              console::CountText(static_cast<LONGLONG>(reads.bytes), L"byte") +
              base::FormatText(L" together; %I64u came; the longest took %.2f ms", reads.delivered, longestMs));
    console::Json& fields = turn.Fields();
    fields["parser"] = console::JsonText(graph.ParserName());
    fields["duration"] = duration > 0 ? console::Json(seconds) : console::Json();
    fields["streams"] = JsonStreams(graph.Streams());
    fields["reads"] = {
        {"calls", reads.reads}, {"bytesAsked", reads.bytes}, {"bytesCame", reads.delivered}, {"longestMs", longestMs}};
}

void TellAttempts(CTurn& turn, const CPlayGraph& graph) {
    console::Json& tried = turn.Fields()["tried"] = console::Json::array();
    for (const CPlayGraph::Attempt& attempt : graph.Attempts())
        tried.push_back({{"parser", console::JsonText(attempt.parser)},
                         {"code", console::JsonText(console::CodeText(attempt.result))},
                         {"meaning", console::JsonText(console::ResultWords(attempt.result))},
                         {"streams", JsonStreams(attempt.streams)}});
}

void TellNetwork(CTurn& turn, const CSourceFilter& source) {
    const auto status = source.Status();
    if (!status)
        return;
    turn.Line(NetworkText(status));
    turn.Fields()["network"] = {{"requests", status->requests},
                                {"bytes", status->received},
                                {"bytesAgain", status->receivedAgain},
                                {"stalls", status->stalls},
                                {"longestWaitMs", status->longestWait}};
}

void LearnReason(const CSourceFilter& source, std::optional<CPlayGraph>& graph, CPlayGraph::Result& result) {
    const LONGLONG shortAt = graph->Reads().shortAt;
    graph.reset();
    RunOrEndProcess([&] {
        if (const HRESULT hr = source.TryByteAt(shortAt); FAILED(hr))
            result.error = hr;
    });
}

console::CCommandError AbortError(const CPlayGraph::Result& result) {
    // A filter may give up without a code of its own; the code is a success then.
    return FAILED(result.error) ? console::CCommandError(L"stopped by an error", result.error)
                                : console::CCommandError(L"stopped: the source could not be read on");
}

const char* EndingName(CPlayGraph::Ending ending) noexcept {
    switch (ending) {
        case CPlayGraph::Ending::Complete:
            return "complete";
        case CPlayGraph::Ending::ErrorAbort:
            return "error";
        case CPlayGraph::Ending::Stopped:
            return "closed";
        case CPlayGraph::Ending::Interrupted:
            break;
    }
    return "interrupted";
}

}  // namespace tvsource
