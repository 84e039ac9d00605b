#include "base/LongPath.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>

namespace {

TEST(LongPathTest, APathIsMadeFull) {
    const std::wstring folder = std::filesystem::current_path().wstring() + L"\\", name(250, L'x');
    const std::pair<std::wstring, std::wstring> fullPaths[] = {
        {L"a/../b", folder + L"b"}, {name, folder + name}, {LR"(\\?\C:\a\..\b)", LR"(\\?\C:\a\..\b)"}, {L"", L""}};
    for (const auto& [path, full] : fullPaths)
        EXPECT_EQ(full, base::FullPathOf(path));
}

TEST(LongPathTest, ALongPathGetsThePrefixThatItsKindNeeds) {
    const std::wstring longest(MAX_PATH - 4, L'x');  // behind a drive
    const std::pair<std::wstring, std::wstring> openable[] = {{L"C:\\", L"C:\\"},
                                                              {L"C:\\x", LR"(\\?\C:\x)"},
                                                              {LR"(\\server\)", LR"(\\?\UNC\server\)"},
                                                              {LR"(\\?\C:\)", LR"(\\?\C:\)"},
                                                              {LR"(\\.\)", LR"(\\.\)"}};
    for (const auto& [path, opens] : openable)
        EXPECT_EQ(opens + longest, base::OpenablePath(path + longest));
}

}  // namespace
