#include "base/FormatText.h"
#include "console/CConsole.h"
#include "console/COutputFile.h"
#include "tvsource/commands/Commands.h"
#include "tvsource/commands/SourceTurn.h"
#include "tvsource/report/CActivity.h"
#include "tvsource/report/CProgressLine.h"
#include "tvsource/source/CSampleReader.h"

#include <algorithm>
#include <limits>

namespace tvsource {

namespace {

struct Arguments {
    SourceArguments source;
    std::string file, offset, length, output;
};

void Copy(CTurn& turn, const Arguments& arguments, const std::wstring& typed) {
    const auto source = OpenSource(turn, arguments.source, typed);
    source->EnableDataFlow();
    const LONGLONG offset = ByteCount(arguments.offset).value_or(0);
    const CSourceFilter::Length length = source->SourceLength();
    constexpr LONGLONG kMost = std::numeric_limits<LONGLONG>::max();
    const LONGLONG wanted = std::min(ByteCount(arguments.length).value_or(kMost), kMost - offset);
    const LONGLONG end = std::min(length.total, offset + wanted);

    turn.Enter(step::kWrite);
    console::COutputFile output(base::WideOfUtf8(arguments.output));
    CSampleReader reader(*source);
    // The bar doesn't go where the bytes go.
    const bool isMixed = arguments.output.empty() && console::IsTerminal(STD_OUTPUT_HANDLE);
    CProgressLine line(arguments.source.report.progress || (turn.Options().ShowsProgress() && !isMixed));
    // A source of unknown length is read from where it stands, whatever position a read asks for: what comes before the
    // offset is read and left out.
    const LONGLONG begin = length.estimated ? 0 : offset;
    LONGLONG position = begin;
    CActivity activity(L"Cat", L"copying " + turn.Source(), turn.Options().verbose);
    const auto copied = [&] { return std::max(0LL, position - offset); };
    turn.Fields()["offset"] = offset;
    turn.Fields()["copied"] = 0;
    while (position < end) {
        turn.Enter(step::kRead);
        const auto got = reader.Read(position, end - position);
        if (got.empty())
            break;
        const LONGLONG came = std::ssize(got);
        turn.Enter(step::kWrite);
        output.Write(got.subspan(static_cast<size_t>(std::clamp<LONGLONG>(offset - position, 0, came))));
        position += came;
        turn.Fields()["copied"] = copied();
        activity.KeepAlive();
        const auto done = static_cast<ULONGLONG>(position - begin);
        line.Show(done, length.estimated ? 0 : static_cast<ULONGLONG>(end - begin), {}, done);
    }
}

}  // namespace

void AddCat(CLI::App& app, Command& chosen) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* command = app.add_subcommand("cat", "Copies the bytes of the source, as a parser would read them.");
    AddFile(*command, arguments->file);
    AddByteCount(*command, "--offset", arguments->offset, "The first byte to be copied");
    AddByteCount(*command, "--length", arguments->length, "How many bytes; all to the end when left out");
    AddOutput(*command, arguments->output, "The file to be written instead of standard output");
    arguments->source.AddTo(*command, true);
    command->callback([=, &chosen] {
        if (arguments->source.report.json && arguments->output.empty())
            throw CLI::ValidationError("--json", "the bytes would go where the object goes; -o OUT is needed");
        chosen = [=] {
            return RunTurns(arguments->source.report, "cat", {arguments->file},
                            [&](CTurn& turn, const std::wstring& typed) { Copy(turn, *arguments, typed); });
        };
    });
}

}  // namespace tvsource
