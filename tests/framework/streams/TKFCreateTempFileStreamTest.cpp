#include "framework/streams/TKFCreateTempFileStream.h"

#include "framework/com/CTaskMem.h"

#include <gtest/gtest.h>

#include <wrl/client.h>

#include <string>

using Microsoft::WRL::ComPtr;

namespace {

[[nodiscard]] std::wstring PathOf(IStream& stream) {
    STATSTG stat{};
    EXPECT_EQ(S_OK, stream.Stat(&stat, STATFLAG_DEFAULT));
    const CTaskMem<wchar_t> name(stat.pwcsName);
    return name.Get() ? name.Get() : L"";
}

[[nodiscard]] bool Exists(const std::wstring& path) {
    return ::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Points the temporary folder elsewhere while it lives.
class CTempFolder final {
public:
    explicit CTempFolder(const std::wstring& folder) {
        for (size_t i = 0; i < 2; ++i) {
            wchar_t old[MAX_PATH];
            m_old[i].assign(old, ::GetEnvironmentVariableW(NAMES[i], old, MAX_PATH));
            ::SetEnvironmentVariableW(NAMES[i], folder.c_str());
        }
    }
    ~CTempFolder() {
        for (size_t i = 0; i < 2; ++i)
            ::SetEnvironmentVariableW(NAMES[i], m_old[i].c_str());
    }

private:
    static constexpr const wchar_t* NAMES[] = {L"TMP", L"TEMP"};
    std::wstring m_old[2];
};

TEST(CreateTempFileStream, GivesAnEmptyFileThatGoesWithTheLastReference) {
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, TKFCreateTempFileStream(&stream));
    const std::wstring path = PathOf(*stream.Get());
    EXPECT_TRUE(Exists(path));
    EXPECT_EQ(L"TKF", path.substr(path.rfind(L'\\') + 1, 3));

    STATSTG stat{};
    EXPECT_EQ(S_OK, stream->Stat(&stat, STATFLAG_NONAME));
    EXPECT_EQ(0u, stat.cbSize.QuadPart);
    EXPECT_EQ(static_cast<DWORD>(STGM_READWRITE | STGM_SHARE_EXCLUSIVE | STGM_CREATE), stat.grfMode);

    char back[4]{};
    ULONG count = 99;
    EXPECT_EQ(S_OK, stream->Write("data", 4, &count));
    EXPECT_EQ(S_OK, stream->Seek({}, STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(S_OK, stream->Read(back, 4, &count));
    EXPECT_EQ("data", std::string(back, 4));

    ComPtr<IStream> other = stream;
    stream.Reset();
    EXPECT_TRUE(Exists(path));
    other.Reset();
    EXPECT_FALSE(Exists(path));
}

TEST(CreateTempFileStream, GivesEachCallerAFileOfItsOwn) {
    ComPtr<IStream> first;
    ComPtr<IStream> second;
    ASSERT_EQ(S_OK, TKFCreateTempFileStream(&first));
    ASSERT_EQ(S_OK, TKFCreateTempFileStream(&second));
    EXPECT_NE(PathOf(*first.Get()), PathOf(*second.Get()));
}

TEST(CreateTempFileStream, WorksInAFolderWhoseNameLooksLikeAUri) {
    wchar_t temp[MAX_PATH];
    ASSERT_NE(0u, ::GetTempPathW(MAX_PATH, temp));
    const std::wstring folder = std::wstring(temp) + L"a#b%20c \u00e9";
    ASSERT_TRUE(::CreateDirectoryW(folder.c_str(), nullptr));
    {
        const CTempFolder elsewhere(folder);
        ComPtr<IStream> stream;
        EXPECT_EQ(S_OK, TKFCreateTempFileStream(&stream));
        EXPECT_TRUE(stream && PathOf(*stream.Get()).starts_with(folder));
    }
    EXPECT_TRUE(::RemoveDirectoryW(folder.c_str()));  // fails if a file is left
}

TEST(CreateTempFileStream, FailsWithoutAUsableFolder) {
    EXPECT_EQ(E_POINTER, TKFCreateTempFileStream(nullptr));
    for (const std::wstring& folder : {std::wstring(LR"(C:\no such folder)"), LR"(C:\)" + std::wstring(400, L'x')}) {
        const CTempFolder elsewhere(folder);
        IStream* stream = reinterpret_cast<IStream*>(1);
        EXPECT_HRESULT_FAILED(TKFCreateTempFileStream(&stream)) << folder.size();
        EXPECT_EQ(nullptr, stream);
    }
}

}  // namespace
