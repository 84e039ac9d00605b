#include "tests/baseclasses/CTestFilter.h"
#include "tests/support/CSecondCall.h"
#include "tests/support/CTestObject.h"

#include <cstring>
#include <optional>

using Microsoft::WRL::ComPtr;

namespace {

// A source with the pin `output` and a sink with the pin `input`, which agree on type 1.
class CBasePinTest : public LeakCheck {
protected:
    ~CBasePinTest() override {
        source->Stop();
        sink->Stop();
        Part();
        EXPECT_TRUE(References(source.Get()) == 1 && References(sink.Get()) == 1);
    }

    void Part() {
        output.Disconnect();
        input.Disconnect();
    }
    // Number 0: neither end is connected, and nothing is left of the attempt.
    void ExpectConnected(unsigned char number) {
        const HRESULT expected = number != 0 ? S_OK : VFW_E_NOT_CONNECTED;
        const ULONG held = number != 0 ? 1 : 0;
        for (CTestPin* const pin : {&output, &input}) {
            ComPtr<IPin> peer;
            EXPECT_EQ(expected, pin->ConnectedTo(&peer));
            EXPECT_EQ(number == 0 ? nullptr : pin == &output ? &input : &output, peer.Get());
            AM_MEDIA_TYPE type;
            std::memset(&type, 0xCD, sizeof type);
            EXPECT_EQ(expected, pin->ConnectionMediaType(&type));
            EXPECT_EQ(number, NumberOf(type));
            EXPECT_EQ(nullptr, type.pbFormat);
            EXPECT_EQ(held, static_cast<ULONG>(pin->heldConnections));
        }
        EXPECT_EQ(1 + held, References(source.Get()));
        EXPECT_EQ(1 + held, References(sink.Get()));
    }

    CTestObject<IUnknown> unknown;  // outlives the pins, which may have kept it by mistake
    const ComPtr<CTestFilter> source = new CTestFilter, sink = new CTestFilter;
    CTestPin& output = source->AddPin(L"Output", PINDIR_OUTPUT);
    CTestPin& input = sink->AddPin(L"Input", PINDIR_INPUT);
};

TEST_F(CBasePinTest, ConnectionsChangeOnlyBetweenStoppedFiltersAndFreePins) {
    const CMediaType type = TestType(1);
    ASSERT_EQ(S_OK, source->Pause());
    EXPECT_EQ(VFW_E_NOT_STOPPED, output.Connect(&input, nullptr));
    ExpectConnected(0);
    ASSERT_EQ(S_OK, source->Stop());
    ASSERT_EQ(S_OK, output.Connect(&input, nullptr));
    EXPECT_EQ(VFW_E_ALREADY_CONNECTED, output.Connect(&input, nullptr));
    EXPECT_EQ(VFW_E_ALREADY_CONNECTED, input.ReceiveConnection(&output, &type));
    ASSERT_EQ(S_OK, source->Pause());
    EXPECT_EQ(VFW_E_NOT_STOPPED, output.Disconnect());
    ExpectConnected(1);
    ASSERT_EQ(S_OK, source->Stop());
    EXPECT_EQ(S_OK, output.Disconnect());
    EXPECT_EQ(S_FALSE, output.Disconnect());
    EXPECT_EQ(S_OK, input.Disconnect());
    ExpectConnected(0);
    AM_MEDIA_TYPE counting = type;
    counting.pUnk = &unknown;
    EXPECT_EQ(S_OK, output.Connect(&input, &counting));
    Part();
    EXPECT_EQ(0u, unknown.References()) << "neither end keeps the type";
}

TEST_F(CBasePinTest, TheNextAttemptSucceedsAfterAnyFailure) {
    const CMediaType type1 = TestType(1), type2 = TestType(2);
    using Result = HRESULT CTestPin::*;
    const Result check = &CTestPin::checkConnectResult, keep = &CTestPin::setMediaTypeResult,
                 complete = &CTestPin::completeConnectResult, refusal = &CTestPin::refusal;
    const struct {
        const char* name;
        CTestPin& pin;
        Result step;
        HRESULT result;
        const AM_MEDIA_TYPE* type;
        HRESULT expected;
    } cases[] = {
        {"connector's check", output, check, E_ACCESSDENIED, &type1, E_ACCESSDENIED},
        {"receiver's check", input, check, E_ACCESSDENIED, &type1, E_ACCESSDENIED},
        {"connector refuses with success", output, refusal, S_FALSE, &type1, VFW_E_TYPE_NOT_ACCEPTED},
        {"invalid argument is a refusal", input, refusal, E_INVALIDARG, &type1, VFW_E_TYPE_NOT_ACCEPTED},
        {"other failures come through", output, refusal, E_OUTOFMEMORY, &type1, E_OUTOFMEMORY},
        {"refused type is not replaced from the lists", output, keep, S_OK, &type2, VFW_E_TYPE_NOT_ACCEPTED},
        {"nothing in the lists will do", input, refusal, S_FALSE, nullptr, VFW_E_NO_ACCEPTABLE_TYPES},
        {"connector can't keep the type", output, keep, E_OUTOFMEMORY, nullptr, E_OUTOFMEMORY},
        {"receiver can't complete", input, complete, VFW_E_NO_TRANSPORT, nullptr, VFW_E_NO_TRANSPORT},
        {"connector can't complete", output, complete, VFW_E_NO_TRANSPORT, nullptr, VFW_E_NO_TRANSPORT},
        {"connector can't, for no reason", output, complete, E_FAIL, nullptr, VFW_E_NO_ACCEPTABLE_TYPES},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        c.pin.*c.step = c.result;
        if (c.step == refusal)
            c.pin.accepted = {};
        EXPECT_EQ(c.expected, output.Connect(&input, c.type));
        ExpectConnected(0);
        c.pin.*c.step = c.step == complete ? S_FALSE : S_OK;  // a success that is not S_OK completes as well
        c.pin.refusal = S_FALSE;
        c.pin.accepted = {1};
        EXPECT_EQ(S_OK, output.Connect(&input, nullptr));
        ExpectConnected(1);
        Part();
    }
    // Of several reasons the first is reported; the second type of a list and the second list come after it.
    input.offered = {1, 2};
    output.accepted = {};
    int asked = 0;
    input.onGetMediaType =
        output.onGetMediaType = [&](int) { output.refusal = ++asked == 1 ? VFW_E_NO_TRANSPORT : E_ACCESSDENIED; };
    EXPECT_EQ(VFW_E_NO_TRANSPORT, output.Connect(&input, nullptr));
    EXPECT_LT(3, asked);
    ExpectConnected(0);
    CTestPin& second = sink->AddPin(L"Second", PINDIR_OUTPUT);
    EXPECT_EQ(VFW_E_INVALID_DIRECTION, output.Connect(&second, nullptr));
    ExpectConnected(0);
}

TEST_F(CBasePinTest, TypesAreTriedInTheDocumentedOrder) {
    CMediaType partial;
    partial.SetSubtype(TestType(4).Subtype());
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
        {"a partial type passes over what differs", false, &partial, {"check 4"}, 4},
        {"a partial type picks from the other list, too", true, &partial, {"check 4"}, 4},
        {"a complete type is the only one", false, &three, {"check 3"}, 0},
    };
    output.offered = {1, 2};
    input.offered = {3, 4};
    output.accepted = input.accepted = {2, 4};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        output.TryMyTypesFirst(c.mineFirst);
        source->journal.clear();
        EXPECT_EQ(c.agreed != 0 ? S_OK : VFW_E_TYPE_NOT_ACCEPTED, output.Connect(&input, c.type));
        EXPECT_EQ(c.checked, source->journal);
        ExpectConnected(c.agreed);
        Part();
    }
    input.listResult = E_OUTOFMEMORY;
    EXPECT_EQ(S_OK, output.Connect(&input, nullptr)) << "the own list is left";
    ExpectConnected(2);
}

TEST_F(CBasePinTest, AnswersGoOnlyWhereThereIsAPlaceForThem) {
    const std::wstring name(MAX_PIN_NAME, L'n');
    CTestPin& named = sink->AddPin(name.c_str(), PINDIR_INPUT);
    PIN_INFO info{};
    EXPECT_EQ(S_OK, named.QueryPinInfo(&info));
    EXPECT_EQ(sink.Get(), info.pFilter);
    info.pFilter->Release();
    EXPECT_EQ(name.substr(1), info.achName);
    EXPECT_EQ(PINDIR_INPUT, info.dir);
    LPWSTR id = nullptr;
    EXPECT_EQ(S_OK, named.QueryId(&id));
    EXPECT_EQ(name, id);
    ::CoTaskMemFree(id);
    const CMediaType one = TestType(1), two = TestType(2);
    EXPECT_TRUE(output.QueryAccept(&one) == S_OK && output.QueryAccept(&two) == S_FALSE);
    IPin* pin = &output;
    for (const HRESULT hr :
         {output.QueryPinInfo(nullptr), output.QueryDirection(nullptr), output.QueryId(nullptr),
          output.QueryAccept(nullptr), output.CBasePin::EnumMediaTypes(nullptr), output.ConnectedTo(nullptr),
          output.ConnectionMediaType(nullptr), output.Connect(nullptr, nullptr), source->GetState(0, nullptr),
          source->GetSyncSource(nullptr), source->EnumPins(nullptr), source->FindPin(L"Output", nullptr),
          source->FindPin(nullptr, &pin), source->QueryFilterInfo(nullptr), source->GetClassID(nullptr)})
        EXPECT_EQ(E_POINTER, hr);
    EXPECT_EQ(nullptr, pin);
}

// A parser's threads may ask who is connected, and in which graph, while the graph holds the filter's lock for the
// connection that is being made.
TEST_F(CBasePinTest, QuestionsDoNotWaitForTheFilterLock) {
    bool answered = false;
    std::optional<CSecondCall> questions;  // end with this object, when the lock is certainly free
    output.onComplete = [&] {
        answered = questions
                       .emplace([&] {
                           ComPtr<IPin> peer;
                           CMediaType type;
                           FILTER_INFO info{};
                           EXPECT_EQ(S_OK, source->QueryFilterInfo(&info));
                           EXPECT_EQ(S_OK, output.ConnectedTo(&peer));
                           EXPECT_EQ(&input, peer.Get());
                           EXPECT_EQ(S_OK, output.ConnectionMediaType(&type));
                           EXPECT_EQ(TestType(1), type);
                       })
                       .Ends();
    };
    ASSERT_EQ(S_OK, output.Connect(&input, nullptr));
    EXPECT_TRUE(answered);
}

}  // namespace
