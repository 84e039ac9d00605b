#include "tvsource/graph/CPlayGraph.h"

#include "TvFileSourceAsync.h"
#include "base/ForeignCalls.h"
#include "baseclasses/MediaTypeCopies.h"
#include "console/CCommandError.h"
#include "tvsource/graph/Pins.h"
#include "tvsource/report/Interrupt.h"
#include "tvsource/source/CMimeDictionary.h"

#include <evcode.h>
#include <uuids.h>
#include <vfwmsgs.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

// The platform's headers do not have it: qedit.dll's filter that takes anything and shows nothing.
constexpr GUID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

constexpr DWORD kProgressIntervalMs = 200;

std::wstring RefusalAdvice(const CSourceFilter& source) {
    const std::vector<StreamType> offered = source.OfferedTypes();
    const bool isKnown = !offered.empty() && !offered.front().IsUnknown();
    return (isKnown ? L"it was offered as " + TypeText(offered.front()) : L"no type was found: " + WhyNoType(source)) +
           L"; --type offers another type, and a format may need a parser (splitter) to be installed";
}

void HandleMessages() noexcept {
    for (MSG message; ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) {
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

}  // namespace

CPlayGraph::CPlayGraph(CSourceFilter& source, bool countedSamples, IAsyncReader* reader) : m_source(source) {
    console::Check(
        ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IGraphBuilder), &m_graph),
        L"Cannot create a filter graph");
    console::Check(m_graph->AddFilter(source.Filter(), L"Source"), L"Cannot add the source filter to the graph");
    *m_counter.ReleaseAndGetAddressOf() =
        new CCountingPin(source.OutputPin(), reader ? reader : source.Reader(), source.Control().Get());
    // An older filter has only its own rule.
    ComPtr<ITavelSampleReferences> references;
    if (SUCCEEDED(source.OutputPin()->QueryInterface(__uuidof(ITavelSampleReferences), &references)))
        console::Check(references->SetUncountedSamples(!countedSamples), L"Cannot tell the filter who counts samples");
}

CPlayGraph::~CPlayGraph() {
    RemoveAllButSource();
    m_graph->RemoveFilter(m_source.Filter());
}

void CPlayGraph::Build(bool null) {
    if (!TryParsers([&](IPin* pin, const StreamFormat&) { return Render(pin, null); }))
        throw Refusal();
}

bool CPlayGraph::TryParsers(const Renderer& render) {
    std::vector<StreamType> offered = m_source.OfferedTypes();
    for (StreamType& type : offered) {
        // The filter found no type. A parser that judges by the content can be asked all the same.
        if (type.IsUnknown()) {
            type.major = MEDIATYPE_Stream;
            m_counter->OfferAnyForNone();
        }
    }
    const std::vector<ParserClass> parsers = ParsersFor(offered);
    const ParserClass* second = nullptr;  // the first parser with at least one stream rendered
    for (const ParserClass& parser : parsers) {
        if (m_isGivenUp)
            break;
        const HRESULT hr = ConnectParser(parser);
        const Use use = SUCCEEDED(hr) ? UseStreams(render) : Use::None;
        if (use == Use::All)
            return true;
        if (use == Use::Some && !second)
            second = &parser;
        m_attempts.push_back({parser.name, hr, m_streams});
        RemoveAllButSource();
    }
    if (!second || m_isGivenUp)
        return false;
    console::Check(ConnectParser(*second), L"The parser no longer takes the source");
    return UseStreams(render) != Use::None;
}

console::CCommandError CPlayGraph::Refusal() const {
    console::CCommandError error(m_counter->HasSoughtEnd()
                                     ? L"No parser takes the source: its format can't be played from its "
                                       L"start alone, and its end isn't known"
                                     : L"No parser takes the source");
    if (!m_counter->HasSoughtEnd())
        static_cast<void>(std::move(error).Advise(RefusalAdvice(m_source)));
    for (const Attempt& attempt : m_attempts) {
        static_cast<void>(std::move(error).Detail(
            L"  " + attempt.parser + L": " +
            (FAILED(attempt.result) ? console::ResultText(attempt.result) : L"no stream could be rendered")));
        for (const ParserStream& stream : attempt.streams)
            static_cast<void>(std::move(error).Detail(L"    " + StreamText(stream)));
    }
    return error;
}

void CPlayGraph::GiveUp() noexcept {
    m_isGivenUp = true;
    m_counter->RefuseReads(true);
    m_source.EndReads();
}

HRESULT CPlayGraph::ConnectParser(const ParserClass& parser) {
    Filter filter;
    if (const HRESULT hr =
            ::CoCreateInstance(parser.classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IBaseFilter), &filter);
        FAILED(hr))
        return hr;
    if (const HRESULT hr = m_graph->AddFilter(filter.Get(), parser.name.c_str()); FAILED(hr))
        return hr;
    m_parser = filter;
    m_parserName = parser.name;
    const auto inputs = PinsOf(filter.Get(), PINDIR_INPUT);
    return inputs.empty() ? E_UNEXPECTED : m_graph->ConnectDirect(m_counter.Get(), inputs.front().Get(), nullptr);
}

CPlayGraph::Use CPlayGraph::UseStreams(const Renderer& render) {
    size_t used = 0;
    size_t failed = 0;
    for (const Pin& pin : PinsOf(m_parser.Get(), PINDIR_OUTPUT)) {
        ParserStream stream{NameOf(pin.Get()), FormatOf(pin.Get()), {}, S_OK};
        stream.result = render(pin.Get(), stream.format);
        used += stream.result == S_OK;
        failed += FAILED(stream.result);
        if (SUCCEEDED(stream.result))
            stream.route = RouteFrom(pin.Get());
        m_streams.push_back(std::move(stream));
    }
    if (used == 0)
        return Use::None;
    return failed == 0 ? Use::All : Use::Some;
}

HRESULT CPlayGraph::Render(IPin* pin, bool null) {
    if (!null && SUCCEEDED(m_graph->Render(pin))) {
        m_onlyNullRenderers = false;
        return S_OK;
    }
    const HRESULT hr = RenderToNull(pin);
    return FAILED(hr) ? hr : S_OK;
}

HRESULT CPlayGraph::RenderToNull(IPin* pin) {
    Filter renderer;
    if (const HRESULT hr =
            ::CoCreateInstance(kNullRenderer, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IBaseFilter), &renderer);
        FAILED(hr))
        return hr;
    if (const HRESULT hr = m_graph->AddFilter(renderer.Get(), L"Null Renderer"); FAILED(hr))
        return hr;
    const auto inputs = PinsOf(renderer.Get(), PINDIR_INPUT);
    HRESULT hr = inputs.empty() ? E_UNEXPECTED : m_graph->ConnectDirect(pin, inputs.front().Get(), nullptr);
    // Some pins go to a null renderer only by way of a decoder.
    if (FAILED(hr) && !inputs.empty())
        hr = m_graph->Connect(pin, inputs.front().Get());
    if (FAILED(hr))
        m_graph->RemoveFilter(renderer.Get());
    return hr;
}

CPlayGraph::Result CPlayGraph::Run(HANDLE interrupt, const Progress& progress, const Attendant& attendant) {
    ComPtr<IMediaControl> control;
    ComPtr<IMediaEvent> events;
    ComPtr<IMediaSeeking> seeking;
    console::Check(m_graph.As(&control), L"The graph has no IMediaControl");
    // By the identifier's name: not every compiler's headers tie one to this interface.
    console::Check(m_graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(events.GetAddressOf())),
                   L"The graph has no IMediaEvent");
    console::Check(m_graph.As(&seeking), L"The graph has no IMediaSeeking");
    if (m_onlyNullRenderers) {
        // Nobody watches: without a clock the graph runs as fast as it can.
        ComPtr<IMediaFilter> filter;
        console::Check(m_graph.As(&filter), L"The graph has no IMediaFilter");
        console::Check(filter->SetSyncSource(nullptr), L"Cannot take the graph's clock away");
    }

    OAEVENT eventHandle = 0;
    console::Check(events->GetEventHandle(&eventHandle), L"The graph has no event handle");
    const HANDLE handles[] = {reinterpret_cast<HANDLE>(eventHandle), interrupt, attendant.signal};
    const DWORD count = attendant.signal ? 3 : 2;
    console::Check(control->Run(), L"The graph does not run");

    const auto takeEvents = [&]() -> std::optional<Result> {
        long code = 0;
        LONG_PTR first = 0;
        LONG_PTR second = 0;
        while (events->GetEvent(&code, &first, &second, 0) == S_OK) {
            const auto error = static_cast<HRESULT>(first);
            events->FreeEventParams(code, first, second);
            switch (code) {
                case EC_COMPLETE:
                    LearnDuration();
                    return Result{Ending::Complete, S_OK};
                case EC_USERABORT:
                    return Result{Ending::Stopped, S_OK};
                case EC_ERRORABORT:
                    return Result{Ending::ErrorAbort, error};
            }
        }
        return std::nullopt;
    };
    for (;;) {
        // In this order: a picture of what could not be read may come, but only behind the event that says so.
        const bool isOver = attendant.goesOn && !attendant.goesOn();
        if (const std::optional<Result> result = takeEvents())
            return *result;
        if (isOver)
            return {Ending::Stopped, S_OK};
        const DWORD woken = ::MsgWaitForMultipleObjects(count, handles, FALSE, kProgressIntervalMs, QS_ALLINPUT);
        if (woken == WAIT_FAILED)
            throw console::CCommandError(L"Cannot wait for the graph", HRESULT_FROM_WIN32(::GetLastError()));
        if (woken == WAIT_OBJECT_0 + 1)
            return {Ending::Interrupted, S_OK};
        HandleMessages();
        LONGLONG position = 0;
        seeking->GetDuration(&m_duration);
        if (SUCCEEDED(seeking->GetCurrentPosition(&position)))
            progress(position, m_duration);
    }
}

void CPlayGraph::LearnDuration() {
    const auto durationOf = [](IUnknown* object) {
        ComPtr<IMediaSeeking> seeking;
        LONGLONG duration = 0;
        return object && SUCCEEDED(base::QueryFor(*object, seeking.GetAddressOf())) &&
                       SUCCEEDED(seeking->GetDuration(&duration))
                   ? duration
                   : 0;
    };
    LONGLONG longest = durationOf(m_graph.Get());
    // The graph asks renderers only.
    if (longest <= 0 && m_parser) {
        for (const Pin& pin : PinsOf(m_parser.Get(), PINDIR_OUTPUT))
            longest = std::max(longest, durationOf(pin.Get()));
    }
    m_duration = longest;
}

StreamType CPlayGraph::ConnectedType() const {
    AM_MEDIA_TYPE type{};
    console::Check(m_counter->ConnectionMediaType(&type), L"Cannot ask for the media type of the connection");
    FreeMediaType(type);
    return {type.majortype, type.subtype};
}

void CPlayGraph::RemoveAllButSource() {
    m_counter->RefuseReads(true);
    m_source.EndReads();
    RunOrEndProcess([&] { StopAndRemove(); });
    m_parser.Reset();
    m_streams.clear();
    m_onlyNullRenderers = true;
    m_source.ReadAgain();
    m_counter->RefuseReads(false);
}

void CPlayGraph::StopAndRemove() {
    ComPtr<IMediaControl> control;
    if (SUCCEEDED(m_graph.As(&control)))
        control->Stop();
    // First the list, then the removals: an enumerator is void once the graph changes.
    std::vector<Filter> filters;
    ComPtr<IEnumFilters> enumerator;
    if (FAILED(m_graph->EnumFilters(&enumerator)))
        return;
    Filter filter;
    while (enumerator->Next(1, &filter, nullptr) == S_OK)
        filters.push_back(filter);
    for (const Filter& each : filters) {
        if (each.Get() != m_source.Filter())
            m_graph->RemoveFilter(each.Get());
    }
}

}  // namespace tvsource
