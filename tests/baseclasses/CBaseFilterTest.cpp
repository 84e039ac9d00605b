#include "tests/baseclasses/CTestFilter.h"
#include "tests/support/CFakeGraph.h"
#include "tests/support/CSecondCall.h"
#include "tests/support/CTestObject.h"

#include <evcode.h>

#include <optional>

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
        {"run from paused", run, State_Running, {"run 5", "run 5"}},
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

// A clock whose last release tells whether another thread gets at the filter meanwhile.
struct CLastClock final : CTestObject<IReferenceClock> {
    explicit CLastClock(CBaseFilter& filter) : m_filter(filter) {}
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = CTestObject::Release();
        if (left == 0)
            released = m_question
                           .emplace([this] {
                               ComPtr<IReferenceClock> clock;
                               m_filter.GetSyncSource(&clock);
                           })
                           .Ends();
        return left;
    }
    STDMETHODIMP GetTime(REFERENCE_TIME*) override { return E_NOTIMPL; }
    STDMETHODIMP AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override { return E_NOTIMPL; }
    STDMETHODIMP AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override { return E_NOTIMPL; }
    STDMETHODIMP Unadvise(DWORD_PTR) override { return E_NOTIMPL; }

    bool released = false;

private:
    CBaseFilter& m_filter;
    std::optional<CSecondCall> m_question;  // ends with this object, when the lock is certainly free
};

TEST_F(CBaseFilterTest, TheClockIsReleasedOutsideTheLock) {
    CLastClock clock(*filter.Get());
    ComPtr<IReferenceClock> got;
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(S_OK, filter->SetSyncSource(&clock));
    EXPECT_EQ(S_OK, filter->GetSyncSource(&got));
    EXPECT_EQ(&clock, got.Get());
    got.Reset();
    EXPECT_EQ(1u, clock.References());
    EXPECT_EQ(S_OK, filter->SetSyncSource(nullptr));
    EXPECT_EQ(0u, clock.References());
    EXPECT_TRUE(clock.released);
}

TEST_F(CBaseFilterTest, PinsAreFoundOnlyByTheirWholeName) {
    IPin* pin = nullptr;
    for (const wchar_t* const id : {L"", L"idle", L"Idle "}) {
        pin = &filter->Pin(1);
        EXPECT_EQ(VFW_E_NOT_FOUND, filter->FindPin(id, &pin));
        EXPECT_EQ(nullptr, pin);
    }
}

TEST_F(CBaseFilterTest, ALongFilterNameIsCutOff) {
    const std::wstring name(300, L'n');
    EXPECT_EQ(S_OK, filter->JoinFilterGraph(nullptr, name.c_str()));
    FILTER_INFO info{};
    EXPECT_EQ(S_OK, filter->QueryFilterInfo(&info));
    EXPECT_EQ(name.substr(0, MAX_FILTER_NAME - 1), info.achName);
}

TEST_F(CBaseFilterTest, EventsReachTheGraphWhichIsNotCounted) {
    CFakeGraph graph;
    ASSERT_EQ(S_OK, filter->JoinFilterGraph(&graph, L"Source"));
    EXPECT_EQ(0u, graph.References());
    EXPECT_EQ(S_OK, filter->NotifyEvent(EC_USER, 11, 12));
    EXPECT_EQ(S_OK, filter->NotifyEvent(EC_COMPLETE, 11, 12));
    const auto self = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(filter.Get()));
    EXPECT_EQ((std::vector<GraphEvent>{{EC_USER, 11, 12}, {EC_COMPLETE, 11, self}}), graph.TakeEvents());
    graph.refused = __uuidof(IMediaEventSink);
    graph.refusalLeaves = reinterpret_cast<void*>(16);
    for (IFilterGraph* const deaf : {static_cast<IFilterGraph*>(&graph), static_cast<IFilterGraph*>(nullptr)}) {
        EXPECT_EQ(S_OK, filter->JoinFilterGraph(deaf, nullptr));
        EXPECT_EQ(E_NOTIMPL, filter->NotifyEvent(EC_USER, 0, 0));
    }
}

}  // namespace
