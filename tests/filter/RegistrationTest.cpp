// Registration in the real registry and with the real filter mapper, and out again.
#include "tests/support/CTempFolder.h"
#include "tests/support/FilterTest.h"

namespace {

constexpr wchar_t kClassKey[] = L"CLSID\\{065C46E9-C13D-4245-9675-0C0B7BDFC2F3}";
constexpr wchar_t kServerKey[] = L"CLSID\\{065C46E9-C13D-4245-9675-0C0B7BDFC2F3}\\InprocServer32";
constexpr wchar_t kMapperKey[] =
    L"CLSID\\{083863F1-70DE-11D0-BD40-00A0C911CE86}\\Instance\\{065C46E9-C13D-4245-9675-0C0B7BDFC2F3}";

// A text as it is stored, without the terminator that must be stored with it; "<none>" where there is no such key.
std::wstring RegistryText(const wchar_t* key, const wchar_t* name = nullptr) {
    HKEY opened = nullptr;
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, key, 0, KEY_READ, &opened) != ERROR_SUCCESS)
        return L"<none>";
    wchar_t text[2000]{};
    DWORD bytes = sizeof text, type = REG_NONE;
    ::RegQueryValueExW(opened, name, nullptr, &type, reinterpret_cast<BYTE*>(text), &bytes);
    ::RegCloseKey(opened);
    return type == REG_SZ ? std::wstring(text, bytes / sizeof(wchar_t) - 1) : L"";
}

// How often the mapper finds the filter among those of at least this merit and this output.
int TimesMapped(DWORD merit, BOOL needsInput, GUID majorType) {
    ComPtr<IFilterMapper2> mapper;
    EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper)));
    ComPtr<IEnumMoniker> monikers;
    const GUID types[]{majorType, GUID_NULL};
    EXPECT_HRESULT_SUCCEEDED(mapper->EnumMatchingFilters(&monikers, 0, TRUE, merit, needsInput, 0, nullptr, nullptr,
                                                         nullptr, FALSE, TRUE, 1, types, nullptr, nullptr));
    int found = 0;
    for (ComPtr<IMoniker> moniker; monikers && monikers->Next(1, &moniker, nullptr) == S_OK;) {
        ComPtr<IBaseFilter> filter;
        CLSID clsid{};
        if (SUCCEEDED(moniker->BindToObject(nullptr, nullptr, IID_PPV_ARGS(&filter))))
            found += SUCCEEDED(filter->GetClassID(&clsid)) && clsid == CLSID_TvFileSourceAsync;
    }
    return found;
}

TEST(RegistrationTest, TheFilterComesFromTheFolderRegisteredLastUntilUnregistered) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CTempFolder folder({L"with blanks, (brackets) and \u00E4\u03A9\u4E2D\U0001F600"});
    const std::wstring copy = folder.Copy(FilterDllPath(), L"TvFileSourceAsync.dll");
    EXPECT_EQ(S_OK, CFilterHost().Call("DllUnregisterServer"));
    for (const std::wstring& path : {FilterDllPath(), copy, copy}) {
        ASSERT_EQ(S_OK, CFilterHost(path).Call("DllRegisterServer"));
        EXPECT_EQ(L"Tavel File Source (Async.)", RegistryText(kClassKey));
        EXPECT_NE(L"<none>", RegistryText(kMapperKey));
        EXPECT_EQ(path, RegistryText(kServerKey));
        EXPECT_EQ(L"Both", RegistryText(kServerKey, L"ThreadingModel"));
        EXPECT_EQ(1, TimesMapped(0x00400000, FALSE, MEDIATYPE_Stream));
        EXPECT_EQ(0, TimesMapped(0x00400001, FALSE, MEDIATYPE_Stream)) << "more than its merit";
        EXPECT_EQ(0, TimesMapped(0x00400000, TRUE, MEDIATYPE_Stream)) << "it has no input pin";
        EXPECT_EQ(0, TimesMapped(0x00400000, FALSE, MEDIATYPE_Video));
        ::CoFreeUnusedLibrariesEx(0, 0);
        EXPECT_EQ(nullptr, ::GetModuleHandleW(path.c_str())) << "unloaded once nothing of it is used";
    }
    for (int i = 0; i < 2; ++i) {  // the second time there is nothing to take back
        EXPECT_EQ(S_OK, CFilterHost().Call("DllUnregisterServer"));
        EXPECT_EQ(0, TimesMapped(0, FALSE, MEDIATYPE_Stream));
        EXPECT_EQ(L"<none>", RegistryText(kClassKey));
        EXPECT_EQ(L"<none>", RegistryText(kMapperKey)) << "nothing is left behind";
    }
}

}  // namespace
