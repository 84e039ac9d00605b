// How much of a source must come until parsers of the platform have what they want for their first samples. The link
// carries 64 KiB in a second; a graph is paused, which it is once every renderer has a sample.
#include "TvFileSourceAsync.h"
#include "bench/BenchCheck.h"
#include "bench/Benches.h"
#include "bench/CFilterSource.h"
#include "bench/CWantedPin.h"
#include "bench/Timing.h"

#include <uuids.h>
#include <vfwmsgs.h>
#include <wrl/client.h>

#include <control.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

namespace {

using Microsoft::WRL::ComPtr;

constexpr DWORD kMostMs = 20'000;  // until the first samples

constexpr GUID kNullRenderer = {0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};

const struct {
    const char* what;
    const wchar_t* name;
    GUID parser;
} kFormats[] = {
    {"WAV", L"long.wav", {0xD51BD5A1, 0x7548, 0x11CF, {0xA5, 0x20, 0x00, 0x80, 0xC7, 0x7E, 0xF5, 0x8A}}},
    {"AVI", L"long.avi", {0x1B544C20, 0xFD0B, 0x11CE, {0x8C, 0x63, 0x00, 0xAA, 0x00, 0x44, 0xB5, 0x1E}}},
    {"MP3", L"long.mp3", {0x336475D0, 0x942A, 0x11CE, {0xA8, 0x70, 0x00, 0xAA, 0x00, 0x2F, 0xEA, 0xB5}}},
    // Wine's own, which takes any stream.
    {"Ogg", L"long.ogg", {0xF9D8D64E, 0xA144, 0x47DC, {0x8E, 0xE0, 0xF5, 0x34, 0x98, 0x37, 0x2C, 0x29}}},
};

std::vector<ComPtr<IPin>> PinsOf(IBaseFilter& filter, PIN_DIRECTION wanted) {
    std::vector<ComPtr<IPin>> pins;
    ComPtr<IEnumPins> all;
    Check(filter.EnumPins(&all), "EnumPins");
    ComPtr<IPin> pin;
    while (all->Next(1, pin.ReleaseAndGetAddressOf(), nullptr) == S_OK) {
        PIN_DIRECTION direction{};
        if (SUCCEEDED(pin->QueryDirection(&direction)) && direction == wanted)
            pins.push_back(pin);
    }
    return pins;
}

// The source with one parser, and a renderer for each of its streams.
class CGraph final {
public:
    CGraph(const CFilterSource& source, REFCLSID parserId) {
        Check(::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&m_graph)),
              "CoCreateInstance of a filter graph");
        ComPtr<ITavelSampleReferences> references;
        Check(source.Pin()->QueryInterface(IID_PPV_ARGS(&references)), "QueryInterface for ITavelSampleReferences");
        Check(references->SetUncountedSamples(TRUE), "SetUncountedSamples");
        ComPtr<IAsyncReader> reader;
        Check(source.Pin()->QueryInterface(IID_PPV_ARGS(&reader)), "QueryInterface for IAsyncReader");
        *m_wanted.GetAddressOf() = new CWantedPin(source.Pin(), reader.Get());
        Check(m_graph->AddFilter(source.Filter(), L"Source"), "AddFilter");
        const ComPtr<IBaseFilter> parser = Add(parserId);
        Check(m_graph->ConnectDirect(m_wanted.Get(), PinsOf(*parser.Get(), PINDIR_INPUT).at(0).Get(), nullptr),
              "ConnectDirect to the parser");
        int rendered = 0;
        for (const ComPtr<IPin>& stream : PinsOf(*parser.Get(), PINDIR_OUTPUT))
            rendered += Render(*stream.Get()) ? 1 : 0;
        if (rendered == 0)
            throw std::runtime_error("no stream of the parser could be rendered");
    }
    CGraph(const CGraph&) = delete;
    CGraph& operator=(const CGraph&) = delete;
    ~CGraph() {
        m_wanted->RefuseReads(true);
        if (ComPtr<IMediaControl> control; SUCCEEDED(m_graph.As(&control)))
            control->Stop();
        for (const ComPtr<IBaseFilter>& each : m_filters)
            m_graph->RemoveFilter(each.Get());
    }

    void AwaitFirstSamples() {
        ComPtr<IMediaControl> control;
        Check(m_graph.As(&control), "QueryInterface for IMediaControl");
        if (FAILED(control->Pause()))
            throw std::runtime_error("Pause failed");
        OAFilterState state = State_Stopped;
        Check(control->GetState(kMostMs, &state), "GetState of a graph that pauses");
    }

    [[nodiscard]] LONGLONG Wanted() const { return m_wanted->Wanted(); }

private:
    ComPtr<IBaseFilter> Add(REFCLSID classId) {
        ComPtr<IBaseFilter> filter;
        Check(::CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter)),
              "CoCreateInstance of a filter of the platform's");
        Check(m_graph->AddFilter(filter.Get(), nullptr), "AddFilter");
        m_filters.push_back(filter);
        return filter;
    }

    // Some streams are rendered only by way of a decoder, which need not be there.
    bool Render(IPin& stream) {
        const ComPtr<IBaseFilter> renderer = Add(kNullRenderer);
        const ComPtr<IPin> input = PinsOf(*renderer.Get(), PINDIR_INPUT).at(0);
        if (SUCCEEDED(m_graph->ConnectDirect(&stream, input.Get(), nullptr)) ||
            SUCCEEDED(m_graph->Connect(&stream, input.Get())))
            return true;
        m_graph->RemoveFilter(renderer.Get());
        m_filters.pop_back();
        return false;
    }

    ComPtr<IGraphBuilder> m_graph;
    ComPtr<CWantedPin> m_wanted;
    std::vector<ComPtr<IBaseFilter>> m_filters;
};

}  // namespace

void BenchFirstSamples(CReport& report, const CFilterLibrary& library, CLinkServer& server) {
    for (const auto& format : kFormats) {
        const std::string what = std::string("first sample of ") + format.what + " over 64 KiB/s";
        const std::wstring path = std::wstring(L"/file/") + format.name;
        const CStopwatch watch;
        CFilterSource ours(library.Factory());
        ours.Load(server.Url(path + L"?rate=65536").c_str());
        const double load = watch.Microseconds();
        CGraph graph(ours, format.parser);
        graph.AwaitFirstSamples();
        const double time = watch.Microseconds();
        const auto figures = server.Take(path);
        const double beyond = (figures.sent - static_cast<double>(graph.Wanted())) / 1024;
        char figure[64];
        std::snprintf(figure, sizeof figure, "%.2f, %.2f s", load / 1e6, time / 1e6);
        report.Add(CReport::Work{what, "ours: Load, all", figure, figures.requests, figures.mostOpen, figures.sent});
        report.AddGoal(what + ": beyond what was wanted", beyond, CReport::Goal::AtMost, 16, "KiB");
    }
}

}  // namespace bench
