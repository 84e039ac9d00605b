// Our filters in the platform's own filter graph.
#include "tests/baseclasses/CTestFilter.h"
#include "tests/baseclasses/LeakCheck.h"
#include "tests/support/CTestApartment.h"

#include <control.h>
#include <evcode.h>

using Microsoft::WRL::ComPtr;

namespace {

class FilterGraphTest : public LeakCheck {
protected:
    FilterGraphTest() {
        EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph)));
        output.offered = output.accepted = input.offered = input.accepted = {1};
        EXPECT_EQ(S_OK, graph->AddFilter(source.Get(), L"Source"));
        EXPECT_EQ(S_OK, graph->AddFilter(sink.Get(), L"Sink"));
    }

    FILTER_STATE State(CTestFilter& filter) {
        FILTER_STATE state{};
        EXPECT_EQ(S_OK, filter.GetState(INFINITE, &state));
        return state;
    }

    CTestApartment apartment{COINIT_MULTITHREADED};
    ComPtr<IGraphBuilder> graph;
    const ComPtr<CTestFilter> source = new CTestFilter;
    const ComPtr<CTestFilter> sink = new CTestFilter;
    CTestPin& output = source->AddPin(L"Output", PINDIR_OUTPUT);
    CTestPin& input = sink->AddPin(L"Input", PINDIR_INPUT);
};

TEST_F(FilterGraphTest, FilterKnowsItsGraphWithoutCountingIt) {
    const ULONG before = References(graph.Get());
    FILTER_INFO info{};
    ASSERT_EQ(S_OK, source->QueryFilterInfo(&info));
    EXPECT_STREQ(L"Source", info.achName);
    ASSERT_NE(nullptr, info.pGraph);
    EXPECT_EQ(before + 1, References(graph.Get()));
    info.pGraph->Release();

    ComPtr<IBaseFilter> found;
    EXPECT_EQ(S_OK, graph->FindFilterByName(L"Source", &found));
    EXPECT_EQ(source.Get(), found.Get());
}

TEST_F(FilterGraphTest, GraphConnectsRunsAndTakesApart) {
    ASSERT_EQ(S_OK, graph->ConnectDirect(&output, &input, nullptr));
    EXPECT_TRUE(output.IsConnected());
    ComPtr<IMediaControl> control;
    ASSERT_EQ(S_OK, graph.As(&control));
    ASSERT_HRESULT_SUCCEEDED(control->Run());
    EXPECT_EQ(State_Running, State(*source.Get()));
    EXPECT_EQ(State_Running, State(*sink.Get()));
    ASSERT_HRESULT_SUCCEEDED(control->Stop());
    EXPECT_EQ(State_Stopped, State(*source.Get()));

    ASSERT_EQ(S_OK, graph->RemoveFilter(source.Get()));
    EXPECT_FALSE(output.IsConnected());
    EXPECT_FALSE(input.IsConnected());
    EXPECT_EQ(1u, References(source.Get()));
    FILTER_INFO info{};
    EXPECT_EQ(S_OK, source->QueryFilterInfo(&info));
    EXPECT_EQ(nullptr, info.pGraph);
}

TEST_F(FilterGraphTest, EventsReachTheGraphUntilTheFilterLeaves) {
    ComPtr<IMediaEvent> events;
    // By name: the header gives no __uuidof for this one.
    ASSERT_EQ(S_OK, graph->QueryInterface(IID_IMediaEvent, &events));
    // The graph would keep the event to itself until all its renderers are done.
    ASSERT_EQ(S_OK, events->CancelDefaultHandling(EC_COMPLETE));
    const struct {
        long code;
        LONG_PTR parameter1;
        LONG_PTR parameter2;
        LONG_PTR received2;
    } cases[] = {
        {EC_USER + 7, 11, 12, 12},
        {EC_COMPLETE, 21, 22, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(source.Get()))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        EXPECT_EQ(S_OK, source->NotifyEvent(c.code, c.parameter1, c.parameter2));
        long code = 0;
        LONG_PTR parameter1 = 0;
        LONG_PTR parameter2 = 0;
        ASSERT_EQ(S_OK, events->GetEvent(&code, &parameter1, &parameter2, 0));
        EXPECT_EQ(c.code, code);
        EXPECT_EQ(c.parameter1, parameter1);
        EXPECT_EQ(c.received2, parameter2);
        EXPECT_EQ(S_OK, events->FreeEventParams(code, parameter1, parameter2));
    }
    ASSERT_EQ(S_OK, graph->RemoveFilter(source.Get()));
    EXPECT_EQ(E_NOTIMPL, source->NotifyEvent(EC_USER, 0, 0));
}

TEST_F(FilterGraphTest, GraphThatEndsLeavesItsFiltersBehind) {
    ASSERT_EQ(S_OK, graph->ConnectDirect(&output, &input, nullptr));
    graph.Reset();
    EXPECT_EQ(1u, References(source.Get()));
    EXPECT_EQ(1u, References(sink.Get()));
    EXPECT_EQ(E_NOTIMPL, source->NotifyEvent(EC_USER, 0, 0));
}

TEST_F(FilterGraphTest, OutputConnectsToTheStockNullRenderer) {
    const CLSID nullRenderer{0xC1F400A4, 0x3F08, 0x11D3, {0x9F, 0x0B, 0x00, 0x60, 0x08, 0x03, 0x9E, 0x37}};
    ComPtr<IBaseFilter> renderer;
    ASSERT_EQ(S_OK, ::CoCreateInstance(nullRenderer, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&renderer)));
    ASSERT_EQ(S_OK, graph->AddFilter(renderer.Get(), L"Null Renderer"));
    ComPtr<IEnumPins> pins;
    ComPtr<IPin> pin;
    ASSERT_EQ(S_OK, renderer->EnumPins(&pins));
    ASSERT_EQ(S_OK, pins->Next(1, &pin, nullptr));
    EXPECT_EQ(S_OK, graph->ConnectDirect(&output, pin.Get(), nullptr));
    CMediaType type;
    EXPECT_EQ(S_OK, pin->ConnectionMediaType(&type));
    EXPECT_EQ(TestType(1), type);
    EXPECT_EQ(S_OK, graph->Disconnect(&output));
    EXPECT_EQ(S_OK, graph->Disconnect(pin.Get()));
}

}  // namespace
