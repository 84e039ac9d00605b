#include "baseclasses/CUnknown.h"

#include "baseclasses/CAutoLock.h"
#include "tests/baseclasses/CTestFilter.h"
#include "tests/baseclasses/LeakCheck.h"

#include <thread>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

using CUnknownTest = LeakCheck;

// Refers to itself while it is destroyed, as an object does that takes itself out of others' lists.
class CClingingObject final : public CUnknown, public IPersist {
public:
    explicit CClingingObject(int& destroyed) : CUnknown(L"clinging object", nullptr), m_destroyed(destroyed) {}
    ~CClingingObject() override {
        const ComPtr<IPersist> once = this;
        const ComPtr<IPersist> twice = this;
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
        if (riid == __uuidof(IUnknown))
            return GetInterface(this, ppv);
        return inner->QueryInterface(riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }

    ComPtr<IUnknown> inner;
    ULONG references = 1;
};

TEST_F(CUnknownTest, ReferencesTakenDuringDestructionDestroyNothingTwice) {
    int destroyed = 0;
    ComPtr<IPersist> object = new CClingingObject(destroyed);
    object.Reset();
    EXPECT_EQ(1, destroyed);
}

TEST_F(CUnknownTest, EveryInterfaceLeadsToTheSameUnknown) {
    const ComPtr<IBaseFilter> filter = new CTestFilter;
    ComPtr<IUnknown> expected;
    ASSERT_EQ(S_OK, filter.As(&expected));
    for (const IID& iid : {__uuidof(IPersist), __uuidof(IMediaFilter), __uuidof(IBaseFilter), __uuidof(IAMovieSetup)}) {
        ComPtr<IUnknown> face;
        ASSERT_EQ(S_OK, filter->QueryInterface(iid, &face));
        ComPtr<IUnknown> unknown;
        ASSERT_EQ(S_OK, face.As(&unknown));
        EXPECT_EQ(expected.Get(), unknown.Get());
    }
}

TEST_F(CUnknownTest, UnknownInterfaceClearsTheOutPointer) {
    const ComPtr<IBaseFilter> filter = new CTestFilter;
    void* out = &out;
    EXPECT_EQ(E_NOINTERFACE, filter->QueryInterface(__uuidof(IMediaSeeking), &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, filter->QueryInterface(__uuidof(IBaseFilter), nullptr));
    EXPECT_EQ(E_POINTER, filter->QueryInterface(__uuidof(IUnknown), nullptr));
    EXPECT_EQ(E_POINTER, GetInterface(filter.Get(), nullptr));
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
        EXPECT_NE(outer.inner.Get(), unknown.Get());

        ComPtr<IPin> pin;
        const ULONG before = outer.references;
        ASSERT_EQ(S_OK, filter->FindPin(L"Output", &pin));
        EXPECT_EQ(before + 1, outer.references);
    }
    EXPECT_EQ(1u, outer.references);
}

TEST_F(CUnknownTest, PinKeepsItsFilterAlive) {
    ComPtr<CTestFilter> filter = new CTestFilter;
    ComPtr<IPin> pin = &filter->AddPin(L"Output", PINDIR_OUTPUT);
    const LONG alive = CBaseObject::ObjectsActive();
    filter.Reset();
    EXPECT_EQ(alive, CBaseObject::ObjectsActive());
    PIN_INFO info{};
    EXPECT_EQ(S_OK, pin->QueryPinInfo(&info));
    EXPECT_EQ(2u, References(info.pFilter));
    info.pFilter->Release();
}

TEST_F(CUnknownTest, LockExcludesOtherThreadsAndAdmitsItsOwnAgain) {
    constexpr int rounds = 20000;
    CCritSec lock;
    int counter = 0;
    const auto count = [&] {
        for (int i = 0; i < rounds; ++i) {
            const CAutoLock outer(&lock);
            const CAutoLock inner(&lock);
            ++counter;
        }
    };
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back(count);
    }
    EXPECT_EQ(4 * rounds, counter);
}

}  // namespace
