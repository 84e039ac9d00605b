// One version, wherever somebody looks for it.
#include "TavelVersion.h"
#include "tests/package/Shipped.h"
#include "tests/tvsource/CHost.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace {

std::string Shown(DWORD most, DWORD least) {
    return std::to_string(HIWORD(most)) + "." + std::to_string(LOWORD(most)) + "." + std::to_string(HIWORD(least)) +
           "." + std::to_string(LOWORD(least));
}

template <class Value>
Value* PartOf(const std::vector<BYTE>& block, const wchar_t* name) {
    void* value = nullptr;
    UINT size = 0;
    EXPECT_TRUE(::VerQueryValueW(block.data(), name, &value, &size)) << name;
    return static_cast<Value*>(value);
}

}  // namespace

TEST(Version, IsTheSameInTheResourcesOfEveryBinary) {
    const std::string expected = TAVEL_VERSION ".0";
    for (const wchar_t* const name : kShipped) {
        SCOPED_TRACE(Utf8(name));
        const std::wstring path = BuiltFile(name);
        std::vector<BYTE> block(::GetFileVersionInfoSizeW(path.c_str(), nullptr));
        ASSERT_TRUE(::GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(block.size()), block.data()));
        const auto* const fixed = PartOf<VS_FIXEDFILEINFO>(block, L"\\");
        ASSERT_TRUE(fixed);
        EXPECT_EQ(expected, Shown(fixed->dwFileVersionMS, fixed->dwFileVersionLS));
        EXPECT_EQ(expected, Shown(fixed->dwProductVersionMS, fixed->dwProductVersionLS));
        for (const wchar_t* const text : {L"FileVersion", L"ProductVersion"})
            EXPECT_STREQ(L"" TAVEL_VERSION,
                         PartOf<wchar_t>(block, (std::wstring(L"\\StringFileInfo\\040904B0\\") + text).c_str()));
        EXPECT_STREQ(name, PartOf<wchar_t>(block, L"\\StringFileInfo\\040904B0\\OriginalFilename"));
    }
}

TEST(Version, IsWhatProgramsSayAndTheNewestOfTheChanges) {
    for (const std::wstring name : {L"tvsource", L"TKRuntimeLogger"}) {
        const HostRun run = RunHost({L"--version"}, BuiltFile(name + L".exe"));
        EXPECT_EQ(Utf8(name) + " " TAVEL_VERSION "\n", run.out);
    }
    const std::string changes = BytesOf(DocumentFile(L"..\\CHANGELOG.md"));
    EXPECT_TRUE(changes.starts_with("# Changes\n\n## " TAVEL_VERSION " ")) << changes.substr(0, 40);
}
