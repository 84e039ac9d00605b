#include "baseclasses/CClassFactory.h"

#include "baseclasses/DllSetup.h"
#include "tests/baseclasses/LeakCheck.h"
#include "tests/baseclasses/TestClasses.h"

using Microsoft::WRL::ComPtr;

namespace {

using CClassFactoryTest = LeakCheck;

ComPtr<IClassFactory> Factory(REFCLSID clsid = CLSID_TestFilter) {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(S_OK, AMovieDllGetClassObject(clsid, __uuidof(IClassFactory), &factory));
    return factory;
}

TEST_F(CClassFactoryTest, FailuresLeaveNothingBehind) {
    const struct {
        const char* name;
        bool fromModule;  // asked of the module instead of the factory
        CLSID clsid;
        IID iid;
        HRESULT expected;
    } cases[] = {
        {"another interface", true, CLSID_TestFilter, __uuidof(IBaseFilter), E_NOINTERFACE},
        {"another class", true, CLSID_FilterGraph, __uuidof(IClassFactory), CLASS_E_CLASSNOTAVAILABLE},
        {"interface that the object lacks", false, CLSID_TestFilter, __uuidof(IMediaSeeking), E_NOINTERFACE},
        {"constructor that reports a failure", false, CLSID_FailingFilter, __uuidof(IBaseFilter), VFW_E_NOT_FOUND},
        {"allocation that fails", false, CLSID_MissingFilter, __uuidof(IBaseFilter), E_OUTOFMEMORY},
        {"constructor that runs out of memory", false, CLSID_ThrowingFilter, __uuidof(IBaseFilter), E_OUTOFMEMORY},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        void* out = &out;
        EXPECT_EQ(c.expected, c.fromModule ? AMovieDllGetClassObject(c.clsid, c.iid, &out)
                                           : Factory(c.clsid)->CreateInstance(nullptr, c.iid, &out));
        EXPECT_EQ(nullptr, out);
    }
    EXPECT_EQ(E_POINTER, AMovieDllGetClassObject(CLSID_TestFilter, __uuidof(IUnknown), nullptr));
    EXPECT_EQ(E_POINTER, Factory()->CreateInstance(nullptr, __uuidof(IUnknown), nullptr));
}

TEST_F(CClassFactoryTest, AggregatedObjectIsCreatedByItsUnknownOnly) {
    ComPtr<IBaseFilter> outer;
    ASSERT_EQ(S_OK, Factory()->CreateInstance(nullptr, IID_PPV_ARGS(&outer)));
    ComPtr<IUnknown> inner;
    EXPECT_EQ(E_NOINTERFACE, Factory()->CreateInstance(outer.Get(), __uuidof(IBaseFilter), &inner));
    ASSERT_EQ(S_OK, Factory()->CreateInstance(outer.Get(), __uuidof(IUnknown), &inner));
    EXPECT_EQ(1u, References(outer.Get()));
    ComPtr<IBaseFilter> filter;
    ASSERT_EQ(S_OK, inner.As(&filter));
    EXPECT_EQ(2u, References(outer.Get()));
}

TEST_F(CClassFactoryTest, ModuleStaysWhileAnythingOfItIsInUse) {
    EXPECT_EQ(S_OK, AMovieDllCanUnloadNow());
    ComPtr<IClassFactory> factory = Factory();
    EXPECT_EQ(S_FALSE, AMovieDllCanUnloadNow());
    EXPECT_EQ(S_OK, factory->LockServer(TRUE));
    factory.Reset();
    EXPECT_EQ(S_FALSE, AMovieDllCanUnloadNow());
    ComPtr<IUnknown> object;
    ASSERT_EQ(S_OK, Factory()->CreateInstance(nullptr, IID_PPV_ARGS(&object)));
    EXPECT_EQ(S_OK, Factory()->LockServer(FALSE));
    EXPECT_EQ(S_FALSE, AMovieDllCanUnloadNow());
    object.Reset();
    EXPECT_EQ(S_OK, AMovieDllCanUnloadNow());
}

TEST_F(CClassFactoryTest, ClassesAreToldOfLoadingAndUnloading) {
    const HINSTANCE before = g_hInst;
    const HINSTANCE self = ::GetModuleHandleW(nullptr);
    initCalls.clear();
    for (const DWORD reason : {DWORD{DLL_PROCESS_ATTACH}, DWORD{DLL_THREAD_ATTACH}, DWORD{DLL_PROCESS_DETACH}})
        EXPECT_TRUE(DllEntryPoint(self, reason, nullptr));
    EXPECT_EQ(self, g_hInst);
    EXPECT_EQ((std::vector<BOOL>{TRUE, FALSE}), initCalls);
    g_hInst = before;
}

}  // namespace
