// A module of COM classes: its table, its class factories, and registration with the platform's real filter mapper.
#include "baseclasses/CClassFactory.h"
#include "baseclasses/DllSetup.h"
#include "tests/baseclasses/CTestFilter.h"
#include "tests/support/CTestApartment.h"

#include <new>
#include <optional>
#include <thread>

using Microsoft::WRL::ComPtr;

namespace {

const AMOVIESETUP_MEDIATYPE pinType{&MEDIATYPE_Stream, &MEDIASUBTYPE_NULL};
wchar_t pinName[] = L"Output";
const AMOVIESETUP_PIN pin{pinName, FALSE, TRUE, FALSE, FALSE, &CLSID_NULL, nullptr, 1, &pinType};
const AMOVIESETUP_FILTER setup{&CLSID_TestFilter, L"Base class test filter", MERIT_UNLIKELY, 1, &pin};

// What the test filter's row was told when the module was loaded and unloaded.
std::vector<BOOL> initCalls;

// How the module's one class is made.
std::function<CUnknown*(HRESULT*)> create;

CUnknown* CALLBACK Create(IUnknown*, HRESULT* phr) {
    return create(phr);
}

void CALLBACK NoteInit(BOOL loading, const CLSID*) {
    initCalls.push_back(loading);
}

}  // namespace

CFactoryTemplate g_Templates[] = {{setup.strName, &CLSID_TestFilter, Create, NoteInit, &setup}};
int g_cTemplates = 1;

namespace {

using ModuleTest = LeakCheck;

TEST_F(ModuleTest, ObjectThatCannotBeMadeLeavesNothingBehind) {
    const struct {
        std::function<CUnknown*(HRESULT*)> create;
        IID iid;
        HRESULT expected;
    } cases[] = {
        {[](HRESULT*) { return new CTestFilter; }, __uuidof(IMediaSeeking), E_NOINTERFACE},
        {[](HRESULT* phr) { return *phr = VFW_E_NOT_FOUND, new CTestFilter; }, __uuidof(IUnknown), VFW_E_NOT_FOUND},
        {[](HRESULT*) { return nullptr; }, __uuidof(IUnknown), E_OUTOFMEMORY},
        {[](HRESULT*) -> CUnknown* { throw std::bad_alloc(); }, __uuidof(IUnknown), E_OUTOFMEMORY},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        create = c.create;
        ComPtr<IClassFactory> factory;
        ASSERT_EQ(S_OK, AMovieDllGetClassObject(CLSID_TestFilter, IID_PPV_ARGS(&factory)));
        void* out = &out;
        EXPECT_EQ(c.expected, factory->CreateInstance(nullptr, c.iid, &out));
        EXPECT_EQ(nullptr, out);
    }
    EXPECT_EQ(S_OK, AMovieDllCanUnloadNow());
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

}  // namespace
