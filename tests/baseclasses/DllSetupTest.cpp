// Registration with the real registry and the real filter mapper.
#include "baseclasses/DllSetup.h"

#include "tests/baseclasses/LeakCheck.h"
#include "tests/baseclasses/TestClasses.h"
#include "tests/support/CTestApartment.h"

#include <optional>
#include <string>
#include <thread>

using Microsoft::WRL::ComPtr;

namespace {

const wchar_t classKey[] = L"CLSID\\{7E570000-0000-0000-0000-000000000000}";
const wchar_t serverKey[] = L"CLSID\\{7E570000-0000-0000-0000-000000000000}\\InprocServer32";

std::optional<std::wstring> RegistryText(const wchar_t* key, const wchar_t* name) {
    wchar_t text[2000];
    DWORD bytes = sizeof text;
    if (::RegGetValueW(HKEY_CLASSES_ROOT, key, name, RRF_RT_REG_SZ, nullptr, text, &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    return text;
}

// Whether the mapper finds the test filter among those of at least this merit that give a byte stream out.
bool MapperKnowsFilter(DWORD merit) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IFilterMapper2> mapper;
    EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper)));
    ComPtr<IEnumMoniker> monikers;
    const GUID types[]{MEDIATYPE_Stream, GUID_NULL};
    EXPECT_HRESULT_SUCCEEDED(mapper->EnumMatchingFilters(&monikers, 0, TRUE, merit, FALSE, 0, nullptr, nullptr, nullptr,
                                                         FALSE, TRUE, 1, types, nullptr, nullptr));
    ComPtr<IMoniker> moniker;
    while (monikers && monikers->Next(1, &moniker, nullptr) == S_OK) {
        ComPtr<IPropertyBag> bag;
        VARIANT name{};
        if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(&bag))) &&
            SUCCEEDED(bag->Read(L"FriendlyName", &name, nullptr))) {
            const bool found = std::wstring(name.bstrVal) == testFilterSetup.strName;
            ::VariantClear(&name);
            if (found)
                return true;
        }
    }
    return false;
}

class DllSetupTest : public LeakCheck {
protected:
    DllSetupTest() { EXPECT_EQ(S_OK, AMovieDllRegisterServer2(FALSE)); }
    ~DllSetupTest() override {
        EXPECT_EQ(S_OK, AMovieDllRegisterServer2(FALSE));
        g_hInst = before;
    }

    const HINSTANCE before = g_hInst;
};

TEST_F(DllSetupTest, RegistersClassAndFilterAndTakesBothBack) {
    for (int i = 0; i < 2; ++i) {  // the second time changes nothing
        ASSERT_EQ(S_OK, AMovieDllRegisterServer2(TRUE));
        wchar_t self[MAX_PATH]{};
        ::GetModuleFileNameW(nullptr, self, MAX_PATH);
        EXPECT_EQ(L"Base class test filter", RegistryText(classKey, nullptr));
        EXPECT_EQ(self, RegistryText(serverKey, nullptr));
        EXPECT_EQ(L"Both", RegistryText(serverKey, L"ThreadingModel"));
        EXPECT_TRUE(MapperKnowsFilter(MERIT_UNLIKELY));
        EXPECT_FALSE(MapperKnowsFilter(MERIT_UNLIKELY + 1));
    }
    EXPECT_EQ(S_OK, AMovieDllRegisterServer2(FALSE));
    EXPECT_EQ(std::nullopt, RegistryText(classKey, nullptr));
    EXPECT_EQ(std::nullopt, RegistryText(serverKey, nullptr));
    EXPECT_FALSE(MapperKnowsFilter(MERIT_DO_NOT_USE));
}

TEST_F(DllSetupTest, RegistrationLeavesTheThreadsApartmentAsItWas) {
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
        }).join();
    }
}

TEST_F(DllSetupTest, ModuleInADeepFolderIsRegisteredWithItsWholePath) {
    wchar_t system[MAX_PATH]{}, temporary[MAX_PATH]{};
    ::GetSystemDirectoryW(system, MAX_PATH);
    ::GetTempPathW(MAX_PATH, temporary);
    const std::wstring root = std::wstring(L"\\\\?\\") + temporary + L"baseclasses_deep";
    std::wstring folder = root;
    ::CreateDirectoryW(folder.c_str(), nullptr);
    for (const wchar_t letter : {L'a', L'b', L'c'}) {
        folder += L"\\" + std::wstring(150, letter);
        ::CreateDirectoryW(folder.c_str(), nullptr);
    }
    const std::wstring path = folder + L"\\deep.dll";
    ASSERT_TRUE(::CopyFileW((std::wstring(system) + L"\\version.dll").c_str(), path.c_str(), FALSE));
    g_hInst = ::LoadLibraryW(path.c_str());
    EXPECT_EQ(S_OK, AMovieDllRegisterServer2(TRUE));
    const std::wstring registered = RegistryText(serverKey, nullptr).value_or(L"");
    EXPECT_GT(registered.size(), 450u);
    EXPECT_TRUE(registered.ends_with(L"\\deep.dll")) << registered.size();
    ::FreeLibrary(g_hInst);
    ::DeleteFileW(path.c_str());
    for (; folder.size() >= root.size(); folder.resize(folder.rfind(L'\\')))
        ::RemoveDirectoryW(folder.c_str());
}

TEST_F(DllSetupTest, OlderFilterMapperServesAsWell) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IFilterMapper> mapper;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_FilterMapper, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper)));
    for (const BOOL registered : {TRUE, FALSE}) {
        EXPECT_EQ(S_OK, AMovieSetupRegisterFilter(testFilterSetup, mapper.Get(), registered));
        ComPtr<IEnumRegFilters> filters;
        ASSERT_EQ(S_OK, mapper->EnumMatchingFilters(&filters, MERIT_UNLIKELY, FALSE, GUID_NULL, GUID_NULL, FALSE, TRUE,
                                                    MEDIATYPE_Stream, GUID_NULL));
        BOOL found = FALSE;
        REGFILTER* filter = nullptr;
        for (ULONG fetched = 0; filters->Next(1, &filter, &fetched) == S_OK; ::CoTaskMemFree(filter))
            found = found || filter->Clsid == CLSID_TestFilter;
        EXPECT_EQ(registered, found);
    }
}

TEST_F(DllSetupTest, FilterRegistersItselfByItsSetupRecord) {
    const ComPtr<CTestFilter> filter = new CTestFilter;
    EXPECT_EQ(S_FALSE, filter->Register()) << "no record";
    filter->setupData = &testFilterSetup;
    EXPECT_EQ(S_OK, filter->Register());
    EXPECT_TRUE(MapperKnowsFilter(MERIT_UNLIKELY));
    EXPECT_EQ(S_OK, filter->Unregister());
    EXPECT_FALSE(MapperKnowsFilter(MERIT_DO_NOT_USE));
}

}  // namespace
