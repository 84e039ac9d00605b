// What programs of ours are protected from.
#include "tests/support/CProgram.h"
#include "tests/support/CTempFolder.h"

namespace {

constexpr unsigned kFailFast = 0xC0000602;  // what Wine makes of it

unsigned ExitCodeOf(const std::vector<std::wstring>& arguments) {
    return CProgram(BuiltProgram(L"careless_program.exe"), arguments).Wait();
}

}  // namespace

extern "C" std::uintptr_t __stack_chk_guard;

TEST(Protection, AFunctionThatWroteBehindItsBufferEndsTheProgram) {
    const unsigned code = ExitCodeOf({L"--overrun", L"40"});
    EXPECT_TRUE(code == unsigned{STATUS_STACK_BUFFER_OVERRUN} || code == kFailFast) << std::hex << code;
    EXPECT_EQ(0u, __stack_chk_guard & 0xFF) << "where text ends";
    EXPECT_NE(ExitCodeOf({L"--guard"}), ExitCodeOf({L"--guard"})) << "known beforehand";
}

TEST(Protection, LibrariesAreNotTakenFromTheCurrentFolderOrThePath) {
    CTempFolder folder;
    const std::wstring planted = folder.Copy(BuiltProgram(L"base_module.dll"), L"tvt_planted.dll");
    const CCurrentFolder current(folder.Path());
    EXPECT_EQ(0u, ExitCodeOf({L"tvt_planted.dll"})) << "the platform's own search finds it";
    EXPECT_EQ(1u, ExitCodeOf({L"--safely", L"tvt_planted.dll"}));
    {
        const CCurrentFolder elsewhere(L"C:\\");
        std::wstring before(32'767, L'\0');
        before.resize(::GetEnvironmentVariableW(L"PATH", before.data(), static_cast<DWORD>(before.size())));
        ::SetEnvironmentVariableW(L"PATH", folder.Path().c_str());
        EXPECT_EQ(0u, ExitCodeOf({L"tvt_planted.dll"})) << "so does it in the PATH";
        EXPECT_EQ(1u, ExitCodeOf({L"--safely", L"tvt_planted.dll"}));
        ::SetEnvironmentVariableW(L"PATH", before.c_str());
    }
    EXPECT_EQ(0u, ExitCodeOf({L"--safely", L"base_module.dll"})) << "beside the program";
    EXPECT_EQ(0u, ExitCodeOf({L"--safely", L"version.dll"})) << "the system's";
    EXPECT_EQ(0u, ExitCodeOf({L"--safely", planted})) << "by its path";
}
