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

    CTestApartment apartment{COINIT_MULTITHREADED};
    ComPtr<IGraphBuilder> graph;
    const ComPtr<CTestFilter> source = new CTestFilter, sink = new CTestFilter;
    CTestPin& output = source->AddPin(L"Output", PINDIR_OUTPUT);
    CTestPin& input = sink->AddPin(L"Input", PINDIR_INPUT);
};

TEST_F(FilterGraphTest, GraphConnectsRunsAndTakesApart) {
    const ULONG before = References(graph.Get());
    FILTER_INFO info{};
    ASSERT_EQ(S_OK, source->QueryFilterInfo(&info));
    EXPECT_STREQ(L"Source", info.achName);
    ASSERT_NE(nullptr, info.pGraph);
    EXPECT_EQ(before, info.pGraph->Release()) << "the filter must not count its graph";

    ASSERT_EQ(S_OK, graph->ConnectDirect(&output, &input, nullptr));
    ComPtr<IMediaControl> control;
    ASSERT_EQ(S_OK, graph.As(&control));
    ASSERT_HRESULT_SUCCEEDED(control->Run());
    FILTER_STATE state{};
    EXPECT_EQ(S_OK, source->GetState(INFINITE, &state));
    EXPECT_EQ(State_Running, state);
    ASSERT_HRESULT_SUCCEEDED(control->Stop());

    ASSERT_EQ(S_OK, graph->RemoveFilter(source.Get()));
    EXPECT_FALSE(output.IsConnected() || input.IsConnected());
    EXPECT_EQ(1u, References(source.Get()));
    EXPECT_EQ(S_OK, source->QueryFilterInfo(&info));
    EXPECT_EQ(nullptr, info.pGraph);
}

TEST_F(FilterGraphTest, EventsReachTheGraphUntilItEnds) {
    ComPtr<IMediaEvent> events;
    // By name: the header gives no __uuidof for this one.
    ASSERT_EQ(S_OK, graph->QueryInterface(IID_IMediaEvent, &events));
    // The graph would keep the event to itself until all its renderers are done.
    ASSERT_EQ(S_OK, events->CancelDefaultHandling(EC_COMPLETE));
    const struct {
        long code;
        LONG_PTR received;
    } cases[] = {{EC_USER + 7, 12}, {EC_COMPLETE, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(source.Get()))}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        EXPECT_EQ(S_OK, source->NotifyEvent(c.code, 11, 12));
        long code = 0;
        LONG_PTR parameter1 = 0, parameter2 = 0;
        ASSERT_EQ(S_OK, events->GetEvent(&code, &parameter1, &parameter2, 0));
        EXPECT_EQ(c.code, code);
        EXPECT_EQ(11, parameter1);
        EXPECT_EQ(c.received, parameter2);
        EXPECT_EQ(S_OK, events->FreeEventParams(code, parameter1, parameter2));
    }
    ASSERT_EQ(S_OK, graph->ConnectDirect(&output, &input, nullptr));
    events.Reset();
    graph.Reset();
    EXPECT_EQ(1u, References(source.Get()));
    EXPECT_EQ(1u, References(sink.Get()));
    EXPECT_EQ(E_NOTIMPL, source->NotifyEvent(EC_USER, 0, 0));
}

}  // namespace
