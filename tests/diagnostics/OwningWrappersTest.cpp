#include "base/CAtlException.h"
#include "base/CAutoDestructor.h"
#include "base/ComBoundary.h"
#include "base/LateLoad.h"
#include "base/LongPath.h"
#include "diagnostics/CDiagnosticRegistration.h"
#include "tests/support/CSecondCall.h"
#include "tests/support/CTempFolder.h"

#include <algorithm>
#include <optional>
#include <vector>

using TKRuntimeLogger::CDiagnosticRegistration;

namespace {

std::vector<int> g_closed;

struct CNumberCloser {
    static int Invalid() noexcept { return 0; }
    static bool IsValid(int number) noexcept { return number != 0; }
    static void Close(int number) noexcept { g_closed.push_back(number), ::SetLastError(ERROR_GEN_FAILURE); }
};
using CAutoNumber = base::CAutoDestructor<int, CNumberCloser>;

TEST(AutoDestructorTest, ClosesWhatItOwnsExactlyOnceAndKeepsTheLastError) {
    g_closed.clear();
    ::SetLastError(ERROR_DISK_FULL);
    {
        CAutoNumber first(1), second(std::move(first)), given(5);
        second.Reset(2);
        second = CAutoNumber(3);
        *second.Put() = 4;
        EXPECT_EQ(5, given.Detach());
    }
    EXPECT_EQ((std::vector{1, 2, 3, 4}), g_closed);
    EXPECT_EQ(DWORD{ERROR_DISK_FULL}, ::GetLastError());
    EXPECT_FALSE(base::CAutoHandle(nullptr) || base::CAutoHandle(INVALID_HANDLE_VALUE));
}

TEST(ComBoundaryTest, ExceptionsBecomeResultCodes) {
    EXPECT_EQ(S_FALSE, base::ComBoundary([] { return S_FALSE; }));
    EXPECT_EQ(E_ABORT, base::ComBoundary([]() -> HRESULT { throw base::CAtlException(E_ABORT); }));
    EXPECT_EQ(E_OUTOFMEMORY, base::ComBoundary([]() -> HRESULT { throw std::bad_alloc(); }));
    EXPECT_EQ(E_OUTOFMEMORY, base::ComBoundary([]() -> HRESULT { throw std::length_error("too long"); }));
    EXPECT_EQ(E_UNEXPECTED, base::ComBoundary([]() -> HRESULT { throw 42; }));
}

TEST(DiagnosticRegistrationTest, ListsExactlyTheLiveObjectsTheNewestFirst) {
    int objects[3];
    std::optional<CDiagnosticRegistration> entries[3];
    for (std::size_t i = 0; i < 3; ++i)
        entries[i].emplace(L"TestModule", &objects[i], L"a filter");
    std::vector<const void*> expected{&objects[2], &objects[1], &objects[0]};
    const auto look = [&] {
        EXPECT_EQ(expected.size(), CDiagnosticRegistration::LiveCount());
        EXPECT_TRUE(std::ranges::equal(expected, CDiagnosticRegistration::Snapshot(), {}, {},
                                       &CDiagnosticRegistration::Entry::address));
    };
    look();
    EXPECT_FALSE(EndsBeside([] { static_cast<void>(CDiagnosticRegistration::Snapshot()); },
                            [] { const CDiagnosticRegistration another(nullptr, nullptr, nullptr); }));
    std::optional<CDiagnosticRegistration> another(std::in_place, nullptr, nullptr, nullptr);
    EXPECT_FALSE(EndsBeside([] { static_cast<void>(CDiagnosticRegistration::Snapshot()); }, [&] { another.reset(); }));
    EXPECT_FALSE(EndsBeside([] { static_cast<void>(CDiagnosticRegistration::Snapshot()); },
                            [] { static_cast<void>(CDiagnosticRegistration::LiveCount()); }));
    for (const std::size_t gone : {1u, 2u, 0u}) {  // from the middle, from the front, and the last
        entries[gone].reset();
        std::erase(expected, &objects[gone]);
        look();
    }
}

TEST(LongPathTest, APathIsMadeFullAndALongOneGetsThePrefixThatItsKindNeeds) {
    const std::wstring folder = std::filesystem::current_path().wstring() + L"\\", name(250, L'x');
    const std::pair<std::wstring, std::wstring> fullPaths[] = {
        {L"a/../b", folder + L"b"}, {name, folder + name}, {LR"(\\?\C:\a\..\b)", LR"(\\?\C:\a\..\b)"}, {L"", L""}};
    for (const auto& [path, full] : fullPaths)
        EXPECT_EQ(full, base::FullPathOf(path));
    const std::wstring longest(MAX_PATH - 4, L'x');  // behind a drive
    const std::pair<std::wstring, std::wstring> openable[] = {{L"C:\\", L"C:\\"},
                                                              {L"C:\\x", LR"(\\?\C:\x)"},
                                                              {LR"(\\server\)", LR"(\\?\UNC\server\)"},
                                                              {LR"(\\?\C:\)", LR"(\\?\C:\)"},
                                                              {LR"(\\.\)", LR"(\\.\)"}};
    for (const auto& [path, opens] : openable)
        EXPECT_EQ(opens + longest, base::OpenablePath(path + longest));
}

std::wstring BuiltModule() {
    const std::string bin = TV_BIN_DIR;
    return std::filesystem::absolute(bin + "/diagnostics_module.dll").make_preferred().wstring();
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
        EXPECT_TRUE(base::LateLoad(L"diagnostics_module.dll")) << "beside the program";
        EXPECT_TRUE(base::LateLoad(L"version.dll")) << "the system's";
        EXPECT_FALSE(base::LateLoad((planted.substr(2)).c_str())) << "of the current drive";
        EXPECT_EQ(nullptr, ::GetModuleHandleW(L"tvt_planted.dll"));
    }
}

}  // namespace
