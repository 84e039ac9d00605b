// Registration in the real registry and with the real filter mapper, and out again.
#include "diagnostics/CAutoDestructor.h"
#include "tests/filter/CFilterHost.h"
#include "tests/filter/CTempFolder.h"
#include "tests/support/CTestApartment.h"

#include <uuids.h>

#include <map>
#include <optional>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

const wchar_t kClassId[] = L"{065C46E9-C13D-4245-9675-0C0B7BDFC2F3}";
const wchar_t kClassKey[] = L"CLSID\\{065C46E9-C13D-4245-9675-0C0B7BDFC2F3}";
const wchar_t kServerKey[] = L"CLSID\\{065C46E9-C13D-4245-9675-0C0B7BDFC2F3}\\InprocServer32";

// A text of a moniker's properties, or empty.
std::wstring TextOf(IPropertyBag* bag, const wchar_t* name) {
    VARIANT value{};
    std::wstring text;
    if (bag && SUCCEEDED(bag->Read(name, &value, nullptr)) && value.vt == VT_BSTR && value.bstrVal)
        text = value.bstrVal;
    ::VariantClear(&value);
    return text;
}

// All keys and values below a key: paths of keys, and "path@name" of values with their types and data.
using Snapshot = std::map<std::wstring, std::vector<BYTE>>;

void Add(Snapshot& snapshot, HKEY root, const std::wstring& top) {
    std::vector<std::wstring> left{top};
    while (!left.empty()) {
        const std::wstring path = std::move(left.back());
        left.pop_back();
        HKEY key = nullptr;
        if (::RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
            continue;
        snapshot[path];
        wchar_t name[1024];
        DWORD length = static_cast<DWORD>(std::size(name));
        for (DWORD i = 0; ::RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
             ++i, length = static_cast<DWORD>(std::size(name)))
            left.push_back(path + L"\\" + name);
        std::vector<BYTE> data(0x10000);
        for (DWORD i = 0;; ++i) {
            length = static_cast<DWORD>(std::size(name));
            DWORD bytes = static_cast<DWORD>(data.size());
            DWORD type = 0;
            if (::RegEnumValueW(key, i, name, &length, nullptr, &type, data.data(), &bytes) != ERROR_SUCCESS)
                break;
            std::vector<BYTE>& value = snapshot[path + L"@" + name];
            value.assign(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(bytes));
            value.push_back(static_cast<BYTE>(type));
        }
        ::RegCloseKey(key);
    }
}

// The registry wherever a class or a filter may be written down.
Snapshot RegistryNow() {
    Snapshot snapshot;
    Add(snapshot, HKEY_CLASSES_ROOT, L"CLSID");
    Add(snapshot, HKEY_CLASSES_ROOT, L"Filter");
    Add(snapshot, HKEY_CLASSES_ROOT, L"AppID");
    Add(snapshot, HKEY_CURRENT_USER, L"Software\\Classes");
    Add(snapshot, HKEY_CURRENT_USER, L"Software\\Tavel");
    Add(snapshot, HKEY_LOCAL_MACHINE, L"Software\\Tavel");
    return snapshot;
}

// Where two states differ.
std::vector<std::wstring> Differences(const Snapshot& before, const Snapshot& after) {
    std::vector<std::wstring> paths;
    for (const auto& [path, value] : before) {
        if (const auto found = after.find(path); found == after.end() || found->second != value)
            paths.push_back(path);
    }
    for (const auto& [path, value] : after) {
        if (!before.contains(path))
            paths.push_back(path);
    }
    return paths;
}

std::optional<std::wstring> RegistryText(const wchar_t* key, const wchar_t* name) {
    wchar_t text[2000];
    DWORD bytes = sizeof text;
    if (::RegGetValueW(HKEY_CLASSES_ROOT, key, name, RRF_RT_REG_SZ, nullptr, text, &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    return text;
}

std::vector<ComPtr<IMoniker>> OursAmong(IEnumMoniker* monikers) {
    std::vector<ComPtr<IMoniker>> found;
    for (ComPtr<IMoniker> moniker; monikers && monikers->Next(1, &moniker, nullptr) == S_OK;) {
        ComPtr<IPropertyBag> bag;
        EXPECT_EQ(S_OK, moniker->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(&bag)));
        if (_wcsicmp(TextOf(bag.Get(), L"CLSID").c_str(), kClassId) == 0)
            found.push_back(moniker);
    }
    return found;
}

// Those in the category of filters that have no category of their own.
std::vector<ComPtr<IMoniker>> RegisteredFilters() {
    ComPtr<ICreateDevEnum> categories;
    EXPECT_EQ(S_OK,
              ::CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&categories)));
    ComPtr<IEnumMoniker> monikers;
    EXPECT_EQ(S_OK, categories->CreateClassEnumerator(CLSID_LegacyAmFilterCategory, &monikers, 0));
    return OursAmong(monikers.Get());
}

HRESULT CallExport(HMODULE module, const char* name) {
    const auto function =
        reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
    return function ? function() : E_HANDLE;
}

// The exit code of regsvr32.
DWORD RunRegsvr32(const std::wstring& arguments) {
    wchar_t system[MAX_PATH]{};
    ::GetSystemDirectoryW(system, MAX_PATH);
    std::wstring command = L"\"" + std::wstring(system) + L"\\regsvr32.exe\" /s " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return ~0u;
    const CAutoHandle thread(process.hThread);
    const CAutoHandle program(process.hProcess);
    DWORD exitCode = ~0u;
    ::WaitForSingleObject(program.Get(), INFINITE);
    ::GetExitCodeProcess(program.Get(), &exitCode);
    return exitCode;
}

struct RegistrationTest : ::testing::Test {
    RegistrationTest() { EXPECT_EQ(S_OK, Unregister(CFilterHost())); }
    ~RegistrationTest() override { EXPECT_EQ(S_OK, Unregister(CFilterHost())); }

    static HRESULT Register(const CFilterHost& host) { return CallExport(host.Module(), "DllRegisterServer"); }
    static HRESULT Unregister(const CFilterHost& host) { return CallExport(host.Module(), "DllUnregisterServer"); }

    const CTestApartment apartment{COINIT_MULTITHREADED};
};

TEST_F(RegistrationTest, RegisteredFilterIsFoundAndMadeByThePlatform) {
    const CFilterHost host;
    ASSERT_EQ(S_OK, Register(host));
    EXPECT_EQ(L"Tavel File Source (Async.)", RegistryText(kClassKey, nullptr));
    EXPECT_EQ(FilterDllPath(), RegistryText(kServerKey, nullptr));
    EXPECT_EQ(L"Both", RegistryText(kServerKey, L"ThreadingModel"));

    const auto filters = RegisteredFilters();
    ASSERT_EQ(1u, filters.size());
    ComPtr<IPropertyBag> bag;
    ASSERT_EQ(S_OK, filters[0]->BindToStorage(nullptr, nullptr, IID_PPV_ARGS(&bag)));
    EXPECT_EQ(L"Tavel File Source (Async.)", TextOf(bag.Get(), L"FriendlyName"));
    ComPtr<IBaseFilter> filter;
    EXPECT_EQ(S_OK, filters[0]->BindToObject(nullptr, nullptr, IID_PPV_ARGS(&filter)));
    EXPECT_EQ(S_OK, ::CoCreateInstance(CLSID_TvFileSourceAsync, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter)));
    CLSID clsid{};
    ASSERT_TRUE(filter);
    EXPECT_EQ(S_OK, filter->GetClassID(&clsid));
    EXPECT_TRUE(clsid == CLSID_TvFileSourceAsync);
}

TEST_F(RegistrationTest, MapperMatchesMeritAndPin) {
    const CFilterHost host;
    ASSERT_EQ(S_OK, Register(host));
    ComPtr<IFilterMapper2> mapper;
    ASSERT_EQ(S_OK, ::CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&mapper)));
    const struct {
        const char* name;
        DWORD merit;
        BOOL needsInput;
        GUID outputType;
        bool isFound;
    } cases[] = {
        {"its merit", 0x00400000, FALSE, MEDIATYPE_Stream, true},
        {"more than its merit", 0x00400001, FALSE, MEDIATYPE_Stream, false},
        {"an input pin", 0x00400000, TRUE, MEDIATYPE_Stream, false},
        {"another output", 0x00400000, FALSE, MEDIATYPE_Video, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ComPtr<IEnumMoniker> monikers;
        const GUID types[]{c.outputType, GUID_NULL};
        EXPECT_HRESULT_SUCCEEDED(mapper->EnumMatchingFilters(&monikers, 0, TRUE, c.merit, c.needsInput, 0, nullptr,
                                                             nullptr, nullptr, FALSE, TRUE, 1, types, nullptr,
                                                             nullptr));
        EXPECT_EQ(c.isFound ? 1u : 0u, OursAmong(monikers.Get()).size());
    }
}

TEST_F(RegistrationTest, RegistrationIsTakenBackWholeHoweverOftenItWasDone) {
    const CFilterHost host;
    const Snapshot before = RegistryNow();
    EXPECT_EQ(S_OK, Unregister(host)) << "what isn't registered";
    EXPECT_EQ(std::vector<std::wstring>{}, Differences(before, RegistryNow()));
    ASSERT_EQ(S_OK, Register(host));
    const Snapshot once = RegistryNow();
    EXPECT_NE(std::vector<std::wstring>{}, Differences(before, once));
    ASSERT_EQ(S_OK, Register(host));
    EXPECT_EQ(std::vector<std::wstring>{}, Differences(once, RegistryNow()));
    EXPECT_EQ(S_OK, Unregister(host));
    EXPECT_EQ(std::vector<std::wstring>{}, Differences(before, RegistryNow()));
    ComPtr<IUnknown> filter;
    EXPECT_EQ(REGDB_E_CLASSNOTREG,
              ::CoCreateInstance(CLSID_TvFileSourceAsync, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter)));
}

TEST_F(RegistrationTest, RegistrationProgramOfThePlatformDoesBoth) {
    const Snapshot before = RegistryNow();
    const std::wstring path = L"\"" + FilterDllPath() + L"\"";
    ASSERT_EQ(0u, RunRegsvr32(path));
    EXPECT_EQ(FilterDllPath(), RegistryText(kServerKey, nullptr));
    EXPECT_EQ(1u, RegisteredFilters().size());
    ASSERT_EQ(0u, RunRegsvr32(L"/u " + path));
    EXPECT_EQ(std::vector<std::wstring>{}, Differences(before, RegistryNow()));
}

TEST_F(RegistrationTest, FilterWorksFromAnyFolderAndFromTheOneRegisteredLast) {
    for (const wchar_t* inner : {L"with blanks, and (brackets)", L"\u00E4\u03A9\u4E2D\U0001F600"}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(inner)));
        CTempFolder folder(inner);
        const std::wstring path = folder.Copy(FilterDllPath(), L"TvFileSourceAsync.dll");
        ASSERT_EQ(S_OK, Register(CFilterHost()));
        ASSERT_EQ(0u, RunRegsvr32(L"\"" + path + L"\""));
        EXPECT_EQ(path, RegistryText(kServerKey, nullptr));
        EXPECT_EQ(1u, RegisteredFilters().size());
        ComPtr<IBaseFilter> filter;
        EXPECT_EQ(S_OK,
                  ::CoCreateInstance(CLSID_TvFileSourceAsync, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&filter)));
        EXPECT_NE(nullptr, ::GetModuleHandleW(path.c_str()));
        filter.Reset();
        ::CoFreeUnusedLibrariesEx(0, 0);
        EXPECT_EQ(nullptr, ::GetModuleHandleW(path.c_str())) << "unloaded once nothing of it is used";
    }
}

TEST_F(RegistrationTest, PathOfAnyLengthIsRegisteredWhole) {
    const std::wstring name(150, L'n');
    CTempFolder folder(name + L"\\" + name + L"\\" + name);
    const std::wstring path = folder.Copy(FilterDllPath(), L"TvFileSourceAsync.dll");
    ASSERT_EQ(S_OK, Register(CFilterHost(path)));
    const std::wstring registered = RegistryText(kServerKey, nullptr).value_or(L"");
    const std::wstring plain = path.substr(4);  // the platform may leave the mark of long paths out
    EXPECT_TRUE(registered == path || registered == plain) << registered.size();
    EXPECT_TRUE(CFilterHost(registered).Module());
    EXPECT_EQ(S_OK, Unregister(CFilterHost(path)));
    EXPECT_EQ(std::nullopt, RegistryText(kClassKey, nullptr));
}

}  // namespace
