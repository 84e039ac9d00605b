// A filter graph of the platform: the source filter, one parser, and what takes the parser's streams.
//
// Threads: one, in the multithreaded apartment; the graph has its own.  Lifetime: must go before the source filter that
// it was given. It then takes every filter out of the graph: filters that are still there when the process ends can
// crash it, because the libraries behind them are unloaded in any order. Where a parser doesn't let go, for example
// because one of its reads doesn't end, RunOrEndProcess ends the process.  Errors: CHostError.
#pragma once

#include "tvsource/CCountingPin.h"
#include "tvsource/CSourceFilter.h"
#include "tvsource/Parsers.h"

#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <strmif.h>
#include <wrl/client.h>

#include <control.h>

#include <functional>
#include <string>
#include <vector>

namespace tvsource {

class CPlayGraph final {
public:
    // How a run ended.
    enum class Ending {
        Complete,     // every stream to its end
        ErrorAbort,   // a filter gave up (EC_ERRORABORT)
        UserAbort,    // the person closed a window of the graph (EC_USERABORT)
        Interrupted,  // the caller's event was signalled
    };
    struct Result {
        Ending ending;
        HRESULT error;  // what the filter said with ErrorAbort
    };

    // Called now and then with the position of the run and its duration, in units of 100 ns. A duration of 0 is not
    // known.
    using Progress = std::function<void(LONGLONG position, LONGLONG duration)>;

    // Puts the filter into a new graph. It must be loaded, and its data flow enabled. `countedSamples`: parsers own the
    // samples that they request by the filter's own rule, not by the platform's (ITavelSampleReferences).
    CPlayGraph(CSourceFilter& source, bool countedSamples);
    CPlayGraph(const CPlayGraph&) = delete;
    CPlayGraph& operator=(const CPlayGraph&) = delete;
    ~CPlayGraph();

    // Connects a parser and gives each of its streams a renderer, a null renderer if `null` or if the platform finds no
    // other. Parsers are tried until one takes the source with all of its streams, or with some where none does. Throws
    // with what each of them answered when nothing could be rendered at all.
    void Build(bool null);

    // Plays to the end, or until `interrupt` is signalled.
    [[nodiscard]] Result Run(HANDLE interrupt, const Progress& progress);

    [[nodiscard]] const std::wstring& ParserName() const noexcept { return m_parserName; }

    // The media type of the connection between source and parser.
    [[nodiscard]] StreamType ConnectedType() const;

    // One line for each stream of the parser: what it is and where it goes.
    [[nodiscard]] const std::vector<std::wstring>& Streams() const noexcept { return m_streams; }

    // What the parser has read so far.
    [[nodiscard]] CCountingPin::Counts Reads() const noexcept { return m_counter->Read(); }

private:
    using Filter = Microsoft::WRL::ComPtr<IBaseFilter>;
    using Pin = Microsoft::WRL::ComPtr<IPin>;

    HRESULT ConnectParser(const ParserClass& parser);
    size_t RenderStreams(bool null);  // returns how many of m_streams have a renderer
    HRESULT RenderToNull(IPin* pin);
    void RemoveAllButSource();
    void StopAndRemove();

    CSourceFilter& m_source;
    Microsoft::WRL::ComPtr<IGraphBuilder> m_graph;
    Microsoft::WRL::ComPtr<CCountingPin> m_counter;
    Filter m_parser;
    std::wstring m_parserName;
    std::vector<std::wstring> m_streams;
    bool m_onlyNullRenderers = true;
};

}  // namespace tvsource
