// A module's objects and class factories.
#include "baseclasses/CClassFactory.h"
#include "baseclasses/DllSetup.h"
#include "tests/baseclasses/CTestFilter.h"

#include <new>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

// How the module's one class is made.
std::function<CUnknown*(IUnknown* outer, HRESULT* phr)> g_create;

CUnknown* CALLBACK Create(IUnknown* outer, HRESULT* phr) {
    return g_create(outer, phr);
}

CUnknown* MakeFilter(IUnknown* outer, HRESULT*) {
    auto* const filter = new CTestFilter(outer);
    filter->AddPin(L"Output", PINDIR_OUTPUT);
    return filter;
}

using ModuleTest = LeakCheck;

ComPtr<IClassFactory> Factory() {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(S_OK, AMovieDllGetClassObject(CLSID_TestFilter, IID_PPV_ARGS(&factory)));
    return factory;
}

TEST_F(ModuleTest, WhatCannotBeMadeLeavesNothingBehind) {
    const struct {
        std::function<CUnknown*(IUnknown*, HRESULT*)> create;
        IID iid;
        HRESULT expected;
    } cases[] = {
        {MakeFilter, __uuidof(IMediaSeeking), E_NOINTERFACE},
        {[](IUnknown*, HRESULT* phr) { return *phr = VFW_E_NOT_FOUND, new CTestFilter; }, __uuidof(IUnknown),
         VFW_E_NOT_FOUND},
        {[](IUnknown*, HRESULT*) { return nullptr; }, __uuidof(IUnknown), E_OUTOFMEMORY},
        {[](IUnknown*, HRESULT*) -> CUnknown* { throw std::bad_alloc(); }, __uuidof(IUnknown), E_OUTOFMEMORY},
    };
    void* out = &out;
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        g_create = c.create;
        EXPECT_EQ(c.expected, Factory()->CreateInstance(nullptr, c.iid, &out));
        EXPECT_EQ(nullptr, std::exchange(out, &out));
    }
    const ComPtr<CTestFilter> outer = new CTestFilter;
    g_create = MakeFilter;
    EXPECT_EQ(E_NOINTERFACE, Factory()->CreateInstance(outer->GetOwner(), __uuidof(IBaseFilter), &out)) << "aggregated";
    EXPECT_EQ(E_NOINTERFACE, AMovieDllGetClassObject(CLSID_TestFilter, __uuidof(IBaseFilter), &out));
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, AMovieDllGetClassObject(CLSID_FilterGraph, __uuidof(IUnknown), &out));
    EXPECT_EQ(nullptr, out);
}

TEST_F(ModuleTest, WhatIsAliveKeepsTheModule) {
    g_create = MakeFilter;
    ComPtr<IUnknown> object;
    {
        const ComPtr<IClassFactory> factory = Factory();
        EXPECT_EQ(S_FALSE, AMovieDllCanUnloadNow()) << "a factory";
        ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_PPV_ARGS(&object)));
    }
    EXPECT_EQ(S_FALSE, AMovieDllCanUnloadNow()) << "an object";
    object.Reset();
    EXPECT_EQ(S_OK, AMovieDllCanUnloadNow());
    ExpectOnly<IClassFactory>(Factory().Get());
}

TEST_F(ModuleTest, AnUnlockTooManyDoesNotUndoALaterLock) {
    int locks = 0;
    for (const BOOL lock : {TRUE, TRUE, FALSE, FALSE, FALSE, TRUE, FALSE}) {
        locks = std::max(locks + (lock ? 1 : -1), 0);  // in one step there is an unlock too many
        EXPECT_EQ(S_OK, Factory()->LockServer(lock));
        EXPECT_EQ(locks > 0 ? S_FALSE : S_OK, AMovieDllCanUnloadNow());
    }
}

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

TEST_F(ModuleTest, ReferencesTakenDuringDestructionDestroyNothingTwice) {
    int destroyed = 0;
    ComPtr<IPersist>(new CClingingObject(destroyed)).Reset();
    EXPECT_EQ(1, destroyed);
}

}  // namespace

CFactoryTemplate g_Templates[] = {{L"test filter", &CLSID_TestFilter, Create, nullptr, nullptr}};
int g_cTemplates = 1;
