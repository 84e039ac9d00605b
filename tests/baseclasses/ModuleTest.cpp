// A module of COM classes: its table, its class factories, and registration with the platform's real filter mapper.
#include "baseclasses/CClassFactory.h"
#include "baseclasses/DllSetup.h"
#include "tests/baseclasses/CTestFilter.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CTestApartment.h"

#include <algorithm>
#include <new>
#include <optional>
#include <thread>
#include <utility>

using Microsoft::WRL::ComPtr;

namespace {

const AMOVIESETUP_MEDIATYPE pinType{&MEDIATYPE_Stream, &MEDIASUBTYPE_NULL};
wchar_t pinName[] = L"Output";
const AMOVIESETUP_PIN pin{pinName, FALSE, TRUE, FALSE, FALSE, &CLSID_NULL, nullptr, 1, &pinType};
const AMOVIESETUP_FILTER setup{&CLSID_TestFilter, L"Base class test filter", MERIT_UNLIKELY, 1, &pin};

// What the test filter's row was told when the module was loaded and unloaded.
std::vector<BOOL> initCalls;

// How the module's one class is made.
std::function<CUnknown*(IUnknown* outer, HRESULT* phr)> create;

CUnknown* CALLBACK Create(IUnknown* outer, HRESULT* phr) {
    return create(outer, phr);
}

CUnknown* MakeFilter(IUnknown* outer, HRESULT*) {
    auto* const filter = new CTestFilter(outer);
    filter->AddPin(L"Output", PINDIR_OUTPUT);
    return filter;
}

void CALLBACK NoteInit(BOOL loading, const CLSID*) {
    initCalls.push_back(loading);
}

}  // namespace

CFactoryTemplate g_Templates[] = {{setup.strName, &CLSID_TestFilter, Create, NoteInit, &setup}};
int g_cTemplates = 1;

namespace {

using ModuleTest = LeakCheck;

ComPtr<IClassFactory> Factory() {
    ComPtr<IClassFactory> factory;
    EXPECT_EQ(S_OK, AMovieDllGetClassObject(CLSID_TestFilter, IID_PPV_ARGS(&factory)));
    return factory;
}

// A module's path is of any length.
const std::wstring deepPath = L"C:\\" + std::wstring(600, L'd') + L"\\module.dll";
DWORD WINAPI DeepModuleName(HMODULE, wchar_t* name, DWORD size) {
    name[deepPath.copy(name, size - 1)] = L'\0';
    return std::min(size, static_cast<DWORD>(deepPath.size()));
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
        create = c.create;
        EXPECT_EQ(c.expected, Factory()->CreateInstance(nullptr, c.iid, &out));
        EXPECT_EQ(nullptr, std::exchange(out, &out));
    }
    EXPECT_EQ(E_NOINTERFACE, AMovieDllGetClassObject(CLSID_TestFilter, __uuidof(IBaseFilter), &out));
    EXPECT_EQ(nullptr, std::exchange(out, &out));
    EXPECT_EQ(CLASS_E_CLASSNOTAVAILABLE, AMovieDllGetClassObject(CLSID_FilterGraph, __uuidof(IUnknown), &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(E_POINTER, AMovieDllGetClassObject(CLSID_TestFilter, __uuidof(IUnknown), nullptr));
    EXPECT_EQ(E_POINTER, Factory()->CreateInstance(nullptr, __uuidof(IUnknown), nullptr));
    EXPECT_EQ(S_OK, AMovieDllCanUnloadNow());
}

TEST_F(ModuleTest, AggregatedFilterIsMadeByItsUnknownOnlyAndCountsOnTheOuterObject) {
    create = MakeFilter;
    const ComPtr<CTestFilter> outer = new CTestFilter;
    ComPtr<IUnknown> inner;
    EXPECT_EQ(E_NOINTERFACE, Factory()->CreateInstance(outer->GetOwner(), __uuidof(IBaseFilter), &inner));
    ASSERT_EQ(S_OK, Factory()->CreateInstance(outer->GetOwner(), __uuidof(IUnknown), &inner));
    EXPECT_EQ(1u, References(outer.Get()));
    ComPtr<IBaseFilter> filter;
    ComPtr<IUnknown> identity;
    ComPtr<IPin> output;
    ASSERT_EQ(S_OK, inner.As(&filter));
    ASSERT_EQ(S_OK, filter.As(&identity));
    EXPECT_EQ(outer->GetOwner(), identity.Get());
    ASSERT_EQ(S_OK, filter->FindPin(L"Output", &output));
    EXPECT_EQ(4u, References(outer.Get()));
}

TEST_F(ModuleTest, ClassesAreToldOfLoadingAndUnloading) {
    const HINSTANCE before = g_hInst, self = ::GetModuleHandleW(nullptr);
    initCalls.clear();
    for (const DWORD reason : {DWORD{DLL_PROCESS_ATTACH}, DWORD{DLL_THREAD_ATTACH}, DWORD{DLL_PROCESS_DETACH}})
        EXPECT_TRUE(DllEntryPoint(self, reason, nullptr));
    EXPECT_EQ(self, g_hInst);
    EXPECT_EQ((std::vector<BOOL>{TRUE, FALSE}), initCalls);
    g_hInst = before;
}

TEST_F(ModuleTest, RegistrationLeavesTheThreadsApartmentAsItWas) {
    for (const bool singleThreaded : {false, true}) {
        std::jthread([&] {
            std::optional<CTestApartment> apartment;
            if (singleThreaded)
                apartment.emplace(COINIT_APARTMENTTHREADED);
            APTTYPE before{}, after{};
            APTTYPEQUALIFIER qualifier{};
            const HRESULT result = ::CoGetApartmentType(&before, &qualifier);
            EXPECT_EQ(S_OK, AMovieDllRegisterServer2(TRUE));
            EXPECT_EQ(result, ::CoGetApartmentType(&after, &qualifier));
            EXPECT_EQ(before, after);
            EXPECT_EQ(S_OK, AMovieDllRegisterServer2(FALSE));
        }).join();
    }
}

TEST_F(ModuleTest, EveryWayOfRegisteringAFilterCanBeTakenBack) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IFilterMapper> mapper;  // the older one, of whose kind a host may have its own
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper)));
    const ComPtr<CTestFilter> filter = new CTestFilter;
    EXPECT_EQ(S_FALSE, filter->Register()) << "it has no record";
    filter->setupData = &setup;
    const std::function<HRESULT(BOOL)> ways[] = {
        [&](BOOL install) { return AMovieDllRegisterServer2(install); },
        [&](BOOL install) { return AMovieSetupRegisterFilter(setup, mapper.Get(), install); },
        [&](BOOL install) { return install ? filter->Register() : filter->Unregister(); }};
    for (const auto& change : ways) {
        SCOPED_TRACE(&change - ways);
        for (const BOOL install : {TRUE, TRUE, FALSE}) {
            EXPECT_EQ(S_OK, change(install));
            ComPtr<IEnumRegFilters> filters;
            ASSERT_EQ(S_OK, mapper->EnumMatchingFilters(&filters, MERIT_UNLIKELY, FALSE, GUID_NULL, GUID_NULL, FALSE,
                                                        TRUE, MEDIATYPE_Stream, GUID_NULL));
            int found = 0;
            REGFILTER* entry = nullptr;
            for (ULONG fetched = 0; filters->Next(1, &entry, &fetched) == S_OK; ::CoTaskMemFree(entry))
                found += entry->Clsid == CLSID_TestFilter;
            EXPECT_EQ(install, found);
        }
    }
}

TEST_F(ModuleTest, LongPathIsRegisteredWhole) {
    const CImportHook hook("GetModuleFileNameW", &DeepModuleName);
    ASSERT_TRUE(hook.IsSet());
    EXPECT_EQ(S_OK, AMovieDllRegisterServer2(TRUE));
    wchar_t text[1000]{};
    DWORD bytes = sizeof text;
    ::RegGetValueW(HKEY_CLASSES_ROOT, L"CLSID\\{7E570000-0000-0000-0000-000000000000}\\InprocServer32", nullptr,
                   RRF_RT_REG_SZ, nullptr, text, &bytes);
    EXPECT_EQ(deepPath, text);
    EXPECT_EQ(S_OK, AMovieDllRegisterServer2(FALSE));
}

}  // namespace
