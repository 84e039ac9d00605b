#include "base/FormatText.h"
#include "tvsource/CActivity.h"
#include "tvsource/CConsole.h"
#include "tvsource/CHostError.h"
#include "tvsource/CMimeDictionary.h"
#include "tvsource/COpeningLine.h"
#include "tvsource/CPlayGraph.h"
#include "tvsource/CProgressLine.h"
#include "tvsource/CSourceFilter.h"
#include "tvsource/Commands.h"
#include "tvsource/Interrupt.h"
#include "tvsource/NetworkText.h"
#include "tvsource/Screen.h"
#include "tvsource/SourceName.h"

#include <chrono>
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
            return FAILED(result.error) ? L"stopped by an error, " + ResultText(result.error)
                                        : L"stopped: the source could not be read on";
        case CPlayGraph::Ending::UserAbort:
            return L"stopped: a window of the graph was closed";
        case CPlayGraph::Ending::Interrupted:
            break;
    }
    return L"stopped: interrupted";
}

}  // namespace

int Play(const PlayOptions& options) {
    const std::wstring name = SourceName(options.common.name);
    const bool showsProgress = options.progress || IsTerminal(STD_ERROR_HANDLE);
    CSourceFilter source(options.common.library);
    {
        const CActivity activity(L"Play", L"opening " + ShownName(name), options.common.verbose);
        const COpeningLine opening(showsProgress);
        source.Load(name, options.common.subtype, options.common.layer);
    }
    const std::vector<StreamType> offered = source.OfferedTypes();
    if (offered.size() == 1 && offered.front().IsUnknown()) {
        const std::wstring fault = DetectionFault(source.DetectionResult().value_or(S_OK));
        Complain(L"No type was found: " + (fault.empty() ? L"the content is of no known type" : fault) +
                 L". --type names one; --type any leaves it to the parser\n");
    }
    const CSourceFilter::Length length = source.SourceLength();
    if (length.total == 0)
        throw CHostError(ShownName(name) + L" is empty");
    source.EnableDataFlow();

    std::optional<CPlayGraph> graph(std::in_place, source, options.countedSamples);
    {
        const CActivity activity(L"Play", L"finding a parser for " + ShownName(name), options.common.verbose);
        const COpeningLine opening(showsProgress);
        graph->Build(options.null || !HasScreen());
    }
    const auto begin = std::chrono::steady_clock::now();
    CPlayGraph::Result result{};
    {
        CActivity activity(L"Play", L"playing " + ShownName(name), options.common.verbose);
        CProgressLine line(showsProgress);
        LONGLONG reached = 0;
        ULONGLONG delivered = 0;
        result = graph->Run(InterruptEvent(), [&](LONGLONG position, LONGLONG duration) {
            const ULONGLONG now = graph->Reads().delivered;
            if (std::exchange(reached, position) != position || std::exchange(delivered, now) != now)
                activity.KeepAlive();
            const std::wstring end = duration > 0 ? L" of " + Clock(duration) : std::wstring();
            line.Show(static_cast<ULONGLONG>(position), static_cast<ULONGLONG>(duration),
                      Clock(position) + end + L", " + BufferingText(source.Status()), now);
        });
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;

    const CCountingPin::Counts reads = graph->Reads();
    std::wstring text = L"File     " + ShownName(source.Current().name) + L"\nLength   ";
    text += length.estimated ? L"not known" : base::FormatText(L"%I64d bytes", length.total);
    for (const StreamType& type : source.OfferedTypes())
        text += L"\nOffered  " + TypeText(type);
    text += L"\nType     " + TypeText(graph->ConnectedType()) + L"\nParser   " + graph->ParserName() + L"\n";
    for (const std::wstring& stream : graph->Streams())
        text += L"Stream   " + stream + L"\n";
    text += base::FormatText(L"Reads    %I64u, of %I64u bytes together; %I64u came\nTime     %.2f s\n", reads.reads,
                             reads.bytes, reads.delivered, elapsed.count());
    text += NetworkText(source.Status());
    Print(text);

    if (result.ending == CPlayGraph::Ending::ErrorAbort) {
        // The graph learns that a read failed, but not why. The parser must release the source before the reason can be
        // asked for.
        graph.reset();
        RunOrEndProcess([&] {
            if (const HRESULT hr = source.TryByteAt(reads.shortAt); FAILED(hr))
                result.error = hr;
        });
    }
    Print(L"Ended    " + EndingText(result) + L"\n");
    if (result.ending == CPlayGraph::Ending::Interrupted)
        return kInterrupted;
    return result.ending == CPlayGraph::Ending::Complete ? 0 : 1;
}

}  // namespace tvsource
