#include "framework/com/CComObjectBase.h"

#include "tests/support/CTestApartment.h"

#include <ocidl.h>

#include <gtest/gtest.h>

using Microsoft::WRL::ComPtr;

namespace {

int g_alive = 0;

// An object of two interfaces whose construction throws or fails as told.
struct CThing final : CComObjectBase<IProvideClassInfo2, IProvideClassInfo> {
    CThing(HRESULT constructs, HRESULT finally) : finalResult(finally) {
        if (FAILED(constructs))
            throw CAtlException(constructs);
        ++g_alive;
    }
    ~CThing() override { --g_alive; }
    HRESULT FinalConstruct() noexcept {
        const HRESULT hr = CComObjectBase::FinalConstruct();
        return FAILED(hr) ? hr : finalResult;
    }
    STDMETHODIMP GetClassInfo(ITypeInfo**) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetGUID(DWORD, GUID*) noexcept override { return E_NOTIMPL; }

    const HRESULT finalResult;
};

TEST(CComObjectBaseTest, AnswersItsInterfacesAndLivesAsLongAsItsLastReference) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    ComPtr<CThing> thing;
    ASSERT_EQ(S_OK, MakeComObject<CThing>(&thing, S_OK, S_OK));
    for (const IID& iid :
         {__uuidof(IUnknown), __uuidof(IProvideClassInfo), __uuidof(IProvideClassInfo2), __uuidof(IMarshal)}) {
        ComPtr<IUnknown> answer, identity;
        EXPECT_EQ(S_OK, thing->QueryInterface(iid, reinterpret_cast<void**>(answer.GetAddressOf())));
        ASSERT_EQ(S_OK, answer.As(&identity));
        EXPECT_EQ(static_cast<IProvideClassInfo2*>(thing.Get()), identity.Get());
    }
    void* poisoned = &poisoned;
    EXPECT_EQ(E_NOINTERFACE, thing->QueryInterface(__uuidof(IStream), &poisoned));
    EXPECT_EQ(nullptr, poisoned);
    EXPECT_EQ(E_POINTER, thing->QueryInterface(__uuidof(IUnknown), nullptr));
    EXPECT_EQ(1, g_alive);
    thing.Reset();
    EXPECT_EQ(0, g_alive);

    // Creation that fails hands out nothing, and leaves nothing.
    for (const auto& [constructs, finally] : {std::pair{STG_E_INUSE, S_OK}, {S_OK, CO_E_WRONGOSFORAPP}}) {
        *thing.GetAddressOf() = reinterpret_cast<CThing*>(&g_alive);
        EXPECT_EQ(FAILED(constructs) ? constructs : finally,
                  MakeComObject<CThing>(thing.GetAddressOf(), constructs, finally));
        EXPECT_EQ(nullptr, thing.Get());
        EXPECT_EQ(0, g_alive);
    }
}

}  // namespace
