#include "framework/com/CStreamCookie.h"

#include "framework/com/GlobalInterfaceTable.h"
#include "framework/streams/CBufferedStream.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <thread>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

HRESULT NoTable(IGlobalInterfaceTable**) {
    return CO_E_SERVER_STOPPING;
}

struct CStreamCookieTest : ::testing::Test {
    // What the holder gives, without a reference.
    const IStream* Held() const {
        ComPtr<IStream> held;
        return SUCCEEDED(cookie.CopyTo(&held)) ? held.Get() : nullptr;
    }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream first, second;
    framework::CStreamCookie cookie;
};

TEST_F(CStreamCookieTest, HoldsTheLastStreamThatItWasGivenUntilRevokedOrGone) {
    IStream* poisoned = &first;
    EXPECT_HRESULT_FAILED(cookie.CopyTo(&poisoned));
    EXPECT_EQ(nullptr, poisoned);

    EXPECT_EQ(S_OK, cookie.Attach(&first));
    EXPECT_EQ(S_OK, cookie.Attach(&second));
    EXPECT_EQ(0u, first.References());
    EXPECT_EQ(S_OK, cookie.Attach(nullptr));  // changes nothing
    TKFSetGlobalInterfaceTableProvider(&NoTable);
    EXPECT_EQ(CO_E_SERVER_STOPPING, cookie.Attach(&first));  // nor does this
    EXPECT_EQ(CO_E_SERVER_STOPPING, cookie.CopyTo(&poisoned));
    EXPECT_EQ(E_POINTER, cookie.CopyTo(nullptr));
    TKFSetGlobalInterfaceTableProvider(nullptr);
    EXPECT_EQ(&second, Held());
    second.refused = __uuidof(IStream);
    for (const auto& [result, leaves] : {std::pair<HRESULT, IStream*>{E_FAIL, &first}, {S_OK, nullptr}}) {
        second.refusal = result;
        second.refusalLeaves = leaves;
        EXPECT_EQ(FAILED(result) ? result : E_POINTER, cookie.CopyTo(&poisoned));
        EXPECT_EQ(nullptr, std::exchange(poisoned, &first));
    }
    second.refused = {};
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(S_OK, cookie.Revoke());
        EXPECT_TRUE(cookie.IsEmpty());
        EXPECT_EQ(0u, second.References());
    }
    EXPECT_EQ(S_OK, framework::CStreamCookie().Attach(&first));
    EXPECT_EQ(0u, first.References());
}

TEST_F(CStreamCookieTest, GivesAFreeThreadedStreamUnchangedToOtherApartments) {
    ComPtr<IStream> freeThreaded;
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(&first, &freeThreaded, 4));
    EXPECT_EQ(S_OK, cookie.Attach(freeThreaded.Get()));
    std::thread([&] {
        const CTestApartment other(COINIT_APARTMENTTHREADED);
        TKFSetGlobalInterfaceTableProvider(&NoTable);
        EXPECT_EQ(freeThreaded.Get(), Held()) << "the table isn't asked";
        TKFSetGlobalInterfaceTableProvider(nullptr);
    }).join();
    EXPECT_EQ(S_OK, cookie.Attach(&second));  // has no marshaler
    EXPECT_EQ(&second, Held());
    freeThreaded.Reset();
    EXPECT_EQ(0u, first.References());
}

}  // namespace
