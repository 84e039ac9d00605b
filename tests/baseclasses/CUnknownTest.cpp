#include "baseclasses/CUnknown.h"

#include "tests/baseclasses/CTestFilter.h"
#include "tests/baseclasses/LeakCheck.h"

using Microsoft::WRL::ComPtr;

namespace {

using CUnknownTest = LeakCheck;

// Refers to itself while it is destroyed, as an object does that takes itself out of others' lists.
class CClingingObject final : public CUnknown, public IPersist {
public:
    explicit CClingingObject(int& destroyed) : CUnknown(L"clinging object", nullptr), m_destroyed(destroyed) {}
    ~CClingingObject() override {
        const ComPtr<IPersist> once = this, twice = this;
        ++m_destroyed;
    }
    DECLARE_IUNKNOWN
    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }

private:
    int& m_destroyed;
};

// Aggregates a test filter and shows the filter's interfaces as its own.
class COuter final : public IUnknown {
public:
    COuter() {
        auto* const filter = new CTestFilter(this);
        filter->AddPin(L"Output", PINDIR_OUTPUT);
        filter->NonDelegatingAddRef();
        EXPECT_EQ(S_OK, filter->NonDelegatingQueryInterface(__uuidof(IUnknown), &inner));
        filter->NonDelegatingRelease();
    }
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
        return riid == __uuidof(IUnknown) ? GetInterface(this, ppv) : inner->QueryInterface(riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }

    ComPtr<IUnknown> inner;
    ULONG references = 1;
};

TEST_F(CUnknownTest, ReferencesTakenDuringDestructionDestroyNothingTwice) {
    int destroyed = 0;
    ComPtr<IPersist>(new CClingingObject(destroyed)).Reset();
    EXPECT_EQ(1, destroyed);
}

TEST_F(CUnknownTest, EveryInterfaceLeadsToTheSameUnknown) {
    const ComPtr<IBaseFilter> filter = new CTestFilter;
    ComPtr<IUnknown> expected;
    ASSERT_EQ(S_OK, filter.As(&expected));
    for (const IID& iid : {__uuidof(IPersist), __uuidof(IMediaFilter), __uuidof(IBaseFilter), __uuidof(IAMovieSetup)}) {
        ComPtr<IUnknown> face, unknown;
        ASSERT_EQ(S_OK, filter->QueryInterface(iid, &face));
        ASSERT_EQ(S_OK, face.As(&unknown));
        EXPECT_EQ(expected.Get(), unknown.Get());
    }
    void* out = &out;
    EXPECT_EQ(E_NOINTERFACE, filter->QueryInterface(__uuidof(IMediaSeeking), &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, filter->QueryInterface(__uuidof(IBaseFilter), nullptr));
}

TEST_F(CUnknownTest, AggregatedFilterCountsOnTheOuterObject) {
    COuter outer;
    {
        ComPtr<IBaseFilter> filter;
        ASSERT_EQ(S_OK, outer.QueryInterface(__uuidof(IBaseFilter), &filter));
        EXPECT_EQ(2u, outer.references);
        ComPtr<IUnknown> unknown;
        ASSERT_EQ(S_OK, filter.As(&unknown));
        EXPECT_EQ(&outer, unknown.Get());
        ComPtr<IPin> pin;
        ASSERT_EQ(S_OK, filter->FindPin(L"Output", &pin));
        EXPECT_EQ(4u, outer.references);
    }
    EXPECT_EQ(1u, outer.references);
}

}  // namespace
