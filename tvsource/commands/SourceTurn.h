// The beginning that commands share: a filter with a source in it.
#pragma once

#include "tvsource/commands/Arguments.h"
#include "tvsource/graph/CPlayGraph.h"
#include "tvsource/source/CSourceFilter.h"

#include <functional>
#include <optional>
#include <string>

namespace tvsource {

// Loads the filter, and opens the name with the options that were given. The data flow isn't enabled yet.
// `whenLoaded` is called in between.
// Errors: CCommandError; the turn's steps are "open" and "filter".
[[nodiscard]] std::unique_ptr<CSourceFilter> OpenSource(CTurn& turn, const SourceArguments& arguments,
                                                        const std::wstring& typed,
                                                        const std::function<void()>& whenLoaded = {});

// The same for who plays it: its data flows, and where the filter offers no type there is a note, as graphs
// (CPlayGraph) then offer parsers a stream of any. Errors: also that the source is empty.
[[nodiscard]] std::unique_ptr<CSourceFilter> OpenToPlay(CTurn& turn, const SourceArguments& arguments,
                                                        const std::wstring& typed);

// A turn for each of the names, in their order. The greatest of the exit codes; an interrupt ends it.
// RunTurnsOfFiles: also for what patterns and folders stand for (FileNames.h).
int RunTurns(const ReportOptions& options, const char* command, const std::vector<std::string>& files,
             const std::function<void(CTurn& turn, const std::wstring& typed)>& work);

int RunTurnsOfFiles(const ReportOptions& options, const char* command, const std::vector<std::string>& typed,
                    const std::function<void(CTurn& turn, const std::wstring& typed)>& work);

// "WAVE" and the like as {"major": ..., "subtype": ..., "text": ...}.
[[nodiscard]] console::Json JsonType(const StreamType& type);

// "length", "type" and "offers", and their lines.
// `length` from before a graph ran: a read that doesn't end would hold up who asks for it.
void TellLength(CTurn& turn, const CSourceFilter::Length& length);
void TellType(CTurn& turn, const StreamType& type);
void TellOffers(CTurn& turn, const CSourceFilter& source);

// Runs `search`, CPlayGraph's Build or TryParsers, as a step of the turn that is given up when nothing comes from the
// source any more. Throws what it throws, or that it was given up.
void FindParser(CTurn& turn, const CSourceFilter& source, CPlayGraph& graph, const std::function<void()>& search);

// "parser", "duration", "streams" and "reads", and their lines. The graph has a parser.
void TellParser(CTurn& turn, const CPlayGraph& graph);

// "tried": the parsers that weren't taken. No lines: CPlayGraph::Refusal has them for people.
void TellAttempts(CTurn& turn, const CPlayGraph& graph);

// What it took to read the source, where it is one that is waited for: "network" and its line.
void TellNetwork(CTurn& turn, const CSourceFilter& source);

// After an ErrorAbort: the graph learns that a read failed, but not why. The parser must release the source before the
// reason can be asked for, and so the graph goes.
void LearnReason(const CSourceFilter& source, std::optional<CPlayGraph>& graph, CPlayGraph::Result& result);
[[nodiscard]] console::CCommandError AbortError(const CPlayGraph::Result& result);

// "complete", "error", "closed", "interrupted": the field "ended".
[[nodiscard]] const char* EndingName(CPlayGraph::Ending ending) noexcept;

}  // namespace tvsource
