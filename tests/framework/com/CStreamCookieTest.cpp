#include "framework/com/CStreamCookie.h"

#include "framework/com/GlobalInterfaceTable.h"
#include "framework/streams/CBufferedStream.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <thread>

using Microsoft::WRL::ComPtr;

namespace {

// A table that fails as told. It lives as long as the program.
struct CFailingTable final : IGlobalInterfaceTable {
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override { return --m_references; }
    STDMETHODIMP RegisterInterfaceInGlobal(IUnknown*, REFIID, DWORD* cookie) override {
        ++m_registrations;
        if (SUCCEEDED(m_register))
            *cookie = 7;
        return m_register;
    }
    STDMETHODIMP RevokeInterfaceFromGlobal(DWORD) override { return m_revoke; }
    STDMETHODIMP GetInterfaceFromGlobal(DWORD, REFIID, void**) override { return E_NOTIMPL; }

    ULONG m_references = 0;
    int m_registrations = 0;
    HRESULT m_register = S_OK;
    HRESULT m_revoke = S_OK;
} g_table;

struct CStreamCookieTest : ::testing::Test {
    ~CStreamCookieTest() override { TKFSetGlobalInterfaceTableProvider(nullptr); }

    // What the holder gives, without a reference, on a thread of another apartment or on this one.
    const IStream* Held() const {
        ComPtr<IStream> held;
        return SUCCEEDED(cookie.CopyTo(&held)) ? held.Get() : nullptr;
    }
    const IStream* HeldIn(DWORD otherApartment) const {
        const IStream* seen = nullptr;
        std::thread([&] {
            const CTestApartment entered(otherApartment);
            seen = Held();
        }).join();
        return seen;
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
    EXPECT_FALSE(cookie.IsEmpty());
    EXPECT_EQ(&second, Held());
    EXPECT_EQ(S_OK, cookie.Revoke());
    EXPECT_TRUE(cookie.IsEmpty());
    EXPECT_EQ(0u, second.References());
    EXPECT_EQ(S_OK, cookie.Revoke());

    EXPECT_EQ(S_OK, CStreamCookie().Attach(&first));
    EXPECT_EQ(0u, first.References());
}

TEST_F(CStreamCookieTest, GivesAFreeThreadedStreamToOtherApartmentsUnchangedAndLetsGoOfIt) {
    ComPtr<IStream> freeThreaded;
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(&first, &freeThreaded, 4));
    EXPECT_EQ(S_OK, cookie.Attach(freeThreaded.Get()));
    EXPECT_EQ(freeThreaded.Get(), HeldIn(COINIT_APARTMENTTHREADED));

    EXPECT_EQ(S_OK, cookie.Attach(&second));  // has no marshaler
    EXPECT_EQ(&second, HeldIn(COINIT_MULTITHREADED));
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

    TKFSetGlobalInterfaceTableProvider([](IGlobalInterfaceTable** table) -> HRESULT {
        g_table.AddRef();
        *table = &g_table;
        return S_OK;
    });
    EXPECT_EQ(S_OK, cookie.Attach(&first));
    g_table.m_revoke = E_ACCESSDENIED;
    EXPECT_EQ(E_ACCESSDENIED, cookie.Attach(&second));
    EXPECT_EQ(E_ACCESSDENIED, cookie.Revoke());
    EXPECT_EQ(7u, cookie.Get());
    EXPECT_EQ(1, g_table.m_registrations);

    g_table.m_revoke = S_OK;
    g_table.m_register = E_OUTOFMEMORY;
    EXPECT_EQ(E_OUTOFMEMORY, cookie.Attach(&second));
    EXPECT_TRUE(cookie.IsEmpty());
    EXPECT_EQ(0u, g_table.m_references);
}

}  // namespace
