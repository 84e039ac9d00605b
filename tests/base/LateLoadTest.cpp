#include "base/LateLoad.h"

#include "base/CAutoDestructor.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CTempFolder.h"

namespace {

std::wstring BuiltModule() {
    const std::string bin = TV_BIN_DIR;
    return std::filesystem::absolute(bin + "/base_module.dll").make_preferred().wstring();
}

// A system that knows no search flags, as Windows 7 was made.
HMODULE WINAPI LoadWithoutFlags(const wchar_t* name, HANDLE file, DWORD flags) {
    if ((flags & ~DWORD{LOAD_WITH_ALTERED_SEARCH_PATH}) == 0)
        return ::LoadLibraryExA(std::filesystem::path(name).string().c_str(), file, flags);
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
}

TEST(LateLoadTest, ABareNameIsLookedForInTheApplicationsAndTheSystemsFolders) {
    CTempFolder folder;
    const std::wstring planted = folder.Copy(BuiltModule(), L"tvt_planted.dll");
    const CCurrentFolder current(folder.Path());
    ASSERT_TRUE(base::CAutoLibrary(::LoadLibraryW(L"tvt_planted.dll"))) << "the platform's own search finds it";
    for (const bool old : {false, true}) {
        SCOPED_TRACE(old);
        const CImportHook loader("LoadLibraryExW", old ? &LoadWithoutFlags : &::LoadLibraryExW);
        for (const wchar_t* name : {L"tvt_planted.dll", L"tvt_planted", L".\\tvt_planted.dll", L"tvt_no_such.dll", L""})
            EXPECT_FALSE(base::LateLoad(name)) << name;
        EXPECT_TRUE(base::LateLoad(planted.c_str()));
        EXPECT_TRUE(base::LateLoad(L"base_module.dll")) << "beside the program";
        EXPECT_TRUE(base::LateLoad(L"version.dll")) << "the system's";
        EXPECT_FALSE(base::LateLoad((planted.substr(2)).c_str())) << "of the current drive";
        EXPECT_EQ(nullptr, ::GetModuleHandleW(L"tvt_planted.dll"));
    }
}

TEST(LateLoadTest, ALibraryOfTheSystemComesFromItsFolderAlone) {
    CTempFolder folder;
    folder.Copy(BuiltModule(), L"tvt_planted.dll");
    const CCurrentFolder current(folder.Path());
    for (const bool old : {false, true}) {
        SCOPED_TRACE(old);
        const CImportHook loader("LoadLibraryExW", old ? &LoadWithoutFlags : &::LoadLibraryExW);
        EXPECT_TRUE(base::LateLoadSystem(L"version.dll"));
        for (const wchar_t* name : {L"base_module.dll", L"tvt_planted.dll", L"tvt_no_such.dll"})
            EXPECT_FALSE(base::LateLoadSystem(name)) << name;
    }
}

}  // namespace
