#include "framework/com/CComObjectBase.h"

#include "tests/support/CTestApartment.h"

#include <ocidl.h>

#include <gtest/gtest.h>

#include <stdexcept>

using Microsoft::WRL::ComPtr;

namespace {

int g_alive = 0;

// An object of two interfaces whose construction fails as told.
class CThing final : public CComObjectBase<IProvideClassInfo2, IProvideClassInfo> {
public:
    CThing(void (*construct)(), HRESULT finalResult) : m_finalResult(finalResult) {
        construct();
        ++g_alive;
    }
    ~CThing() override { --g_alive; }

    HRESULT FinalConstruct() noexcept {
        const HRESULT hr = CComObjectBase::FinalConstruct();
        return FAILED(hr) ? hr : m_finalResult;
    }
    STDMETHODIMP GetClassInfo(ITypeInfo**) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP GetGUID(DWORD, GUID*) noexcept override { return E_NOTIMPL; }

private:
    HRESULT m_finalResult;
};

TEST(CComObjectBaseTest, AnswersItsInterfacesAndLivesAsLongAsItsLastReference) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    ComPtr<CThing> thing;
    ASSERT_EQ(S_OK, MakeComObject<CThing>(
                        &thing, [] {}, S_OK));
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

    EXPECT_EQ(2u, thing->AddRef());
    EXPECT_EQ(1u, thing->Release());
    EXPECT_EQ(1, g_alive);
    thing.Reset();
    EXPECT_EQ(0, g_alive);
}

TEST(CComObjectBaseTest, HandsOutNothingWhenCreationFails) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const struct {
        HRESULT result;
        void (*construct)();
        HRESULT finalResult = S_OK;
    } rows[] = {
        {E_OUTOFMEMORY, [] { throw std::bad_alloc(); }},
        {STG_E_INUSE, [] { throw CAtlException(STG_E_INUSE); }},
        {E_UNEXPECTED, [] { throw std::runtime_error("construction"); }},
        {CO_E_WRONGOSFORAPP, [] {}, CO_E_WRONGOSFORAPP},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.result);
        CThing* thing = reinterpret_cast<CThing*>(&g_alive);
        EXPECT_EQ(row.result, MakeComObject<CThing>(&thing, row.construct, row.finalResult));
        EXPECT_EQ(nullptr, thing);
        EXPECT_EQ(0, g_alive);
    }
}

}  // namespace
