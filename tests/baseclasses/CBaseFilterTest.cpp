#include "baseclasses/CBaseFilter.h"

#include "tests/baseclasses/CTestFilter.h"
#include "tests/baseclasses/LeakCheck.h"

#include <functional>
#include <string>

using Microsoft::WRL::ComPtr;

namespace {

// A filter with two connected pins and, between them, one that isn't connected.
class CBaseFilterTest : public LeakCheck {
protected:
    CBaseFilterTest() {
        for (const int n : {0, 2}) {
            CTestPin& input = sink->AddPin(L"Input", PINDIR_INPUT);
            input.accepted = input.offered = filter->Pin(n).accepted = {1};
            EXPECT_EQ(S_OK, filter->Pin(n).Connect(&input, nullptr));
        }
        filter->journal.clear();
    }
    ~CBaseFilterTest() override {
        filter->Stop();
        for (const int n : {0, 2})
            filter->Pin(n).Disconnect();
        for (const int n : {0, 1})
            sink->Pin(n).Disconnect();
    }

    FILTER_STATE State() {
        FILTER_STATE state{};
        EXPECT_EQ(S_OK, filter->GetState(INFINITE, &state));
        return state;
    }

    static ComPtr<CTestFilter> WithThreePins() {
        ComPtr<CTestFilter> filter = new CTestFilter;
        for (const wchar_t* const name : {L"First", L"Idle", L"Last"})
            filter->AddPin(name, PINDIR_OUTPUT);
        return filter;
    }

    const ComPtr<CTestFilter> sink = new CTestFilter;
    const ComPtr<CTestFilter> filter = WithThreePins();
};

TEST_F(CBaseFilterTest, ChangesOfStateReachTheConnectedPins) {
    const std::function<HRESULT()> stop = [&] { return filter->Stop(); };
    const std::function<HRESULT()> pause = [&] { return filter->Pause(); };
    const std::function<HRESULT()> run = [&] { return filter->Run(5); };
    const struct {
        const char* name;
        const std::function<HRESULT()>& change;
        FILTER_STATE state;
        Journal journal;
    } steps[] = {
        {"stop when stopped", stop, State_Stopped, {}},
        {"pause", pause, State_Paused, {"active", "active"}},
        {"pause again", pause, State_Paused, {}},
        {"run from paused", run, State_Running, {"run 5", "run 5"}},
        {"run again", run, State_Running, {}},
        {"pause from running", pause, State_Paused, {}},
        {"stop from paused", stop, State_Stopped, {"inactive", "inactive"}},
        {"run from stopped", run, State_Running, {"active", "active", "run 5", "run 5"}},
        {"stop from running", stop, State_Stopped, {"inactive", "inactive"}},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.name);
        filter->journal.clear();
        EXPECT_EQ(S_OK, step.change());
        EXPECT_EQ(step.state, State());
        EXPECT_EQ(step.journal, filter->journal);
    }
}

TEST_F(CBaseFilterTest, PinThatCannotBecomeActiveLeavesTheFilterStoppedAndNoPinActive) {
    filter->Pin(2).activeResult = E_ACCESSDENIED;
    EXPECT_EQ(E_ACCESSDENIED, filter->Run(0));
    EXPECT_EQ(State_Stopped, State());
    EXPECT_EQ((Journal{"active", "active", "inactive"}), filter->journal);
}

TEST_F(CBaseFilterTest, PinThatCannotRunLeavesTheFilterPaused) {
    filter->Pin(0).runResult = E_ACCESSDENIED;
    EXPECT_EQ(E_ACCESSDENIED, filter->Run(0));
    EXPECT_EQ(State_Paused, State());
}

TEST_F(CBaseFilterTest, StopGoesOnPastAPinThatFails) {
    ASSERT_EQ(S_OK, filter->Pause());
    filter->journal.clear();
    filter->Pin(0).inactiveResult = E_ACCESSDENIED;
    filter->Pin(2).inactiveResult = E_FAIL;
    EXPECT_EQ(E_ACCESSDENIED, filter->Stop());
    EXPECT_EQ(State_Stopped, State());
    EXPECT_EQ((Journal{"inactive", "inactive"}), filter->journal);
}

TEST_F(CBaseFilterTest, ClockIsCountedWhileItIsSet) {
    ComPtr<IReferenceClock> clock;
    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_SystemClock, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&clock)));
    const ULONG before = References(clock.Get());
    ComPtr<IReferenceClock> got;
    EXPECT_EQ(S_OK, filter->GetSyncSource(&got));
    EXPECT_EQ(nullptr, got.Get());
    EXPECT_EQ(S_OK, filter->SetSyncSource(clock.Get()));
    EXPECT_EQ(S_OK, filter->SetSyncSource(clock.Get()));
    EXPECT_EQ(before + 1, References(clock.Get()));
    EXPECT_EQ(S_OK, filter->GetSyncSource(&got));
    EXPECT_EQ(clock.Get(), got.Get());
    got.Reset();
    EXPECT_EQ(S_OK, filter->SetSyncSource(nullptr));
    EXPECT_EQ(before, References(clock.Get()));
    clock.Reset();
    ::CoUninitialize();
}

TEST_F(CBaseFilterTest, PinsAreFoundByName) {
    ComPtr<IPin> pin;
    EXPECT_EQ(S_OK, filter->FindPin(L"Idle", &pin));
    EXPECT_EQ(&filter->Pin(1), pin.Get());
    for (const wchar_t* const name : {L"", L"idle", L"Idle "}) {
        IPin* none = pin.Get();
        EXPECT_EQ(VFW_E_NOT_FOUND, filter->FindPin(name, &none));
        EXPECT_EQ(nullptr, none);
    }
}

TEST_F(CBaseFilterTest, NullPointersAreRefused) {
    ComPtr<IPin> pin;
    EXPECT_EQ(E_POINTER, filter->GetClassID(nullptr));
    EXPECT_EQ(E_POINTER, filter->GetState(0, nullptr));
    EXPECT_EQ(E_POINTER, filter->GetSyncSource(nullptr));
    EXPECT_EQ(E_POINTER, filter->FindPin(L"Idle", nullptr));
    EXPECT_EQ(E_POINTER, filter->FindPin(nullptr, &pin));
    EXPECT_EQ(E_POINTER, filter->QueryFilterInfo(nullptr));
}

TEST_F(CBaseFilterTest, FilterOutsideAGraphHasNoNameNoGraphAndNoEvents) {
    CLSID clsid{};
    EXPECT_EQ(S_OK, filter->GetClassID(&clsid));
    EXPECT_EQ(CLSID_TestFilter, clsid);
    FILTER_INFO info{};
    info.pGraph = reinterpret_cast<IFilterGraph*>(1);
    EXPECT_EQ(S_OK, filter->QueryFilterInfo(&info));
    EXPECT_STREQ(L"", info.achName);
    EXPECT_EQ(nullptr, info.pGraph);
    EXPECT_EQ(E_NOTIMPL, filter->NotifyEvent(1, 0, 0));
    LPWSTR vendor = nullptr;
    EXPECT_EQ(E_NOTIMPL, filter->QueryVendorInfo(&vendor));
}

TEST_F(CBaseFilterTest, LongFilterNameIsCutOff) {
    const std::wstring name(300, L'n');
    EXPECT_EQ(S_OK, filter->JoinFilterGraph(nullptr, name.c_str()));
    FILTER_INFO info{};
    EXPECT_EQ(S_OK, filter->QueryFilterInfo(&info));
    EXPECT_EQ(name.substr(0, MAX_FILTER_NAME - 1), info.achName);
}

TEST_F(CBaseFilterTest, FilterWithoutSetupRecordRegistersNothing) {
    EXPECT_EQ(S_FALSE, filter->Register());
    EXPECT_EQ(S_FALSE, filter->Unregister());
}

}  // namespace
