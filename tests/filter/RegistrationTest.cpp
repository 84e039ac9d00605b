// Registration in the real registry and with the real filter mapper, and out again.
#include "tests/filter/FilterTest.h"
#include "tests/support/CTempFolder.h"

namespace {

constexpr wchar_t kClassKey[] = L"CLSID\\{065C46E9-C13D-4245-9675-0C0B7BDFC2F3}";
constexpr wchar_t kServerKey[] = L"CLSID\\{065C46E9-C13D-4245-9675-0C0B7BDFC2F3}\\InprocServer32";

std::wstring RegistryText(const wchar_t* key, const wchar_t* name = nullptr) {
    wchar_t text[2000]{};
    DWORD bytes = sizeof text;
    (void)::RegGetValueW(HKEY_CLASSES_ROOT, key, name, RRF_RT_REG_SZ, nullptr, text, &bytes);
    return text;
}

// All keys and values below a key of the registry, values with their data.
std::vector<std::wstring> Everything(HKEY root, const wchar_t* top) {
    std::vector<std::wstring> found, left{top};
    wchar_t name[1024];
    std::wstring data(0x8000, L'\0');
    while (!left.empty()) {
        const std::wstring path = found.emplace_back(std::exchange(left.back(), {}));
        left.pop_back();
        HKEY key = nullptr;
        if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            continue;
        for (DWORD i = 0, length = 1024; ::RegEnumKeyW(key, i, name, length) == ERROR_SUCCESS; ++i)
            left.push_back(path + L"\\" + name);
        for (DWORD i = 0, length = 1024, bytes = 0x10000;
             ::RegEnumValueW(key, i, name, &length, nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()), &bytes) ==
             ERROR_SUCCESS;
             ++i, length = 1024, bytes = 0x10000)
            found.push_back(path + L"@" + name + L"=" + data.substr(0, bytes / 2));
        ::RegCloseKey(key);
    }
    return found;
}

// Wherever a class or a filter may be written down.
std::vector<std::vector<std::wstring>> RegistryNow() {
    return {Everything(HKEY_CLASSES_ROOT, L"CLSID"), Everything(HKEY_CLASSES_ROOT, L"Filter"),
            Everything(HKEY_CURRENT_USER, L"Software\\Classes"), Everything(HKEY_LOCAL_MACHINE, L"Software\\Tavel")};
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

TEST(RegistrationTest, TheFilterIsMappedAndMadeFromTheFolderRegisteredLastUntilItIsTakenBack) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CTempFolder folder({L"with blanks, (brackets) and \u00E4\u03A9\u4E2D\U0001F600"});
    const std::wstring copy = folder.Copy(FilterDllPath(), L"TvFileSourceAsync.dll");
    EXPECT_EQ(S_OK, CFilterHost().Call("DllUnregisterServer"));
    const auto before = RegistryNow();
    for (const std::wstring& path : {FilterDllPath(), copy, copy}) {
        ASSERT_EQ(S_OK, CFilterHost(path).Call("DllRegisterServer"));
        EXPECT_EQ(L"Tavel File Source (Async.)", RegistryText(kClassKey));
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
        EXPECT_EQ(L"", RegistryText(kClassKey) + RegistryText(kServerKey));
        EXPECT_EQ(0, TimesMapped(0, FALSE, MEDIATYPE_Stream));
        EXPECT_TRUE(before == RegistryNow()) << "nothing is left behind";
    }
}

}  // namespace
