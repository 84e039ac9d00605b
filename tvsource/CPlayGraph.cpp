#include "tvsource/CPlayGraph.h"

#include "TvFileSourceAsync.h"
#include "base/ForeignCalls.h"
#include "baseclasses/MediaTypeCopies.h"
#include "tvsource/CHostError.h"
#include "tvsource/Interrupt.h"

#include <evcode.h>
#include <uuids.h>
#include <vfwmsgs.h>

namespace tvsource {

using Microsoft::WRL::ComPtr;

namespace {

// The platform's headers do not have it: qedit.dll's filter that takes anything and shows nothing.
constexpr GUID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

constexpr DWORD kProgressIntervalMs = 200;

std::vector<ComPtr<IPin>> PinsOf(IBaseFilter* filter, PIN_DIRECTION wanted) {
    std::vector<ComPtr<IPin>> pins;
    ComPtr<IEnumPins> enumerator;
    Check(base::Receive(enumerator, filter, &IBaseFilter::EnumPins), L"Cannot ask a filter for its pins");
    ComPtr<IPin> pin;
    while (enumerator->Next(1, &pin, nullptr) == S_OK) {
        PIN_DIRECTION direction{};
        if (SUCCEEDED(pin->QueryDirection(&direction)) && direction == wanted)
            pins.push_back(pin);
    }
    return pins;
}

ComPtr<IBaseFilter> FilterOf(IPin* pin) {
    PIN_INFO info{};
    ComPtr<IBaseFilter> filter;
    if (SUCCEEDED(pin->QueryPinInfo(&info)))
        *filter.GetAddressOf() = info.pFilter;  // not Attach: some compilers' ComPtr takes a reference of its own there
    return filter;
}

std::wstring NameOf(IBaseFilter* filter) {
    FILTER_INFO info{};
    if (!filter || FAILED(filter->QueryFilterInfo(&info)))
        return L"unknown";
    if (info.pGraph)
        info.pGraph->Release();
    return info.achName;
}

// The name of a parser's pin with the kind of data that it gives.
std::wstring DescribeStream(IPin* pin) {
    PIN_INFO info{};
    if (SUCCEEDED(pin->QueryPinInfo(&info)) && info.pFilter)
        info.pFilter->Release();
    std::wstring text = info.achName;

    ComPtr<IEnumMediaTypes> types;
    AM_MEDIA_TYPE* first = nullptr;
    if (SUCCEEDED(base::Receive(types, pin, &IPin::EnumMediaTypes)) && types->Next(1, &first, nullptr) == S_OK) {
        const MediaTypePtr owned(first);
        if (owned->majortype == MEDIATYPE_Audio)
            text += L" (audio)";
        else if (owned->majortype == MEDIATYPE_Video)
            text += L" (video)";
    }
    return text;
}

ComPtr<IPin> PeerOf(IPin* pin) {
    ComPtr<IPin> peer;
    static_cast<void>(base::Receive(peer, pin, &IPin::ConnectedTo));  // null: connected to none
    return peer;
}

// The filters from the one that `pin` is connected to up to the renderer.
std::wstring WayFrom(IPin* pin) {
    std::wstring way;
    ComPtr<IPin> next = PeerOf(pin);
    while (next) {
        const ComPtr<IBaseFilter> filter = FilterOf(next.Get());
        way += L" -> " + NameOf(filter.Get());
        next.Reset();
        if (filter) {
            const auto outputs = PinsOf(filter.Get(), PINDIR_OUTPUT);
            if (!outputs.empty())
                next = PeerOf(outputs.front().Get());
        }
    }
    return way;
}

}  // namespace

CPlayGraph::CPlayGraph(CSourceFilter& source, bool countedSamples) : m_source(source) {
    Check(::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IGraphBuilder), &m_graph),
          L"Cannot create a filter graph");
    Check(m_graph->AddFilter(source.Filter(), L"Source"), L"Cannot add the source filter to the graph");
    *m_counter.ReleaseAndGetAddressOf() = new CCountingPin(source.OutputPin(), source.Reader(), source.Control().Get());
    // An older filter has only its own rule.
    ComPtr<ITavelSampleReferences> references;
    if (SUCCEEDED(source.OutputPin()->QueryInterface(__uuidof(ITavelSampleReferences), &references)))
        Check(references->SetUncountedSamples(!countedSamples), L"Cannot tell the filter who counts samples");
}

CPlayGraph::~CPlayGraph() {
    RemoveAllButSource();
    m_graph->RemoveFilter(m_source.Filter());
}

void CPlayGraph::Build(bool null) {
    const std::vector<ParserClass> parsers = ParsersFor(m_source.OfferedTypes());
    std::wstring refusals;
    const ParserClass* second = nullptr;  // the first parser with at least one stream rendered
    for (const ParserClass& parser : parsers) {
        const HRESULT hr = ConnectParser(parser);
        const size_t rendered = SUCCEEDED(hr) ? RenderStreams(null) : 0;
        if (rendered > 0 && rendered == m_streams.size())
            return;
        if (rendered > 0 && !second)
            second = &parser;
        refusals += L"\n  " + parser.name + L": " + (FAILED(hr) ? ResultText(hr) : L"no stream could be rendered");
        for (const std::wstring& stream : m_streams)
            refusals += L"\n    " + stream;
        RemoveAllButSource();
    }
    if (!second && m_counter->HasSoughtEnd())
        throw CHostError(
            L"No parser takes the source: its format can't be played from its start alone, and its end isn't known" +
            refusals);
    if (!second)
        throw CHostError(L"No parser takes the source" + refusals);
    Check(ConnectParser(*second), L"The parser no longer takes the source");
    RenderStreams(null);
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

size_t CPlayGraph::RenderStreams(bool null) {
    size_t rendered = 0;
    for (const Pin& pin : PinsOf(m_parser.Get(), PINDIR_OUTPUT)) {
        const std::wstring line = DescribeStream(pin.Get());
        HRESULT hr = null ? E_FAIL : m_graph->Render(pin.Get());
        if (SUCCEEDED(hr))
            m_onlyNullRenderers = false;
        else
            hr = RenderToNull(pin.Get());
        if (SUCCEEDED(hr))
            ++rendered;
        m_streams.push_back(line + (SUCCEEDED(hr) ? WayFrom(pin.Get()) : L" left out: " + ResultText(hr)));
    }
    return rendered;
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

CPlayGraph::Result CPlayGraph::Run(HANDLE interrupt, const Progress& progress) {
    ComPtr<IMediaControl> control;
    ComPtr<IMediaEvent> events;
    ComPtr<IMediaSeeking> seeking;
    Check(m_graph.As(&control), L"The graph has no IMediaControl");
    // By the identifier's name: not every compiler's headers tie one to this interface.
    Check(m_graph->QueryInterface(IID_IMediaEvent, reinterpret_cast<void**>(events.GetAddressOf())),
          L"The graph has no IMediaEvent");
    Check(m_graph.As(&seeking), L"The graph has no IMediaSeeking");
    if (m_onlyNullRenderers) {
        // Nobody watches: without a clock the graph runs as fast as it can.
        ComPtr<IMediaFilter> filter;
        Check(m_graph.As(&filter), L"The graph has no IMediaFilter");
        Check(filter->SetSyncSource(nullptr), L"Cannot take the graph's clock away");
    }

    OAEVENT eventHandle = 0;
    Check(events->GetEventHandle(&eventHandle), L"The graph has no event handle");
    const HANDLE handles[] = {reinterpret_cast<HANDLE>(eventHandle), interrupt};
    Check(control->Run(), L"The graph does not run");

    for (;;) {
        const DWORD woken = ::WaitForMultipleObjects(2, handles, FALSE, kProgressIntervalMs);
        if (woken == WAIT_FAILED)
            throw CHostError(L"Cannot wait for the graph", HRESULT_FROM_WIN32(::GetLastError()));
        if (woken == WAIT_OBJECT_0 + 1)
            return {Ending::Interrupted, S_OK};
        long code = 0;
        LONG_PTR first = 0;
        LONG_PTR second = 0;
        while (events->GetEvent(&code, &first, &second, 0) == S_OK) {
            const auto error = static_cast<HRESULT>(first);
            events->FreeEventParams(code, first, second);
            switch (code) {
                case EC_COMPLETE:
                    return {Ending::Complete, S_OK};
                case EC_USERABORT:
                    return {Ending::UserAbort, S_OK};
                case EC_ERRORABORT:
                    return {Ending::ErrorAbort, error};
            }
        }
        LONGLONG position = 0;
        LONGLONG duration = 0;
        seeking->GetDuration(&duration);
        if (SUCCEEDED(seeking->GetCurrentPosition(&position)))
            progress(position, duration);
    }
}

StreamType CPlayGraph::ConnectedType() const {
    AM_MEDIA_TYPE type{};
    Check(m_counter->ConnectionMediaType(&type), L"Cannot ask for the media type of the connection");
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
