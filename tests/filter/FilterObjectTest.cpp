// The filter object and its DLL as a foreign host sees them: interfaces, pin, life.
#include "baseclasses/DirectShow.h"
#include "filter/CMyModule.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CTestObject.h"
#include "tests/support/FilterTest.h"

#include <qnetwork.h>

#include <new>

namespace {

using Interfaces = std::vector<IID>;

void ExpectAnswers(HRESULT answer, IUnknown* object, const Interfaces& interfaces) {
    for (const IID& iid : interfaces) {
        ComPtr<IUnknown> face = object;
        EXPECT_EQ(answer, object->QueryInterface(iid, reinterpret_cast<void**>(face.ReleaseAndGetAddressOf())));
        EXPECT_EQ(answer == S_OK, face != nullptr);
    }
    EXPECT_EQ(E_POINTER, object->QueryInterface(__uuidof(IUnknown), nullptr));
}

TEST(FilterObjectTest, ANewFilterOffersNothing) {
    const CTestApartment apartment(COINIT_APARTMENTTHREADED);
    CFilterHost host;
    host.Create();
    const auto filter = host.As<IBaseFilter>();
    CLSID clsid{};
    EXPECT_EQ(S_OK, filter->GetClassID(&clsid));
    EXPECT_EQ(CLSID_TvFileSourceAsync, clsid);
    EXPECT_EQ(2u, host.As<IAMFilterMiscFlags>()->GetMiscFlags()) << "a source";
    EXPECT_EQ("", host.Offers());
    wchar_t poison = 0;
    wchar_t* name = &poison;
    EXPECT_EQ(E_FAIL, host.As<IFileSourceFilter>()->GetCurFile(&name, nullptr));
    EXPECT_EQ(nullptr, name);
    EXPECT_EQ(E_POINTER, host.As<IFileSourceFilter>()->GetCurFile(nullptr, nullptr));

    ComPtr<IEnumPins> pins;
    ASSERT_EQ(S_OK, filter->EnumPins(&pins));
    ComPtr<IPin> pin, none;
    EXPECT_EQ(S_OK, pins->Next(1, &pin, nullptr));
    EXPECT_EQ(S_FALSE, pins->Next(1, &none, nullptr));
    EXPECT_EQ(host.Pin().Get(), pin.Get()) << "the one called \"Output\"";

    const Interfaces ofFilter = {__uuidof(IBaseFilter),         __uuidof(IFileSourceFilter),
                                 __uuidof(IAMFilterMiscFlags),  __uuidof(ITavelIStreamFileSource),
                                 __uuidof(IDataFlowControl),    __uuidof(ITavelSourceOpenResult),
                                 __uuidof(ITavelSourceControl), __uuidof(IAMOpenProgress),
                                 __uuidof(IAMNetworkStatus),    __uuidof(IDispatch)};
    const Interfaces ofPin = {__uuidof(IPin),    __uuidof(IQualityControl),   __uuidof(IAsyncReader),
                              __uuidof(IStream), __uuidof(ISequentialStream), __uuidof(ITavelSampleReferences)};
    ExpectAnswers(S_OK, filter.Get(), ofFilter);
    ExpectAnswers(E_NOINTERFACE, filter.Get(), ofPin);
    ExpectAnswers(S_OK, pin.Get(), ofPin);
    ExpectAnswers(E_NOINTERFACE, pin.Get(), ofFilter);
}

TEST(FilterObjectTest, AnAggregatedFilterLendsItsInterfacesAndPinToTheOuterObject) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CTestObject<IUnknown> outer;
    CFilterHost host;
    host.Create(&outer);
    EXPECT_EQ(0u, outer.References());
    {
        const auto pin = host.Pin();
        ComPtr<IUnknown> identity;
        EXPECT_EQ(S_OK, host.As<IFileSourceFilter>().As(&identity));
        EXPECT_EQ(&outer, identity.Get());
        EXPECT_EQ(2u, outer.References());
    }
    EXPECT_EQ(0u, outer.References() + host.Release());
}

TEST(ModuleTest, TheModuleStaysWhileAFilterOrAPinIsAlive) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    for (int round = 0; round < 3; ++round) {
        CFilterHost host;
        for (const char* name : {"DllMain", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"})
            EXPECT_NE(nullptr, ::GetProcAddress(host.Module(), name)) << name;
        EXPECT_EQ(S_OK, host.Call("DllCanUnloadNow"));
        host.Create();
        ComPtr<IPin> pin = host.Pin();
        EXPECT_EQ(1u, host.Release());
        EXPECT_EQ(S_FALSE, host.Call("DllCanUnloadNow"));
        pin.Reset();
        EXPECT_EQ(S_OK, host.Call("DllCanUnloadNow"));
    }
    EXPECT_EQ(nullptr, ::GetModuleHandleW(FilterDllPath().c_str()));
}

struct CFakeTable final : CTestObject<IGlobalInterfaceTable> {
    STDMETHODIMP RegisterInterfaceInGlobal(IUnknown*, REFIID, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP RevokeInterfaceFromGlobal(DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP GetInterfaceFromGlobal(DWORD, REFIID, void**) override { return E_NOTIMPL; }
} g_table;
HRESULT g_tableResult = S_OK;

HRESULT WINAPI MakeTable(REFCLSID clsid, IUnknown*, DWORD, REFIID, void** object) {
    EXPECT_TRUE(clsid == CLSID_StdGlobalInterfaceTable);
    *object = nullptr;
    return FAILED(g_tableResult) ? g_tableResult : g_table.QueryInterface(__uuidof(IGlobalInterfaceTable), object);
}

struct CFakeRegistrar final : IRegistrarBase {
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP AddReplacement(LPCOLESTR key, LPCOLESTR item) override {
        said = std::wstring(key) + L"=" + item;
        return throws ? throw std::bad_alloc() : S_FALSE;
    }
    STDMETHODIMP ClearReplacements() override { return E_NOTIMPL; }

    std::wstring said;
    bool throws = false;
};

TEST(FilterModuleTest, CountsLocks) {
    CMyModule module;
    EXPECT_TRUE(module.Lock() == 1 && module.Lock() == 2 && module.Unlock() == 1 && module.GetLockCount() == 1);
}

TEST(FilterModuleTest, KeepsOneTableOnceItIsMade) {
    const CImportHook hook("CoCreateInstance", &MakeTable);
    {
        CMyModule module;
        EXPECT_EQ(E_POINTER, module.GetGITPtr(nullptr));
        for (const auto& [made, expected] : {std::pair{E_ACCESSDENIED, E_ACCESSDENIED}, {S_OK, S_OK}, {E_FAIL, S_OK}}) {
            g_tableResult = made;
            ComPtr<IGlobalInterfaceTable> table;
            EXPECT_EQ(expected, module.GetGITPtr(&table));
            EXPECT_EQ(expected == S_OK ? &g_table : nullptr, table.Get());
        }
        EXPECT_EQ(1u, g_table.References());
    }
    EXPECT_EQ(0u, g_table.References());
}

TEST(FilterModuleTest, NamesItsReplacement) {
    CMyModule module;
    CFakeRegistrar registrar;
    EXPECT_EQ(E_POINTER, module.AddCommonRGSReplacements(nullptr));
    EXPECT_EQ(S_FALSE, module.AddCommonRGSReplacements(&registrar));
    EXPECT_EQ(L"APPID=", registrar.said);
    registrar.throws = true;
    EXPECT_EQ(E_OUTOFMEMORY, module.AddCommonRGSReplacements(&registrar));
}

}  // namespace
