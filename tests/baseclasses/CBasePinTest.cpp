#include "baseclasses/CBasePin.h"

#include "tests/baseclasses/CTestFilter.h"
#include "tests/baseclasses/LeakCheck.h"

#include <atomic>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

using Microsoft::WRL::ComPtr;

namespace {

// A source with the pin `output` and a sink with the pin `input`, which agree on type 1.
class CBasePinTest : public LeakCheck {
protected:
    CBasePinTest() {
        output.offered = input.offered = {1};
        output.accepted = input.accepted = {1};
    }
    ~CBasePinTest() override {
        source->Stop();
        sink->Stop();
        output.Disconnect();
        input.Disconnect();
        EXPECT_EQ(1u, References(source.Get()));
        EXPECT_EQ(1u, References(sink.Get()));
    }

    // No end knows of a connection, and nothing is kept of the attempt.
    void ExpectUnconnected() {
        for (CTestPin* const pin : {&output, &input}) {
            ComPtr<IPin> peer;
            EXPECT_EQ(VFW_E_NOT_CONNECTED, pin->ConnectedTo(&peer));
            EXPECT_EQ(nullptr, peer.Get());
            AM_MEDIA_TYPE type;
            std::memset(&type, 0xCD, sizeof type);
            EXPECT_EQ(VFW_E_NOT_CONNECTED, pin->ConnectionMediaType(&type));
            EXPECT_EQ(GUID_NULL, type.majortype);
            EXPECT_EQ(nullptr, type.pbFormat);
            EXPECT_EQ(0, pin->heldConnections);
            EXPECT_FALSE(pin->IsConnected());
        }
        EXPECT_EQ(1u, References(source.Get()));
        EXPECT_EQ(1u, References(sink.Get()));
    }

    void ExpectConnected(unsigned char number) {
        const struct {
            CTestPin& pin;
            IPin* peer;
        } ends[] = {{output, &input}, {input, &output}};
        for (const auto& end : ends) {
            ComPtr<IPin> peer;
            EXPECT_EQ(S_OK, end.pin.ConnectedTo(&peer));
            EXPECT_EQ(end.peer, peer.Get());
            CMediaType type;
            EXPECT_EQ(S_OK, end.pin.ConnectionMediaType(&type));
            EXPECT_EQ(TestType(number), type);
            EXPECT_EQ(1, end.pin.heldConnections);
        }
        EXPECT_EQ(2u, References(source.Get()));
        EXPECT_EQ(2u, References(sink.Get()));
    }

    const ComPtr<CTestFilter> source = new CTestFilter;
    const ComPtr<CTestFilter> sink = new CTestFilter;
    CTestPin& output = source->AddPin(L"Output", PINDIR_OUTPUT);
    CTestPin& input = sink->AddPin(L"Input", PINDIR_INPUT);
};

TEST_F(CBasePinTest, ConnectedPinsKnowEachOtherAndTheirTypeUntilTheyPart) {
    ASSERT_EQ(S_OK, output.Connect(&input, nullptr));
    ExpectConnected(1);
    EXPECT_EQ(VFW_E_ALREADY_CONNECTED, output.Connect(&input, nullptr));
    const CMediaType type = TestType(1);
    EXPECT_EQ(VFW_E_ALREADY_CONNECTED, input.ReceiveConnection(&output, &type));
    ExpectConnected(1);

    EXPECT_EQ(S_OK, input.Disconnect());
    EXPECT_EQ(S_OK, output.Disconnect());
    ExpectUnconnected();
    EXPECT_EQ(S_FALSE, output.Disconnect());
}

TEST_F(CBasePinTest, ConnectionsChangeOnlyWhileTheFilterIsStopped) {
    ASSERT_EQ(S_OK, source->Pause());
    EXPECT_EQ(VFW_E_NOT_STOPPED, output.Connect(&input, nullptr));
    ASSERT_EQ(S_OK, source->Stop());
    ASSERT_EQ(S_OK, sink->Pause());
    EXPECT_EQ(VFW_E_NOT_STOPPED, output.Connect(&input, nullptr));
    ExpectUnconnected();
    ASSERT_EQ(S_OK, sink->Stop());

    ASSERT_EQ(S_OK, output.Connect(&input, nullptr));
    ASSERT_EQ(S_OK, source->Pause());
    EXPECT_EQ(VFW_E_NOT_STOPPED, output.Disconnect());
    ExpectConnected(1);
}

TEST_F(CBasePinTest, AnyFailureLeavesNothingAndTheNextAttemptSucceeds) {
    CMediaType type1 = TestType(1);
    CMediaType type2 = TestType(2);
    const struct {
        const char* name;
        std::function<void()> breakIt;
        const AM_MEDIA_TYPE* type;
        HRESULT expected;
    } cases[] = {
        {"connector's check fails", [&] { output.checkConnectResult = E_ACCESSDENIED; }, &type1, E_ACCESSDENIED},
        {"receiver's check fails", [&] { input.checkConnectResult = E_ACCESSDENIED; }, &type1, E_ACCESSDENIED},
        {"connector's check fails for a list", [&] { output.checkConnectResult = E_ACCESSDENIED; }, nullptr,
         E_ACCESSDENIED},
        {"connector refuses the type with success", [&] { output.accepted = {}; }, &type1, VFW_E_TYPE_NOT_ACCEPTED},
        {"receiver refuses the type with success", [&] { input.accepted = {}; }, &type1, VFW_E_TYPE_NOT_ACCEPTED},
        {"plain failure is a refusal",
         [&] {
             output.accepted = {};
             output.refusal = E_FAIL;
         },
         &type1, VFW_E_TYPE_NOT_ACCEPTED},
        {"invalid argument is a refusal",
         [&] {
             input.accepted = {};
             input.refusal = E_INVALIDARG;
         },
         &type1, VFW_E_TYPE_NOT_ACCEPTED},
        {"other failures of the check come through",
         [&] {
             output.accepted = {};
             output.refusal = E_OUTOFMEMORY;
         },
         &type1, E_OUTOFMEMORY},
        {"a refused type is not replaced from the lists", [] {}, &type2, VFW_E_TYPE_NOT_ACCEPTED},
        {"nothing in the lists will do", [&] { input.accepted = {7}; }, nullptr, VFW_E_NO_ACCEPTABLE_TYPES},
        {"there are no lists", [&] { output.offered = input.offered = {}; }, nullptr, VFW_E_NO_ACCEPTABLE_TYPES},
        {"connector can't keep the type", [&] { output.setMediaTypeResult = E_OUTOFMEMORY; }, nullptr, E_OUTOFMEMORY},
        {"receiver can't keep the type", [&] { input.setMediaTypeResult = E_OUTOFMEMORY; }, nullptr, E_OUTOFMEMORY},
        {"receiver can't complete", [&] { input.completeConnectResult = VFW_E_NO_TRANSPORT; }, nullptr,
         VFW_E_NO_TRANSPORT},
        {"connector can't complete", [&] { output.completeConnectResult = VFW_E_NO_TRANSPORT; }, nullptr,
         VFW_E_NO_TRANSPORT},
        {"connector can't complete, for no reason", [&] { output.completeConnectResult = E_FAIL; }, nullptr,
         VFW_E_NO_ACCEPTABLE_TYPES},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        c.breakIt();
        EXPECT_EQ(c.expected, output.Connect(&input, c.type));
        ExpectUnconnected();

        for (CTestPin* const pin : {&output, &input}) {
            pin->checkConnectResult = pin->setMediaTypeResult = pin->completeConnectResult = S_OK;
            pin->refusal = S_FALSE;
            pin->offered = pin->accepted = {1};
        }
        EXPECT_EQ(S_OK, output.Connect(&input, nullptr));
        ExpectConnected(1);
        EXPECT_EQ(S_OK, output.Disconnect());
        EXPECT_EQ(S_OK, input.Disconnect());
    }
}

TEST_F(CBasePinTest, SuccessThatIsNotOkStillCompletesTheConnection) {
    output.completeConnectResult = S_FALSE;
    input.completeConnectResult = S_FALSE;
    EXPECT_EQ(S_OK, output.Connect(&input, nullptr));
    ExpectConnected(1);
}

TEST_F(CBasePinTest, PinsOfOneDirectionDoNotConnect) {
    CTestPin& second = sink->AddPin(L"Second", PINDIR_OUTPUT);
    second.offered = second.accepted = {1};
    const CMediaType type = TestType(1);
    EXPECT_EQ(VFW_E_INVALID_DIRECTION, output.Connect(&second, nullptr));
    EXPECT_EQ(VFW_E_INVALID_DIRECTION, output.Connect(&second, &type));
    EXPECT_EQ(VFW_E_INVALID_DIRECTION, output.ReceiveConnection(&second, &type));
    EXPECT_EQ(0, second.heldConnections);
    ExpectUnconnected();
}

TEST_F(CBasePinTest, TypesAreTriedInTheDocumentedOrder) {
    CMediaType partial(&MEDIATYPE_Stream);
    CMediaType partialFour;
    partialFour.SetSubtype(TestType(4).Subtype());
    const CMediaType three = TestType(3);
    const struct {
        const char* name;
        bool mineFirst;
        const AM_MEDIA_TYPE* type;
        Journal checked;  // by the connector
        unsigned char agreed;
    } cases[] = {
        {"receiver's list comes first", false, nullptr, {"check 3", "check 4"}, 4},
        {"own list comes first on request", true, nullptr, {"check 1", "check 2"}, 2},
        {"a partial type picks from the lists", false, &partial, {"check 3", "check 4"}, 4},
        {"a partial type passes over what differs", false, &partialFour, {"check 4"}, 4},
        {"a partial type picks from the other list, too", true, &partialFour, {"check 4"}, 4},
        {"a complete type is the only one", false, &three, {"check 3"}, 0},
    };
    output.offered = {1, 2};
    input.offered = {3, 4};
    output.accepted = input.accepted = {2, 4};
    CTestFilter& other = *source.Get();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CTestPin& connector = c.mineFirst ? other.AddPin(L"Mine first", PINDIR_OUTPUT) : output;
        connector.offered = output.offered;
        connector.accepted = output.accepted;
        if (c.mineFirst)
            connector.TryMyTypesFirst();
        source->journal.clear();
        EXPECT_EQ(c.agreed != 0 ? S_OK : VFW_E_TYPE_NOT_ACCEPTED, connector.Connect(&input, c.type));
        EXPECT_EQ(c.checked, source->journal);
        CMediaType type;
        const HRESULT connected = connector.ConnectionMediaType(&type);
        EXPECT_EQ(c.agreed != 0 ? S_OK : VFW_E_NOT_CONNECTED, connected);
        EXPECT_EQ(c.agreed, NumberOf(type));
        connector.Disconnect();
        input.Disconnect();
    }
}

TEST_F(CBasePinTest, FirstReasonThatSaysSomethingIsReported) {
    output.offered = {1};
    input.offered = {2, 3};
    output.accepted = {1, 2, 3};
    input.accepted = {3};
    input.refusal = VFW_E_TYPE_NOT_ACCEPTED;
    input.completeConnectResult = VFW_E_NO_TRANSPORT;
    EXPECT_EQ(VFW_E_NO_TRANSPORT, output.Connect(&input, nullptr));
    ExpectUnconnected();
}

TEST_F(CBasePinTest, HostileMediaTypeIsNotRead) {
    AM_MEDIA_TYPE liar = TestType(1);
    liar.cbFormat = 0xFFFFFFFF;
    EXPECT_EQ(S_OK, output.QueryAccept(&liar));
    EXPECT_EQ(S_OK, output.Connect(&input, &liar));
    ExpectConnected(1);
}

TEST_F(CBasePinTest, NullPointersAreRefused) {
    const CMediaType type = TestType(1);
    EXPECT_EQ(E_POINTER, output.Connect(nullptr, &type));
    EXPECT_EQ(E_POINTER, input.ReceiveConnection(nullptr, &type));
    EXPECT_EQ(E_POINTER, input.ReceiveConnection(&output, nullptr));
    EXPECT_EQ(E_POINTER, output.ConnectedTo(nullptr));
    EXPECT_EQ(E_POINTER, output.ConnectionMediaType(nullptr));
    EXPECT_EQ(E_POINTER, output.QueryPinInfo(nullptr));
    EXPECT_EQ(E_POINTER, output.QueryDirection(nullptr));
    EXPECT_EQ(E_POINTER, output.QueryId(nullptr));
    EXPECT_EQ(E_POINTER, output.QueryAccept(nullptr));
    ExpectUnconnected();
}

TEST_F(CBasePinTest, PinDescribesItself) {
    PIN_INFO info{};
    ASSERT_EQ(S_OK, input.QueryPinInfo(&info));
    EXPECT_EQ(static_cast<IBaseFilter*>(sink.Get()), info.pFilter);
    info.pFilter->Release();
    EXPECT_EQ(PINDIR_INPUT, info.dir);
    EXPECT_STREQ(L"Input", info.achName);

    PIN_DIRECTION direction = PINDIR_INPUT;
    EXPECT_EQ(S_OK, output.QueryDirection(&direction));
    EXPECT_EQ(PINDIR_OUTPUT, direction);

    EXPECT_EQ(E_NOTIMPL, output.QueryInternalConnections(nullptr, nullptr));
    EXPECT_EQ(E_NOTIMPL, output.Notify(source.Get(), Quality{}));
}

TEST_F(CBasePinTest, SegmentAndQualitySinkAreRememberedForDerivedPins) {
    EXPECT_EQ(S_OK, input.NewSegment(1, 2, 0.5));
    EXPECT_EQ(1, input.m_tStart);
    EXPECT_EQ(2, input.m_tStop);
    EXPECT_EQ(0.5, input.m_dRate);
    EXPECT_EQ(S_OK, input.EndOfStream());

    EXPECT_EQ(S_OK, output.SetSink(&input));
    EXPECT_EQ(&input, output.m_pQSink);
    EXPECT_EQ(1u, References(sink.Get()));
    EXPECT_EQ(S_OK, output.SetSink(nullptr));
}

TEST_F(CBasePinTest, LongPinNameIsCutOffInTheInfoOnly) {
    const std::wstring name(300, L'n');
    CTestPin& pin = source->AddPin(name.c_str(), PINDIR_OUTPUT);
    PIN_INFO info{};
    ASSERT_EQ(S_OK, pin.QueryPinInfo(&info));
    info.pFilter->Release();
    EXPECT_EQ(name.substr(0, MAX_PIN_NAME - 1), info.achName);

    LPWSTR text = nullptr;
    ASSERT_EQ(S_OK, pin.QueryId(&text));
    const CTaskText id{text};
    EXPECT_EQ(name, id.get());
    ComPtr<IPin> found;
    EXPECT_EQ(S_OK, source->FindPin(id.get(), &found));
    EXPECT_EQ(&pin, found.Get());
}

TEST_F(CBasePinTest, QueryAcceptTurnsEveryRefusalIntoFalse) {
    const CMediaType type = TestType(9);
    for (const HRESULT refusal : {S_FALSE, E_FAIL, VFW_E_TYPE_NOT_ACCEPTED, VFW_S_NO_MORE_ITEMS}) {
        output.refusal = refusal;
        EXPECT_EQ(S_FALSE, output.QueryAccept(&type));
    }
}

TEST_F(CBasePinTest, PinShowsItsInterfacesAndNoSeeking) {
    ComPtr<IUnknown> face;
    EXPECT_EQ(S_OK, output.QueryInterface(__uuidof(IPin), &face));
    EXPECT_EQ(S_OK, output.QueryInterface(__uuidof(IQualityControl), &face));
    EXPECT_EQ(E_NOINTERFACE, output.QueryInterface(__uuidof(IMediaSeeking), &face));
}

// A parser's thread may ask who is connected while the graph holds the filter's lock for the connection that is being
// made.
TEST_F(CBasePinTest, QuestionsDoNotWaitForTheFilterLock) {
    class CAskingPin final : public CBasePin {
    public:
        CAskingPin(CBaseFilter* filter, CCritSec* lock)
            : CBasePin(L"asking pin", filter, lock, nullptr, L"Asking", PINDIR_OUTPUT) {}
        HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
        STDMETHODIMP BeginFlush() override { return S_OK; }
        STDMETHODIMP EndFlush() override { return S_OK; }
        HRESULT CompleteConnect(IPin* receiver) override {
            std::jthread([&] {
                ComPtr<IPin> peer;
                CMediaType type;
                askedPeer = ConnectedTo(&peer) == S_OK && peer.Get() == receiver;
                askedType = ConnectionMediaType(&type) == S_OK && type == TestType(1);
            }).join();
            return S_OK;
        }
        bool askedPeer = false;
        bool askedType = false;
    };
    CCritSec lock;
    CAskingPin pin(source.Get(), &lock);
    ASSERT_EQ(S_OK, pin.Connect(&input, nullptr));
    EXPECT_TRUE(pin.askedPeer);
    EXPECT_TRUE(pin.askedType);
    EXPECT_EQ(S_OK, pin.Disconnect());
    EXPECT_EQ(S_OK, input.Disconnect());
}

TEST_F(CBasePinTest, AskingDuringConnectingAndPartingIsSafe) {
    std::atomic<bool> done{false};
    int wrong = 0;
    std::jthread asker([&] {
        while (!done) {
            ComPtr<IPin> peer;
            const HRESULT hr = output.ConnectedTo(&peer);
            if ((hr == S_OK) != (peer.Get() == &input))
                ++wrong;
        }
    });
    for (int i = 0; i < 2000; ++i) {
        EXPECT_EQ(S_OK, output.Connect(&input, nullptr));
        EXPECT_EQ(S_OK, output.Disconnect());
        EXPECT_EQ(S_OK, input.Disconnect());
    }
    done = true;
    asker.join();
    EXPECT_EQ(0, wrong);
}

}  // namespace
