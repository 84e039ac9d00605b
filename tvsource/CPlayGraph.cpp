#include "tvsource/CPlayGraph.h"

#include <evcode.h>
#include <uuids.h>
#include <vfwmsgs.h>

#include "tvsource/CHostError.h"
#include "tvsource/Text.h"

using Microsoft::WRL::ComPtr;

namespace {

// The platform's headers do not have it: qedit.dll's filter that takes anything and shows nothing.
constexpr GUID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

constexpr DWORD kProgressIntervalMs = 200;

std::vector<ComPtr<IPin>> PinsOf(IBaseFilter* filter, PIN_DIRECTION wanted) {
    std::vector<ComPtr<IPin>> pins;
    ComPtr<IEnumPins> enumerator;
    Check(filter->EnumPins(&enumerator), L"Cannot ask a filter for its pins");
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
        filter.Attach(info.pFilter);
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
    if (SUCCEEDED(pin->EnumMediaTypes(&types)) && types->Next(1, &first, nullptr) == S_OK) {
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
    pin->ConnectedTo(&peer);
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

// The filters that are registered for byte streams of a type, by merit; the platform's answer to an unusual type.
std::vector<ComPtr<IMoniker>> RegisteredParsers(const StreamType& type) {
    std::vector<ComPtr<IMoniker>> found;
    ComPtr<IFilterMapper2> mapper;
    ComPtr<IEnumMoniker> monikers;
    const GUID input[] = {type.major, type.subtype};
    if (FAILED(::CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IFilterMapper2),
                                  &mapper)) ||
        mapper->EnumMatchingFilters(&monikers, 0, TRUE, MERIT_UNLIKELY, TRUE, 1, input, nullptr, nullptr, FALSE, TRUE,
                                    0, nullptr, nullptr, nullptr) != S_OK)
        return found;
    ComPtr<IMoniker> moniker;
    while (monikers->Next(1, &moniker, nullptr) == S_OK)
        found.push_back(moniker);
    return found;
}

std::wstring FriendlyName(IMoniker* moniker) {
    ComPtr<IPropertyBag> properties;
    VARIANT name;
    ::VariantInit(&name);
    if (FAILED(moniker->BindToStorage(nullptr, nullptr, __uuidof(IPropertyBag),
                                      reinterpret_cast<void**>(properties.GetAddressOf()))) ||
        FAILED(properties->Read(L"FriendlyName", &name, nullptr)) || name.vt != VT_BSTR)
        return L"a filter without a name";
    const std::wstring text(name.bstrVal, ::SysStringLen(name.bstrVal));
    ::VariantClear(&name);
    return text;
}

}  // namespace

bool HasScreen() {
    // A service's window station shows nothing. Where there is no display at all, a display device may still be listed
    // (Wine's null driver does so), but its current mode has no size.
    USEROBJECTFLAGS station{};
    if (::GetUserObjectInformationW(::GetProcessWindowStation(), UOI_FLAGS, &station, sizeof station, nullptr) &&
        !(station.dwFlags & WSF_VISIBLE))
        return false;
    DEVMODEW mode{};
    mode.dmSize = sizeof mode;
    return ::EnumDisplaySettingsW(nullptr, ENUM_CURRENT_SETTINGS, &mode) && mode.dmPelsWidth > 0;
}

CPlayGraph::CPlayGraph(CSourceFilter& source) : m_source(source) {
    Check(::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IGraphBuilder), &m_graph),
          L"Cannot create a filter graph");
    Check(m_graph->AddFilter(source.Filter(), L"Source"), L"Cannot add the source filter to the graph");
    m_counter.Attach(new CCountingPin(source.OutputPin(), source.Reader()));
}

CPlayGraph::~CPlayGraph() {
    ComPtr<IMediaControl> control;
    if (SUCCEEDED(m_graph.As(&control)))
        control->Stop();
    try {
        for (const Filter& filter : Filters())
            m_graph->RemoveFilter(filter.Get());
    } catch (const CHostError&) {
        // The graph releases them by itself then.
    }
}

void CPlayGraph::ConnectParser() {
    std::wstring refusals;
    for (const StreamType& type : m_source.OfferedTypes()) {
        for (const ParserClass& parser : ParsersFor(type.subtype)) {
            Filter filter;
            HRESULT hr =
                ::CoCreateInstance(parser.classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IBaseFilter), &filter);
            if (SUCCEEDED(hr))
                hr = TryParser(filter.Get(), parser.name);
            if (SUCCEEDED(hr))
                return;
            refusals += L"\n  " + std::wstring(parser.name) + L": " + ResultText(hr);
        }
        for (const ComPtr<IMoniker>& registered : RegisteredParsers(type)) {
            Filter filter;
            HRESULT hr = registered->BindToObject(nullptr, nullptr, __uuidof(IBaseFilter),
                                                  reinterpret_cast<void**>(filter.GetAddressOf()));
            const std::wstring name = FriendlyName(registered.Get());
            if (SUCCEEDED(hr))
                hr = TryParser(filter.Get(), name);
            if (SUCCEEDED(hr))
                return;
            refusals += L"\n  " + name + L": " + ResultText(hr);
        }
    }
    throw CHostError(L"No parser takes the source" + refusals);
}

HRESULT CPlayGraph::TryParser(IBaseFilter* parser, const std::wstring& name) {
    HRESULT hr = m_graph->AddFilter(parser, name.c_str());
    if (FAILED(hr))
        return hr;
    const auto inputs = PinsOf(parser, PINDIR_INPUT);
    hr = inputs.empty() ? E_UNEXPECTED : m_graph->ConnectDirect(m_counter.Get(), inputs.front().Get(), nullptr);
    if (FAILED(hr)) {
        m_graph->RemoveFilter(parser);
        return hr;
    }
    m_parserName = name;
    return hr;
}

void CPlayGraph::RenderStreams(bool null) {
    bool any = false;
    for (const Pin& pin : PinsOf(ParserFilter().Get(), PINDIR_OUTPUT)) {
        const std::wstring line = DescribeStream(pin.Get());
        HRESULT hr = E_FAIL;
        if (!null)
            hr = m_graph->Render(pin.Get());
        if (SUCCEEDED(hr))
            m_onlyNullRenderers = false;
        else
            hr = RenderToNull(pin.Get());
        any = any || SUCCEEDED(hr);
        m_streams.push_back(line + (SUCCEEDED(hr) ? WayFrom(pin.Get()) : L" left out: " + ResultText(hr)));
    }
    if (!any) {
        std::wstring text = m_parserName + L" gives no stream that could be rendered";
        for (const std::wstring& stream : m_streams)
            text += L"\n  " + stream;
        throw CHostError(text);
    }
}

HRESULT CPlayGraph::RenderToNull(IPin* pin) {
    Filter renderer;
    HRESULT hr = ::CoCreateInstance(kNullRenderer, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IBaseFilter), &renderer);
    if (FAILED(hr))
        return hr;
    hr = m_graph->AddFilter(renderer.Get(), L"Null Renderer");
    if (FAILED(hr))
        return hr;
    const auto inputs = PinsOf(renderer.Get(), PINDIR_INPUT);
    hr = inputs.empty() ? E_UNEXPECTED : m_graph->ConnectDirect(pin, inputs.front().Get(), nullptr);
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
        if (::WaitForMultipleObjects(2, handles, FALSE, kProgressIntervalMs) == WAIT_OBJECT_0 + 1)
            return {Ending::kInterrupted, S_OK};
        long code = 0;
        LONG_PTR first = 0;
        LONG_PTR second = 0;
        while (events->GetEvent(&code, &first, &second, 0) == S_OK) {
            const auto error = static_cast<HRESULT>(first);
            events->FreeEventParams(code, first, second);
            switch (code) {
                case EC_COMPLETE:
                    return {Ending::kComplete, S_OK};
                case EC_USERABORT:
                    return {Ending::kUserAbort, S_OK};
                case EC_ERRORABORT:
                    return {Ending::kErrorAbort, error};
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
    ::CoTaskMemFree(type.pbFormat);
    return {type.majortype, type.subtype};
}

CPlayGraph::Filter CPlayGraph::ParserFilter() const {
    const Pin input = PeerOf(m_counter.Get());
    return input ? FilterOf(input.Get()) : nullptr;
}

std::vector<CPlayGraph::Filter> CPlayGraph::Filters() const {
    std::vector<Filter> filters;
    ComPtr<IEnumFilters> enumerator;
    Check(m_graph->EnumFilters(&enumerator), L"Cannot ask the graph for its filters");
    Filter filter;
    while (enumerator->Next(1, &filter, nullptr) == S_OK)
        filters.push_back(filter);
    return filters;
}
