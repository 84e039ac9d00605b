#include "framework/com/CStreamCookie.h"

#include "framework/com/GlobalInterfaceTable.h"
#include "framework/streams/CBufferedStream.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <thread>

using Microsoft::WRL::ComPtr;

namespace {

// A table that fails as told.
struct CFailingTable final : CTestObject<IGlobalInterfaceTable> {
    STDMETHODIMP RegisterInterfaceInGlobal(IUnknown*, REFIID, DWORD* cookie) override {
        ++registrations;
        *cookie = SUCCEEDED(registers) ? 7 : 0;
        return registers;
    }
    STDMETHODIMP RevokeInterfaceFromGlobal(DWORD) override { return revokes; }
    STDMETHODIMP GetInterfaceFromGlobal(DWORD, REFIID, void**) override { return E_NOTIMPL; }

    int registrations = 0;
    HRESULT registers = S_OK, revokes = S_OK;
} g_table;

struct CStreamCookieTest : ::testing::Test {
    ~CStreamCookieTest() override { TKFSetGlobalInterfaceTableProvider(nullptr); }
    // What the holder gives, without a reference.
    const IStream* Held() const {
        ComPtr<IStream> held;
        return SUCCEEDED(cookie.CopyTo(&held)) ? held.Get() : nullptr;
    }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream first, second;
    CStreamCookie cookie;
};

TEST_F(CStreamCookieTest, HoldsTheLastStreamThatItWasGivenUntilRevokedOrGone) {
    IStream* poisoned = &first;
    EXPECT_HRESULT_FAILED(cookie.CopyTo(&poisoned));
    EXPECT_EQ(nullptr, poisoned);
    EXPECT_EQ(E_POINTER, cookie.CopyTo(nullptr));

    EXPECT_EQ(S_OK, cookie.Attach(&first));
    EXPECT_EQ(&first, Held());
    EXPECT_EQ(S_OK, cookie.Attach(&second));
    EXPECT_EQ(0u, first.References());
    EXPECT_EQ(S_OK, cookie.Attach(nullptr));  // changes nothing
    EXPECT_EQ(&second, Held());
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(S_OK, cookie.Revoke());
        EXPECT_TRUE(cookie.IsEmpty());
        EXPECT_EQ(0u, second.References());
    }
    EXPECT_EQ(S_OK, CStreamCookie().Attach(&first));
    EXPECT_EQ(0u, first.References());
}

TEST_F(CStreamCookieTest, GivesAFreeThreadedStreamToOtherApartmentsUnchangedAndLetsGoOfIt) {
    ComPtr<IStream> freeThreaded;
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(&first, &freeThreaded, 4));
    EXPECT_EQ(S_OK, cookie.Attach(freeThreaded.Get()));
    std::thread([&] {
        const CTestApartment other(COINIT_APARTMENTTHREADED);
        EXPECT_EQ(freeThreaded.Get(), Held());
    }).join();
    EXPECT_EQ(S_OK, cookie.Attach(&second));  // has no marshaler
    EXPECT_EQ(&second, Held());
    freeThreaded.Reset();
    EXPECT_EQ(0u, first.References());
}

TEST_F(CStreamCookieTest, ForwardsTheFailuresOfATableAndRegistersNothingNewBeforeTheOldOneIsRevoked) {
    EXPECT_EQ(S_OK, cookie.Attach(&first));
    TKFSetGlobalInterfaceTableProvider([](IGlobalInterfaceTable**) -> HRESULT { return CO_E_SERVER_STOPPING; });
    IStream* poisoned = &second;
    EXPECT_EQ(CO_E_SERVER_STOPPING, cookie.CopyTo(&poisoned));
    EXPECT_EQ(nullptr, poisoned);
    EXPECT_EQ(CO_E_SERVER_STOPPING, cookie.Attach(&second));
    TKFSetGlobalInterfaceTableProvider(nullptr);
    EXPECT_EQ(&first, Held());
    EXPECT_EQ(S_OK, cookie.Revoke());

    TKFSetGlobalInterfaceTableProvider(
        [](IGlobalInterfaceTable** table) -> HRESULT { return g_table.QueryInterface(IID_PPV_ARGS(table)); });
    EXPECT_EQ(S_OK, cookie.Attach(&first));
    g_table.revokes = E_ACCESSDENIED;
    EXPECT_EQ(E_ACCESSDENIED, cookie.Attach(&second));
    EXPECT_EQ(E_ACCESSDENIED, cookie.Revoke());
    EXPECT_EQ(7u, cookie.Get());
    EXPECT_EQ(1, g_table.registrations);
    g_table.revokes = S_OK;
    g_table.registers = E_OUTOFMEMORY;
    EXPECT_EQ(E_OUTOFMEMORY, cookie.Attach(&second));
    EXPECT_TRUE(cookie.IsEmpty());
    EXPECT_EQ(0u, g_table.References());
}

}  // namespace
