#include "framework/com/CComObjectBase.h"

#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <stdexcept>

using Microsoft::WRL::ComPtr;

namespace {

int g_alive = 0;

// An object of two interfaces whose construction fails as told.
class CThing final : public CComObjectBase<IPersistStream, IPersist> {
public:
    enum Failure { kNone, kOutOfMemory, kResultCode, kOther, kFinal };

    explicit CThing(Failure failure) : m_failure(failure) {
        if (failure == kOutOfMemory)
            throw std::bad_alloc();
        if (failure == kResultCode)
            throw CAtlException(STG_E_INUSE);
        if (failure == kOther)
            throw std::runtime_error("construction");
        ++g_alive;
    }
    ~CThing() override { --g_alive; }

    HRESULT FinalConstruct() noexcept {
        const HRESULT hr = CComObjectBase::FinalConstruct();
        return FAILED(hr) ? hr : m_failure == kFinal ? CO_E_WRONGOSFORAPP : S_OK;
    }

    STDMETHODIMP
    GetClassID(CLSID*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP
    IsDirty() noexcept override { return S_FALSE; }
    STDMETHODIMP
    Load(IStream*) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP
    Save(IStream*, BOOL) noexcept override { return E_NOTIMPL; }
    STDMETHODIMP
    GetSizeMax(ULARGE_INTEGER*) noexcept override { return E_NOTIMPL; }

private:
    Failure m_failure;
};

struct CComObjectBaseTest : ::testing::Test {
    const CTestApartment apartment{COINIT_MULTITHREADED};
};

TEST_F(CComObjectBaseTest, AnswersItsInterfacesAndNoOthers) {
    ComPtr<CThing> thing;
    ASSERT_EQ(S_OK, MakeComObject<CThing>(&thing, CThing::kNone));
    for (const IID& iid : {__uuidof(IUnknown), __uuidof(IPersist), __uuidof(IPersistStream), __uuidof(IMarshal)}) {
        ComPtr<IUnknown> answer;
        EXPECT_EQ(S_OK, thing->QueryInterface(iid, reinterpret_cast<void**>(answer.GetAddressOf())));
        ComPtr<IUnknown> identity;
        ASSERT_EQ(S_OK, answer.As(&identity));
        EXPECT_EQ(static_cast<IPersistStream*>(thing.Get()), identity.Get());
    }
    void* poisoned = &poisoned;
    EXPECT_EQ(E_NOINTERFACE, thing->QueryInterface(__uuidof(IStream), &poisoned));
    EXPECT_EQ(nullptr, poisoned);
    EXPECT_EQ(E_POINTER, thing->QueryInterface(__uuidof(IUnknown), nullptr));
}

TEST_F(CComObjectBaseTest, LivesAsLongAsItsLastReference) {
    CThing* thing = nullptr;
    ASSERT_EQ(S_OK, MakeComObject<CThing>(&thing, CThing::kNone));
    EXPECT_EQ(2u, thing->AddRef());
    EXPECT_EQ(1u, thing->Release());
    EXPECT_EQ(1, g_alive);
    EXPECT_EQ(0u, thing->Release());
    EXPECT_EQ(0, g_alive);
}

TEST_F(CComObjectBaseTest, HandsOutNothingWhenCreationFails) {
    struct {
        CThing::Failure failure;
        HRESULT result;
    } const rows[] = {
        {CThing::kOutOfMemory, E_OUTOFMEMORY},
        {CThing::kResultCode, STG_E_INUSE},
        {CThing::kOther, E_UNEXPECTED},
        {CThing::kFinal, CO_E_WRONGOSFORAPP},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.failure);
        CThing* thing = reinterpret_cast<CThing*>(&g_alive);
        EXPECT_EQ(row.result, MakeComObject<CThing>(&thing, row.failure));
        EXPECT_EQ(nullptr, thing);
        EXPECT_EQ(0, g_alive);
    }
}

}  // namespace
