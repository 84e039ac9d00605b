#include "baseclasses/CClassFactory.h"

#include "baseclasses/DllSetup.h"
#include "tests/baseclasses/CTestFilter.h"
#include "tests/baseclasses/LeakCheck.h"
#include "tests/baseclasses/TestClasses.h"

#include <new>

using Microsoft::WRL::ComPtr;

namespace {

class CClassFactoryTest : public LeakCheck {
protected:
    static ComPtr<IClassFactory> Factory(REFCLSID clsid = CLSID_TestFilter) {
        ComPtr<IClassFactory> factory;
        EXPECT_EQ(S_OK, AMovieDllGetClassObject(clsid, __uuidof(IClassFactory), &factory));
        return factory;
    }
};

TEST_F(CClassFactoryTest, OnlyClassesOfTheModuleAreServed) {
    const struct {
        const char* name;
        CLSID clsid;
        IID iid;
        HRESULT expected;
    } cases[] = {
        {"factory", CLSID_TestFilter, __uuidof(IClassFactory), S_OK},
        {"unknown", CLSID_TestFilter, __uuidof(IUnknown), S_OK},
        {"another interface", CLSID_TestFilter, __uuidof(IBaseFilter), E_NOINTERFACE},
        {"another class", CLSID_FilterGraph, __uuidof(IClassFactory), CLASS_E_CLASSNOTAVAILABLE},
        {"no class", CLSID_NULL, __uuidof(IUnknown), CLASS_E_CLASSNOTAVAILABLE},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        IUnknown* out = reinterpret_cast<IUnknown*>(1);
        EXPECT_EQ(c.expected, AMovieDllGetClassObject(c.clsid, c.iid, reinterpret_cast<void**>(&out)));
        EXPECT_EQ(c.expected == S_OK, out != nullptr);
        if (out)
            out->Release();
    }
    EXPECT_EQ(E_POINTER, AMovieDllGetClassObject(CLSID_TestFilter, __uuidof(IUnknown), nullptr));
}

TEST_F(CClassFactoryTest, CreatedObjectBelongsToTheCaller) {
    ComPtr<IBaseFilter> filter;
    ASSERT_EQ(S_OK, Factory()->CreateInstance(nullptr, IID_PPV_ARGS(&filter)));
    EXPECT_EQ(1u, References(filter.Get()));
}

TEST_F(CClassFactoryTest, FailedCreationLeavesNothing) {
    const struct {
        const char* name;
        CLSID clsid;
        IID iid;
        HRESULT expected;
    } cases[] = {
        {"interface that the object lacks", CLSID_TestFilter, __uuidof(IMediaSeeking), E_NOINTERFACE},
        {"constructor that reports a failure", CLSID_FailingFilter, __uuidof(IBaseFilter), VFW_E_NOT_FOUND},
        {"allocation that fails", CLSID_MissingFilter, __uuidof(IBaseFilter), E_OUTOFMEMORY},
        {"constructor that runs out of memory", CLSID_ThrowingFilter, __uuidof(IBaseFilter), E_OUTOFMEMORY},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        void* out = &out;
        EXPECT_EQ(c.expected, Factory(c.clsid)->CreateInstance(nullptr, c.iid, &out));
        EXPECT_EQ(nullptr, out);
    }
    EXPECT_EQ(E_POINTER, Factory()->CreateInstance(nullptr, __uuidof(IUnknown), nullptr));
}

TEST_F(CClassFactoryTest, AggregatedObjectIsCreatedByItsUnknownOnly) {
    const ComPtr<IBaseFilter> outer = new CTestFilter;
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
    EXPECT_EQ(S_OK, factory->LockServer(TRUE));
    factory.Reset();
    EXPECT_EQ(S_FALSE, AMovieDllCanUnloadNow());
    factory = Factory();
    EXPECT_EQ(S_OK, factory->LockServer(FALSE));
    EXPECT_EQ(S_OK, factory->LockServer(FALSE));
    ComPtr<IUnknown> object;
    ASSERT_EQ(S_OK, factory->CreateInstance(nullptr, IID_PPV_ARGS(&object)));
    factory.Reset();
    EXPECT_EQ(S_FALSE, AMovieDllCanUnloadNow());
    object.Reset();
    EXPECT_EQ(S_OK, AMovieDllCanUnloadNow());
}

TEST_F(CClassFactoryTest, ClassesAreToldOfLoadingAndUnloading) {
    const HINSTANCE before = g_hInst;
    const HINSTANCE self = ::GetModuleHandleW(nullptr);
    initCalls.clear();
    EXPECT_TRUE(DllEntryPoint(self, DLL_PROCESS_ATTACH, nullptr));
    EXPECT_EQ(self, g_hInst);
    EXPECT_TRUE(DllEntryPoint(self, DLL_THREAD_ATTACH, nullptr));
    EXPECT_TRUE(DllEntryPoint(self, DLL_PROCESS_DETACH, nullptr));
    EXPECT_EQ((std::vector<BOOL>{TRUE, FALSE}), initCalls);
    g_hInst = before;
}

}  // namespace
