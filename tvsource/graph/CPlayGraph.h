// A filter graph of the platform: the source filter, one parser, and what takes the parser's streams.
//
// Threads: one, in the multithreaded apartment; the graph has its own.  Lifetime: must go before the source filter that
// it was given. It then takes every filter out of the graph: filters that are still there when the process ends can
// crash it, because the libraries behind them are unloaded in any order. Where a parser doesn't let go, for example
// because one of its reads doesn't end, RunOrEndProcess ends the process.  Errors: CCommandError.
#pragma once

#include "console/CCommandError.h"
#include "tvsource/graph/CCountingPin.h"
#include "tvsource/graph/Parsers.h"
#include "tvsource/graph/StreamFormats.h"
#include "tvsource/source/CSourceFilter.h"

#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <strmif.h>
#include <wrl/client.h>

#include <control.h>

#include <atomic>
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
        Stopped,      // the person closed a window of the graph (EC_USERABORT), or the attendant ended it
        Interrupted,  // the caller's event was signalled
    };
    struct Result {
        Ending ending;
        HRESULT error;  // what the filter said with ErrorAbort
    };

    // Called now and then with the position of the run and its duration, in units of 100 ns. A duration of 0 is not
    // known.
    using Progress = std::function<void(LONGLONG position, LONGLONG duration)>;

    // Who else has a say in a run. `goesOn` is called at its beginning, whenever `signal` is signalled or a message for
    // a window of this thread has been handled, and now and then; false ends the run. Either may be empty.
    struct Attendant {
        HANDLE signal;
        std::function<bool()> goesOn;
    };

    // Puts the filter into a new graph. It must be loaded, and its data flow enabled. `countedSamples`: parsers own the
    // samples that they request by the filter's own rule, not by the platform's (ITavelSampleReferences). `reader`: in
    // place of the source pin's own, null for that.
    CPlayGraph(CSourceFilter& source, bool countedSamples, IAsyncReader* reader = nullptr);
    CPlayGraph(const CPlayGraph&) = delete;
    CPlayGraph& operator=(const CPlayGraph&) = delete;
    ~CPlayGraph();

    // What becomes of a stream of the parser: S_OK, something; S_FALSE, nothing is to; a failure, nothing can.
    using Renderer = std::function<HRESULT(IPin* pin, const StreamFormat& format)>;

    // Connects a parser and gives each of its streams to `render`. Parsers are tried until one has a use for all of its
    // streams, or for some where none has. Where the filter offers no type at all, parsers are offered a stream of any.
    // False: no parser takes the source; Refusal says why.
    [[nodiscard]] bool TryParsers(const Renderer& render);

    // The same with a renderer for each stream: a null renderer if `null` or if the platform finds no other. Throws
    // Refusal.
    void Build(bool null);

    // One parser that was tried and not taken.
    struct Attempt {
        std::wstring parser;
        HRESULT result;                     // of the connection; a success: no stream had a use
        std::vector<ParserStream> streams;  // with what became of each
    };
    [[nodiscard]] const std::vector<Attempt>& Attempts() const noexcept { return m_attempts; }
    // With what each of them answered.
    [[nodiscard]] console::CCommandError Refusal() const;

    // From any thread: TryParsers is to end soon, without a read more. Reads of the source that wait end.
    void GiveUp() noexcept;
    [[nodiscard]] bool IsGivenUp() const noexcept { return m_isGivenUp; }

    // Plays to the end, or until `interrupt` is signalled. Handles the messages of this thread's windows.
    [[nodiscard]] Result Run(HANDLE interrupt, const Progress& progress, const Attendant& attendant = {});

    // For a renderer: connects the pin to a filter that takes what comes and shows nothing.
    HRESULT RenderToNull(IPin* pin);

    [[nodiscard]] const std::wstring& ParserName() const noexcept { return m_parserName; }

    // The media type of the connection between source and parser.
    [[nodiscard]] StreamType ConnectedType() const;

    // What the parser found, and where it goes.
    [[nodiscard]] const std::vector<ParserStream>& Streams() const noexcept { return m_streams; }

    // For a look at what stands in it; it changes with this object.
    [[nodiscard]] IFilterGraph* Graph() const noexcept { return m_graph.Get(); }

    // Asks the parser how long the source plays. It may answer only when a read of its own has ended.
    void LearnDuration();
    // What was learned, also while the graph ran, in units of 100 ns; 0: it is not known.
    [[nodiscard]] LONGLONG Duration() const noexcept { return m_duration; }

    // What the parser has read so far. From any thread.
    [[nodiscard]] CCountingPin::Counts Reads() const noexcept { return m_counter->Read(); }

private:
    using Filter = Microsoft::WRL::ComPtr<IBaseFilter>;
    using Pin = Microsoft::WRL::ComPtr<IPin>;

    HRESULT ConnectParser(const ParserClass& parser);
    enum class Use { None, Some, All };
    Use UseStreams(const Renderer& render);
    HRESULT Render(IPin* pin, bool null);
    void RemoveAllButSource();
    void StopAndRemove();

    CSourceFilter& m_source;
    Microsoft::WRL::ComPtr<IGraphBuilder> m_graph;
    Microsoft::WRL::ComPtr<CCountingPin> m_counter;
    Filter m_parser;
    std::wstring m_parserName;
    std::vector<ParserStream> m_streams;
    std::vector<Attempt> m_attempts;
    LONGLONG m_duration = 0;
    std::atomic<bool> m_isGivenUp{false};
    bool m_onlyNullRenderers = true;
};

}  // namespace tvsource
