#include "tests/baseclasses/CTestFilter.h"
#include "tests/support/CTestApartment.h"

#include <control.h>
#include <evcode.h>

using Microsoft::WRL::ComPtr;

namespace {

// A filter with two connected pins and, between them, one that isn't connected.
class CBaseFilterTest : public LeakCheck {
protected:
    CBaseFilterTest() {
        for (const wchar_t* const name : {L"First", L"Idle", L"Last"})
            filter->AddPin(name, PINDIR_OUTPUT);
        for (const int n : {0, 2})
            EXPECT_EQ(S_OK, filter->Pin(n).Connect(&sink->AddPin(L"Input", PINDIR_INPUT), nullptr));
        filter->journal.clear();
    }
    ~CBaseFilterTest() override {
        filter->Stop();
        for (CTestPin* const pin : {&filter->Pin(0), &filter->Pin(2), &sink->Pin(0), &sink->Pin(1)})
            pin->Disconnect();
    }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    const ComPtr<CTestFilter> sink = new CTestFilter, filter = new CTestFilter;
};

TEST_F(CBaseFilterTest, ChangesOfStateReachTheConnectedPins) {
    const std::function<HRESULT()> stop = [&] { return filter->Stop(); };
    const std::function<HRESULT()> pause = [&] { return filter->Pause(); };
    const std::function<HRESULT()> run = [&] { return filter->Run(5); };
    HRESULT CTestPin::*const active = &CTestPin::activeResult;
    HRESULT CTestPin::*const inactive = &CTestPin::inactiveResult;
    const struct {
        const char* name;
        const std::function<HRESULT()>& change;
        FILTER_STATE state;
        Journal journal;
        // The pin of this number fails so.
        int pin = 0;
        HRESULT CTestPin::*failing = nullptr;
    } steps[] = {
        {"stop when stopped", stop, State_Stopped, {}},
        {"pause", pause, State_Paused, {"active", "active"}},
        {"pause again", pause, State_Paused, {}},
        {"run from paused", run, State_Running, {"run 5", "run 5"}},
        {"run again", run, State_Running, {}},
        {"pause from running", pause, State_Paused, {}},
        {"stop from paused", stop, State_Stopped, {"inactive", "inactive"}},
        {"run from stopped", run, State_Running, {"active", "active", "run 5", "run 5"}},
        {"stop goes on past a failure", stop, State_Stopped, {"inactive", "inactive"}, 0, inactive},
        {"no pin stays active", run, State_Stopped, {"active", "active", "inactive"}, 2, active},
        {"cannot run", run, State_Paused, {"active", "active", "run 5"}, 0, &CTestPin::runResult},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.name);
        filter->journal.clear();
        if (step.failing)
            filter->Pin(step.pin).*step.failing = E_ACCESSDENIED;
        EXPECT_EQ(step.failing ? E_ACCESSDENIED : S_OK, step.change());
        FILTER_STATE state{};
        EXPECT_EQ(S_OK, filter->GetState(INFINITE, &state));
        EXPECT_EQ(step.state, state);
        EXPECT_EQ(step.journal, filter->journal);
        if (step.failing)
            filter->Pin(step.pin).*step.failing = S_OK;
    }
}

TEST_F(CBaseFilterTest, ClockIsCountedWhileItIsSet) {
    ComPtr<IReferenceClock> clock, got;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_SystemClock, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&clock)));
    EXPECT_EQ(S_OK, filter->SetSyncSource(clock.Get()));
    EXPECT_EQ(S_OK, filter->SetSyncSource(clock.Get()));
    EXPECT_EQ(S_OK, filter->GetSyncSource(&got));
    EXPECT_EQ(clock.Get(), got.Get());
    EXPECT_EQ(3u, References(clock.Get()));
    EXPECT_EQ(S_OK, filter->SetSyncSource(nullptr));
    EXPECT_EQ(S_OK, filter->GetSyncSource(&got));
    EXPECT_EQ(nullptr, got.Get());
    EXPECT_EQ(1u, References(clock.Get()));
}

TEST_F(CBaseFilterTest, PinsAreFoundByTheirWholeNameAndALongFilterNameIsCutOff) {
    IPin* pin = nullptr;
    for (const wchar_t* const id : {L"", L"idle", L"Idle "}) {
        pin = &filter->Pin(1);
        EXPECT_EQ(VFW_E_NOT_FOUND, filter->FindPin(id, &pin));
        EXPECT_EQ(nullptr, pin);
    }
    const std::wstring name(300, L'n');
    EXPECT_EQ(S_OK, filter->JoinFilterGraph(nullptr, name.c_str()));
    FILTER_INFO info{};
    EXPECT_EQ(S_OK, filter->QueryFilterInfo(&info));
    EXPECT_EQ(name.substr(0, MAX_FILTER_NAME - 1), info.achName);
}

TEST_F(CBaseFilterTest, GraphOfThePlatformGetsItsEventsAndIsNotCounted) {
    ComPtr<IGraphBuilder> graph;
    ComPtr<IMediaEvent> events;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&graph)));
    ASSERT_EQ(S_OK, graph->QueryInterface(IID_IMediaEvent, &events));  // the header gives no __uuidof for this one
    const ULONG before = References(graph.Get());
    ASSERT_EQ(S_OK, graph->AddFilter(filter.Get(), L"Source"));
    EXPECT_EQ(before, References(graph.Get()));
    // The graph would keep the event to itself until all its renderers are done.
    ASSERT_EQ(S_OK, events->CancelDefaultHandling(EC_COMPLETE));
    const auto self = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(filter.Get()));
    for (const auto& [sent, received] : {std::pair<long, LONG_PTR>{EC_USER + 7, 12}, {EC_COMPLETE, self}}) {
        EXPECT_EQ(S_OK, filter->NotifyEvent(sent, 11, 12));
        long code = 0;
        LONG_PTR parameter1 = 0, parameter2 = 0;
        ASSERT_EQ(S_OK, events->GetEvent(&code, &parameter1, &parameter2, 0));
        EXPECT_EQ(sent, code);
        EXPECT_EQ(11, parameter1);
        EXPECT_EQ(received, parameter2);
        EXPECT_EQ(S_OK, events->FreeEventParams(code, parameter1, parameter2));
    }
    events.Reset();
    graph.Reset();
    EXPECT_EQ(E_NOTIMPL, filter->NotifyEvent(EC_USER, 0, 0));
}

}  // namespace
