#include "tests/framework/streams/StreamTest.h"

namespace {

struct CreateTempFileStream : StreamTest {
    // Makes the next file elsewhere.
    HRESULT CreateIn(const std::wstring& folder) {
        wchar_t old[MAX_PATH]{};
        ::GetEnvironmentVariableW(L"TMP", old, MAX_PATH);
        ::SetEnvironmentVariableW(L"TMP", folder.c_str());
        ::SetEnvironmentVariableW(L"TEMP", folder.c_str());                // the next choice
        *stream.ReleaseAndGetAddressOf() = reinterpret_cast<IStream*>(1);  // poisoned: must always be written
        const HRESULT hr = TKFCreateTempFileStream(stream.GetAddressOf());
        ::SetEnvironmentVariableW(L"TMP", old);
        ::SetEnvironmentVariableW(L"TEMP", old);
        return hr;
    }
};

TEST_F(CreateTempFileStream, GivesEachCallerAnEmptyFileThatGoesWithTheLastReference) {
    ComPtr<IStream> second;
    ASSERT_EQ(S_OK, TKFCreateTempFileStream(&stream));
    ASSERT_EQ(S_OK, TKFCreateTempFileStream(&second));
    const std::wstring path = Name();
    EXPECT_TRUE(Exists(path));
    EXPECT_EQ(L"TKF", path.substr(path.rfind(L'\\') + 1, 3));
    EXPECT_EQ(0u, stat.cbSize.QuadPart);
    EXPECT_EQ(static_cast<DWORD>(STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_CREATE), stat.grfMode);
    EXPECT_EQ(At(S_OK, 4), Write("data"));
    EXPECT_EQ(At(S_OK, 0), Seek(0, STREAM_SEEK_SET));
    EXPECT_EQ(Got(S_OK, "data"), Read(4));
    stream = second;
    EXPECT_FALSE(Exists(path));
    EXPECT_NE(path, Name());
}

TEST_F(CreateTempFileStream, WorksInAFolderWhoseNameLooksLikeAUri) {
    wchar_t temp[MAX_PATH];
    ASSERT_NE(0u, ::GetTempPathW(MAX_PATH, temp));
    const std::wstring folder = std::wstring(temp) + L"a#b%20c \u00e9";
    ASSERT_TRUE(::CreateDirectoryW(folder.c_str(), nullptr));
    EXPECT_EQ(S_OK, CreateIn(folder));
    EXPECT_TRUE(Name().starts_with(folder));
    stream.Reset();
    EXPECT_TRUE(::RemoveDirectoryW(folder.c_str()));  // fails if a file is left
}

TEST_F(CreateTempFileStream, FailsWithoutAUsableFolder) {
    EXPECT_EQ(E_POINTER, TKFCreateTempFileStream(nullptr));
    for (const std::wstring& folder : {std::wstring(LR"(C:\no such folder)"), LR"(C:\)" + std::wstring(400, L'x')}) {
        EXPECT_HRESULT_FAILED(CreateIn(folder)) << folder.size();
        EXPECT_EQ(nullptr, stream.Get());
    }
}

}  // namespace
