// The DLL as the platform's loader and COM see it.
#include "tests/filter/CFilterHost.h"
#include "tests/support/CTestApartment.h"

#include <winver.h>

#include <set>
#include <span>
#include <string>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

// A loaded module's own tables.
class CLoadedImage final {
public:
    explicit CLoadedImage(HMODULE module) : m_base(reinterpret_cast<const BYTE*>(module)) {}

    [[nodiscard]] std::set<std::string> Exports() const {
        const auto directory = At<IMAGE_EXPORT_DIRECTORY>(Directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress);
        std::set<std::string> names;
        for (DWORD i = 0; i < directory->NumberOfNames; ++i)
            names.insert(At<char>(At<DWORD>(directory->AddressOfNames)[i]));
        EXPECT_EQ(directory->NumberOfFunctions, directory->NumberOfNames) << "none without a name";
        return names;
    }

    [[nodiscard]] std::vector<std::string> Imports() const {
        std::vector<std::string> libraries;
        for (auto import = At<IMAGE_IMPORT_DESCRIPTOR>(Directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress);
             import->Name; ++import)
            libraries.emplace_back(At<char>(import->Name));
        return libraries;
    }

private:
    [[nodiscard]] const IMAGE_DATA_DIRECTORY& Directory(size_t entry) const {
        const auto headers = At<IMAGE_NT_HEADERS>(static_cast<DWORD>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
        return headers->OptionalHeader.DataDirectory[entry];
    }
    template <class T>
    [[nodiscard]] const T* At(DWORD address) const {
        return reinterpret_cast<const T*>(m_base + address);
    }

    const BYTE* const m_base;
};

std::wstring VersionText(std::span<BYTE> version, const wchar_t* name) {
    wchar_t* text = nullptr;
    UINT length = 0;
    const std::wstring path = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
    return ::VerQueryValueW(version.data(), path.c_str(), reinterpret_cast<void**>(&text), &length) && length
               ? std::wstring(text)
               : std::wstring();
}

TEST(ModuleTest, ExportsTheFiveEntryPointsByTheirPlainNames) {
    const CFilterHost host;
    const std::set<std::string> expected{"DllMain", "DllGetClassObject", "DllCanUnloadNow", "DllRegisterServer",
                                         "DllUnregisterServer"};
    EXPECT_EQ(expected, CLoadedImage(host.Module()).Exports());
}

TEST(ModuleTest, NeedsNoLibraryThatWindowsDoesNotHave) {
    const CFilterHost host;
    wchar_t system[MAX_PATH]{};
    ASSERT_NE(0u, ::GetSystemDirectoryW(system, MAX_PATH));
    const auto imports = CLoadedImage(host.Module()).Imports();
    EXPECT_FALSE(imports.empty());
    for (const std::string& library : imports) {
        const std::wstring path = std::wstring(system) + L"\\" + std::wstring(library.begin(), library.end());
        EXPECT_NE(INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW(path.c_str())) << library;
    }
}

TEST(ModuleTest, SaysWhatItIsInItsVersionResource) {
    const std::wstring path = FilterDllPath();
    DWORD unused = 0;
    std::vector<BYTE> version(::GetFileVersionInfoSizeW(path.c_str(), &unused));
    ASSERT_FALSE(version.empty());
    ASSERT_TRUE(::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(version.size()), version.data()));
    EXPECT_EQ(L"Tavel File Source (Async.)", VersionText(version, L"FileDescription"));
    EXPECT_EQ(L"TvFileSourceAsync.dll", VersionText(version, L"OriginalFilename"));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(::VerQueryValueW(version.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
    EXPECT_EQ(static_cast<DWORD>(VFT_DLL), fixed->dwFileType);
    const auto number = std::to_wstring(HIWORD(fixed->dwFileVersionMS)) + L"." +
                        std::to_wstring(LOWORD(fixed->dwFileVersionMS)) + L"." +
                        std::to_wstring(HIWORD(fixed->dwFileVersionLS));
    EXPECT_EQ(number, VersionText(version, L"FileVersion"));
}

TEST(ModuleTest, ServesOneClassAsAClassFactoryAndNothingElse) {
    const CFilterHost host;
    const struct {
        const char* name;
        GUID clsid;
        GUID iid;
        HRESULT expected;
    } cases[] = {
        {"factory", CLSID_TvFileSourceAsync, __uuidof(IClassFactory), S_OK},
        {"unknown", CLSID_TvFileSourceAsync, __uuidof(IUnknown), S_OK},
        {"another interface", CLSID_TvFileSourceAsync, __uuidof(IClassFactory2), E_NOINTERFACE},
        {"the filter's own interface", CLSID_TvFileSourceAsync, __uuidof(IBaseFilter), E_NOINTERFACE},
        {"another class", CLSID_StdGlobalInterfaceTable, __uuidof(IClassFactory), CLASS_E_CLASSNOTAVAILABLE},
        {"no class", GUID_NULL, __uuidof(IUnknown), CLASS_E_CLASSNOTAVAILABLE},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        int poison = 0;
        void* object = &poison;
        EXPECT_EQ(c.expected, host.GetClassObject(c.clsid, c.iid, &object));
        if (SUCCEEDED(c.expected))
            EXPECT_EQ(0u, static_cast<IUnknown*>(object)->Release());
        else
            EXPECT_EQ(nullptr, object);
        EXPECT_EQ(E_POINTER, host.GetClassObject(c.clsid, c.iid, nullptr));
    }
    EXPECT_EQ(S_OK, host.CanUnloadNow());
}

TEST(ModuleTest, StaysLoadedWhileAnythingOfItIsAlive) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CFilterHost host;
    EXPECT_EQ(S_OK, host.CanUnloadNow());
    ComPtr<IClassFactory> factory = host.Factory();
    EXPECT_EQ(S_FALSE, host.CanUnloadNow()) << "a class factory is alive";
    ASSERT_EQ(S_OK, factory->LockServer(TRUE));
    ASSERT_EQ(S_OK, factory->LockServer(TRUE));
    factory.Reset();
    EXPECT_EQ(S_FALSE, host.CanUnloadNow()) << "locked";
    ASSERT_EQ(S_OK, host.Factory()->LockServer(FALSE));
    EXPECT_EQ(S_FALSE, host.CanUnloadNow()) << "still locked once";
    ASSERT_EQ(S_OK, host.Factory()->LockServer(FALSE));
    EXPECT_EQ(S_OK, host.CanUnloadNow());

    ASSERT_EQ(S_OK, host.Create());
    EXPECT_EQ(S_FALSE, host.CanUnloadNow()) << "a filter is alive";
    ComPtr<IPin> pin = host.Pin();
    EXPECT_NE(0u, host.Release());
    EXPECT_EQ(S_FALSE, host.CanUnloadNow()) << "its pin is";
    ComPtr<IEnumMediaTypes> types;
    ASSERT_EQ(S_OK, pin->EnumMediaTypes(&types));
    pin.Reset();
    EXPECT_EQ(S_FALSE, host.CanUnloadNow()) << "an enumerator is";
    types.Reset();
    EXPECT_EQ(S_OK, host.CanUnloadNow());
}

TEST(ModuleTest, CanBeLoadedUsedAndUnloadedTimeAndAgain) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const std::wstring path = FilterDllPath();
    for (int round = 0; round < 5; ++round) {
        {
            CFilterHost host;
            ASSERT_EQ(S_OK, host.Create());
            EXPECT_EQ(0u, host.Release());
        }
        EXPECT_EQ(nullptr, ::GetModuleHandleW(path.c_str()));
    }
}

}  // namespace
