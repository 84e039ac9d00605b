#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CImportHook.h"
#include "tests/support/CTempFolder.h"

namespace {

using TKFCreateTempFileStreamTest = StreamTest;

HANDLE WINAPI NoFile(const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

TEST_F(TKFCreateTempFileStreamTest, GivesEachCallerAnEmptyFileThatGoesWithTheLastReference) {
    wchar_t variable[MAX_PATH]{};
    ::GetEnvironmentVariableW(L"TMP", variable, MAX_PATH);
    const CTempFolder temp({L"a#b%20c \u00e9"});  // looks like a URI; complains about a file that is left
    ::SetEnvironmentVariableW(L"TMP", temp.Path().c_str());
    ComPtr<IStream> second;
    {
        const CImportHook hook("CreateFileW", &NoFile);
        EXPECT_EQ(STG_E_ACCESSDENIED, TKFCreateTempFileStream(&second)) << "and the file that was made is gone";
    }
    EXPECT_EQ(S_OK, TKFCreateTempFileStream(&stream));
    EXPECT_EQ(S_OK, TKFCreateTempFileStream(&second));
    EXPECT_EQ(E_POINTER, TKFCreateTempFileStream(nullptr));
    ::SetEnvironmentVariableW(L"TMP", variable);
    ASSERT_TRUE(stream && second);

    const std::wstring path = Name();
    EXPECT_TRUE(path.starts_with(temp.Path() + L"\\TKF"));
    EXPECT_TRUE(Exists(path));
    EXPECT_EQ(0u, stat.cbSize.QuadPart);
    EXPECT_EQ(static_cast<DWORD>(STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_CREATE), stat.grfMode);
    EXPECT_EQ(At(S_OK, 4), Write("data"));
    stream = second;
    EXPECT_FALSE(Exists(path));
    EXPECT_NE(path, Name());
    stream.Reset();
    second.Reset();
}

}  // namespace
