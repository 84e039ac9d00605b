#include "base/FormatText.h"
#include "console/COutputFile.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/commands/SourceTurn.h"
#include "tvsource/graph/CPlayGraph.h"
#include "tvsource/graph/GraphPicture.h"
#include "tvsource/graph/Screen.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/source/SourceName.h"

namespace tvsource {

namespace {

constexpr char kDot[] = "dot", kSvg[] = "svg";

struct Arguments {
    SourceArguments source;
    std::string file, output, format;
};

// Empty: the name says nothing.
std::string FormatOfName(std::string name) {
    name = CLI::detail::to_lower(name.substr(std::min(name.find_last_of('.'), name.size())));
    if (name == ".svg")
        return kSvg;
    return name == ".dot" || name == ".gv" ? kDot : "";
}

void Draw(CTurn& turn, const Arguments& arguments, const std::wstring& typed) {
    const auto source = OpenToPlay(turn, arguments.source, typed);
    CPlayGraph graph(*source, false);
    FindParser(turn, *source, graph, [&] { graph.Build(!HasScreen()); });
    const GraphModel model = ReadGraph(graph.Graph());
    const bool isSvg = arguments.format == kSvg;
    const std::string picture =
        isSvg ? SvgOfGraph(model, turn.Source(), SvgPlace::File) : DotOfGraph(model, turn.Source());
    turn.Enter(step::kWrite);
    turn.Fields()["graph"] = JsonOfGraph(model);
    turn.Fields()["format"] = arguments.format;
    const std::wstring output = base::WideOfUtf8(arguments.output);
    turn.Fields()["output"] = output.empty() ? console::Json() : console::JsonText(output);
    if (!output.empty() || !turn.Options().json)
        console::COutputFile(output).Write(picture);
}

}  // namespace

void AddGraph(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand(
        "graph", "Draws the filter graph that plays the source: filters, pins, and what goes from one to the other.");
    AddFile(*command, arguments->file);
    AddOutput(*command, arguments->output, "The picture goes to this file instead of standard output");
    command
        ->add_option("--format", arguments->format,
                     "dot, for Graphviz, or svg, for browsers; without it, as the name of OUT ends, else dot")
        ->check(CLI::IsMember({kDot, kSvg}));
    arguments->source.AddTo(*command, false);
    command->callback([=, &chosen] {
        if (arguments->format.empty())
            arguments->format = arguments->output.empty() ? kDot : FormatOfName(arguments->output);
        if (arguments->format.empty())
            throw CLI::ValidationError("-o", "the name ends neither in .svg nor in .dot; --format says which it is");
        chosen = [=] {
            return RunTurns(arguments->source.report, "graph", {arguments->file},
                            [&](CTurn& turn, const std::wstring& typed) { Draw(turn, *arguments, typed); });
        };
    });
}

}  // namespace tvsource
