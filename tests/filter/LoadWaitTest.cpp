// Loads that wait for a network are given up by whatever replaces them, at once; and a host learns how the source
// stands.
#include "tests/filter/WaitTest.h"

#include "base/CAutoDestructor.h"
#include "tests/support/CFakeDataLayer.h"

#include <qnetwork.h>

#include <climits>
#include <functional>

namespace {

// A load that waits: for its name to be opened, or for the content by which its type is told.
struct LoadWaitTest : WaitTest {
    CFakeDataLayer service;
    const base::CAutoHandle begun{::CreateEventW(nullptr, FALSE, FALSE, nullptr)},
        go{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    Stream slow{"RIFF........WAVE"}, held{"0123456789"};
    std::atomic<int> opened{0};
    HRESULT loaded = E_PENDING;
    std::optional<CSecondCall> load;

    void SetUp() override {
        ASSERT_EQ(S_OK, filter->OpenStream(&other, &kWave));
        service.createStream = [&](const std::wstring& uri, IStream** stream) {
            ::SetEvent(begun.Get());
            if (uri == L"tvtest:opening")
                ::WaitForSingleObject(go.Get(), kLongMs);
            const HRESULT hr = (uri == L"tvtest:held" ? held : slow).QueryInterface(IID_PPV_ARGS(stream));
            ++opened;
            return hr;
        };
    }
    void TearDown() override {
        held.LetGo();
        WaitTest::TearDown();
        load.reset();
        LetOpeningsEnd();
    }
    // What was opened too late has been thrown away then.
    void LetOpeningsEnd() {
        ::SetEvent(go.Get());
        Await([&] { return opened == loads && slow.References() == 0; });
    }
    int loads = 0;
    void Begin(const wchar_t* name) {
        ++loads;
        slow.HaveControl(3);
        ::ResetEvent(go.Get());
        load.emplace([this, name] { loaded = filter->Load(name, nullptr); });
        ASSERT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(begun.Get(), kLongMs));
        ASSERT_TRUE(name == std::wstring(L"tvtest:opening") || slow.WaitUntilWaiting());
    }
    Got Progress() {
        LONGLONG total = -1, current = -1;
        const HRESULT hr = filter->QueryProgress(&total, &current);
        return {hr, std::to_string(current) + " of " + (total == LLONG_MAX ? "all" : std::to_string(total))};
    }
};

TEST_F(LoadWaitTest, ALoadThatWaitsIsGivenUpAtOnce) {
    const struct {
        const char* what;
        std::function<HRESULT()> end;
        std::string bytes;  // of the source afterwards
        std::wstring name;
    } enders[] = {
        {"AbortOperation", [&] { return filter->AbortOperation(); }, "abcd", L""},
        {"a stream", [&] { return filter->OpenStream(&source, &kWave); }, "0123", L"scripted"},
        {"a name", [&] { return filter->Load(file.Path().c_str(), &kWave); }, "abcd", file.Path()},
    };
    source.HaveControl(10);
    for (const std::wstring name : {L"tvtest:opening", L"tvtest:detection"})
        for (const auto& ender : enders) {
            SCOPED_TRACE(std::string(ender.what) + (name == L"tvtest:opening" ? ", opening" : ", detection"));
            ASSERT_EQ(S_OK, filter->OpenStream(&other, &kWave));
            Begin(name.c_str());
            EXPECT_EQ(S_OK, ender.end());
            load->AwaitEnd();
            EXPECT_EQ(E_ABORT, loaded);
            EXPECT_EQ(Got(S_OK, ender.bytes), SyncRead(pin, 0, 4));
            EXPECT_EQ(ender.name.empty() ? name : ender.name, CurrentName());
            CMediaType offered;
            EXPECT_EQ(S_OK, pin.GetMediaType(0, &offered));
            EXPECT_EQ(MEDIASUBTYPE_WAVE, offered.subtype);
            HRESULT opened = S_OK, detected = S_OK;
            static_cast<void>(filter->GetOpenResult(&opened));
            static_cast<void>(filter->GetDetectionResult(&detected));
            if (ender.name.empty()) {
                EXPECT_EQ(name == L"tvtest:opening" ? E_ABORT : S_OK, opened);
                EXPECT_EQ(name == L"tvtest:opening" ? E_UNEXPECTED : E_ABORT, detected);
            } else {
                EXPECT_EQ(E_UNEXPECTED, detected) << "nobody has looked at the newer one";
            }
            EXPECT_EQ(S_OK, filter->Load(file.Path().c_str(), &kWave)) << "although the first is still being opened";
            EXPECT_EQ(file.Path(), CurrentName());
            LetOpeningsEnd();
            EXPECT_EQ(Got(S_OK, "abcd"), SyncRead(pin, 0, 4)) << "what comes late is thrown away";
        }
    EXPECT_EQ(Events{}, filter.graph.TakeEvents());
}

TEST_F(LoadWaitTest, ALoadThatWaitsForAnotherIsGivenUpToo) {
    Begin(L"tvtest:opening");
    EXPECT_EQ(S_OK, filter->AbortOperation());
    load->AwaitEnd();
    LetOpeningsEnd();
    held.On(Stream::SeekCall, 0, {.holds = true});
    ++loads;
    {
        const CSecondCall first(
            [&] { EXPECT_EQ(S_OK, filter->Load(L"tvtest:held", &kWave)) << "it waits for nobody"; });
        EXPECT_TRUE(held.WaitUntilHeld());
        const CSecondCall second([&] { EXPECT_EQ(E_ABORT, filter->Load(L"tvtest:second", &kWave)); });
        Await([&] { return Progress().first == VFW_S_ESTIMATED; });  // the second one waits
        EXPECT_EQ(S_OK, filter->AbortOperation());
        held.LetGo();
    }
    EXPECT_EQ(1, held.Calls(Stream::SeekCall)) << "the second was not even opened";
    EXPECT_EQ(S_OK, filter->OpenStream(&other, &kWave));
}

TEST_F(LoadWaitTest, ALoadWithATypeIsGivenUpUntilItChangesThePin) {
    held.HaveControl(3);
    held.On(Stream::SeekCall, 0, {.holds = true});
    ++loads;
    {
        const CSecondCall first([&] { EXPECT_EQ(E_ABORT, filter->Load(L"tvtest:held", &kWave)); });
        EXPECT_TRUE(held.WaitUntilHeld());
        EXPECT_EQ(S_OK, filter->AbortOperation());
        held.LetGo();
    }
    HRESULT opened = E_FAIL, detected = S_OK;
    EXPECT_EQ(S_OK, filter->GetOpenResult(&opened));
    EXPECT_EQ(S_OK, filter->GetDetectionResult(&detected));
    EXPECT_TRUE(opened == S_OK && detected == E_ABORT);
}

TEST_F(LoadWaitTest, WhatWaitsForNoNetworkIsNotGivenUp) {
    source.HaveControl(3);
    ASSERT_EQ(S_OK, filter->OpenStream(&source, &kWave));
    held.On(Stream::SeekCall, 0, {.holds = true});
    ++loads;
    {
        const CSecondCall first([&] { EXPECT_EQ(S_OK, filter->Load(L"tvtest:held", &kWave)); });
        EXPECT_TRUE(held.WaitUntilHeld());
        const CSecondCall reader([&] { EXPECT_EQ(S_FALSE, SyncRead(pin, 5, 4).first); });
        EXPECT_TRUE(source.WaitUntilWaiting());
        const CSecondCall local([&] { EXPECT_EQ(S_OK, filter->Load(file.Path().c_str(), &kWave)); });
        reader.AwaitEnd();  // the second load is under way
        EXPECT_EQ(S_OK, filter->AbortOperation());
        held.LetGo();
    }
    EXPECT_EQ(Got(S_OK, "abcd"), SyncRead(pin, 0, 4));
    held.On(Stream::StatCall, 0, {.holds = true});
    const CSecondCall stream([&] { EXPECT_EQ(S_OK, filter->OpenStream(&held, &kWave)); });
    EXPECT_TRUE(held.WaitUntilHeld());
    EXPECT_EQ(S_OK, filter->AbortOperation());
    held.LetGo();
}

TEST(LoadsTest, OnlyOlderLoadsAreGivenUp) {
    CCritSec lock;
    filter::CLoads loads(lock);
    filter::CLoads::CLoad first(loads, true), second(loads, true);
    loads.GiveUp(&second);
    loads.GiveUp(&first);
    EXPECT_EQ(E_ABORT, first.BeginChanging());
    EXPECT_EQ(S_OK, second.BeginChanging()) << "one of two that begin at once stays";
}

TEST_F(LoadWaitTest, AHostLearnsHowTheSourceStands) {
    LONG percent = 0, count = 0;
    VARIANT_BOOL isBroadcast = VARIANT_FALSE;
    const auto network = [&] {
        const HRESULT hr = filter->get_BufferingCount(&count);
        EXPECT_EQ(hr, filter->get_BufferingProgress(&percent));
        EXPECT_EQ(hr, filter->get_IsBroadcast(&isBroadcast));
        return hr;
    };
    EXPECT_EQ(Got(S_OK, "10 of 10"), Progress()) << "it doesn't tell what is here";
    EXPECT_EQ(E_NOINTERFACE, network());
    Begin(L"tvtest:opening");
    EXPECT_EQ(Got(VFW_S_ESTIMATED, "0 of 0"), Progress());
    EXPECT_EQ(E_PENDING, network());
    EXPECT_EQ(S_OK, filter->AbortOperation());
    load->AwaitEnd();
    slow.status.length = 100, slow.status.held = 7;
    slow.status.ahead = 30, slow.status.wanted = 10, slow.status.stalls = 1ull << 40;
    Begin(L"tvtest:detection");
    EXPECT_EQ(Got(S_OK, "7 of 100"), Progress()) << "of what is being loaded";
    EXPECT_EQ(S_OK, network());
    EXPECT_TRUE(percent == 75 && count == LONG_MAX && isBroadcast == VARIANT_FALSE);
    EXPECT_EQ(S_OK, filter->AbortOperation());
    load->AwaitEnd();
    EXPECT_EQ(Got(S_OK, "10 of 10"), Progress()) << "of the source that stays";
    source.HaveControl(3);
    source.status.length = ~0ull, source.status.held = 5;
    ASSERT_EQ(S_OK, filter->OpenStream(&source, &kWave));
    EXPECT_EQ(Got(VFW_S_ESTIMATED, "5 of all"), Progress());
    EXPECT_EQ(S_OK, network());
    EXPECT_TRUE(percent == 100 && count == 0 && isBroadcast == VARIANT_TRUE);
    CInnerFilter empty;
    LONGLONG total = 0;
    EXPECT_EQ(E_UNEXPECTED, empty->QueryProgress(&total, &total));
    EXPECT_EQ(E_UNEXPECTED, empty->get_BufferingCount(&count));
    EXPECT_EQ(S_OK, empty->AbortOperation());
    for (const HRESULT hr : {filter->QueryProgress(nullptr, &total), filter->QueryProgress(&total, nullptr),
                             filter->get_IsBroadcast(nullptr), filter->get_BufferingProgress(nullptr)})
        EXPECT_EQ(E_POINTER, hr);
}

// The DLL, which stays until the opening that was given up has ended.
TEST(LoadEndTest, AFilterThatGoesWaitsForNoOpeningThatWasGivenUp) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CFakeDataLayer service;
    const base::CAutoHandle begun(::CreateEventW(nullptr, FALSE, FALSE, nullptr)),
        go(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
    service.createStream = [&](const std::wstring&, IStream**) {
        ::SetEvent(begun.Get());
        ::WaitForSingleObject(go.Get(), kLongMs);
        return E_FAIL;
    };
    {
        CFilterHost host;
        host.Create();
        {
            const CSecondCall load([&] { EXPECT_EQ(E_ABORT, host.Load(L"tvtest:opening")); });
            EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(begun.Get(), kLongMs));
            EXPECT_EQ(S_OK, host.As<IAMOpenProgress>()->AbortOperation());
        }
        EXPECT_EQ(0u, host.Release());
    }
    const auto isLoaded = [] { return ::GetModuleHandleW(FilterDllPath().c_str()) != nullptr; };
    EXPECT_TRUE(isLoaded());
    ::SetEvent(go.Get());
    Await([&] { return !isLoaded(); });
}

}  // namespace
