// What the headers of every shipped binary ask of the system that loads it.
#include "tests/package/CImage.h"
#include "tests/package/Shipped.h"
#include "tests/tvsource/CHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <vector>

namespace {

std::wstring SystemFolder() {
    wchar_t folder[MAX_PATH]{};
    ::GetSystemDirectoryW(folder, MAX_PATH);
    return folder;
}

std::vector<const wchar_t*> Programs() {
    std::vector<const wchar_t*> programs;
    std::ranges::copy_if(kShipped, std::back_inserter(programs),
                         [](const std::wstring_view name) { return name.ends_with(L".exe"); });
    return programs;
}

std::string ManifestOf(const std::wstring& path) {
    const base::CAutoLibrary file(::LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    const HRSRC found = ::FindResourceW(file.Get(), MAKEINTRESOURCEW(1), RT_MANIFEST);
    const HGLOBAL loaded = found ? ::LoadResource(file.Get(), found) : nullptr;
    return loaded ? std::string(static_cast<const char*>(::LockResource(loaded)), ::SizeofResource(file.Get(), found))
                  : std::string();
}

struct Headers : ::testing::TestWithParam<const wchar_t*> {
    const std::wstring path = BuiltFile(GetParam());
    const CImage image{BytesOf(path)};
};
struct ProgramHeaders : Headers {};

}  // namespace

TEST_P(Headers, LetTheModuleLieAnywhereAndItsDataBeNoCode) {
    constexpr WORD kNeeded = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_NX_COMPAT;
    EXPECT_EQ(kNeeded, image.Traits() & kNeeded);
    EXPECT_EQ(image.Is64(), (image.Traits() & IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA) != 0);
    if (image.Is64()) {
        EXPECT_TRUE(image.File().Characteristics & IMAGE_FILE_LARGE_ADDRESS_AWARE) << "else its addresses are few";
    }
    // Without relocations it lies where it was linked to, whatever else is asked for.
    EXPECT_FALSE(image.File().Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
    EXPECT_GT(image.Directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).Size, 100u);
    for (const IMAGE_SECTION_HEADER& section : image.Sections()) {
        constexpr DWORD kBoth = IMAGE_SCN_MEM_WRITE | IMAGE_SCN_MEM_EXECUTE;
        EXPECT_NE(kBoth, section.Characteristics & kBoth)
            << std::string(reinterpret_cast<const char*>(section.Name), IMAGE_SIZEOF_SHORT_NAME);
    }
}

TEST_P(Headers, NameNoLibraryButTheSystems) {
    ASSERT_FALSE(image.Imports().empty());
    for (const std::vector<std::string>& libraries : {image.Imports(), image.LateImports()}) {
        for (const std::string& library : libraries)
            EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(SystemFolder()) / library)) << library;
    }
}

TEST_P(ProgramHeaders, AskForNoRightsLongPathsAndUtf8) {
    const std::string manifest = ManifestOf(path);
    for (const char* const part :
         {"level=\"asInvoker\" uiAccess=\"false\"", ">true</longPathAware>", ">UTF-8</activeCodePage>"})
        EXPECT_NE(manifest.npos, manifest.find(part)) << part;
    // A release has no function in it that nothing calls.
    EXPECT_TRUE(image.Contains("SetDefaultDllDirectories")) << "libraries may come from the current folder";
}

constexpr auto kStem = [](const auto& info) { return Utf8(std::filesystem::path(info.param).stem().wstring()); };
INSTANTIATE_TEST_SUITE_P(Shipped, Headers, ::testing::ValuesIn(kShipped), kStem);
INSTANTIATE_TEST_SUITE_P(Shipped, ProgramHeaders, ::testing::ValuesIn(Programs()), kStem);
