#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTempFolder.h"

#include <vector>

namespace {

constexpr DWORD kReadWrite = kTKFStreamRead | kTKFStreamWrite | kShareAll;
// A new file that is gone with the stream.
constexpr DWORD kPassing = kTKFStreamWrite | kTKFStreamCreate | kTKFStreamShareDelete | kTKFStreamDeleteOnClose;

// A stream over a file of ten bytes.
struct CLocalFileSystemStreamTest : StreamTest {
    void SetUp() override { ASSERT_EQ(S_OK, Open(file.Path(), kReadWrite)); }
    HRESULT Open(const std::wstring& path, DWORD mode) {
        stream.Reset();
        return TKFCreateLocalFileSystemStream(path.c_str(), mode, &stream);
    }
    base::CAutoHandle Handle(DWORD access) const {
        return base::CAutoHandle(::CreateFileW(file.Path().c_str(), access,
                                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                               OPEN_EXISTING, 0, nullptr));
    }

    const CTempFile file{"0123456789"};
    const std::wstring missing = file.Path() + L".missing";
    const size_t slash = file.Path().rfind(L'\\');
    const std::wstring folder = file.Path().substr(0, slash);
};

TEST_F(CLocalFileSystemStreamTest, RefusesBadArgumentsBeforeAnyFileIsTouched) {
    const auto open = [](const wchar_t* path, DWORD mode) {
        IStream* opened = Poison();
        const HRESULT hr = TKFCreateLocalFileSystemStream(path, mode, &opened);
        EXPECT_EQ(nullptr, opened);
        return hr;
    };
    EXPECT_EQ(E_INVALIDARG, open(nullptr, kTKFStreamRead));
    EXPECT_EQ(E_INVALIDARG, open(L"", kTKFStreamRead));
    for (const DWORD mode : {0u, 0x8u, 0x7FCu})
        EXPECT_EQ(E_INVALIDARG, open(missing.c_str(), mode)) << mode;
    EXPECT_FALSE(Exists(missing));
    EXPECT_EQ(E_POINTER, TKFCreateLocalFileSystemStream(file.Path().c_str(), kReadWrite, nullptr));

    // A missing file gives another failure than a file that can't be opened in this way.
    for (const std::wstring& path : {missing, missing + L"\\deeper", file.Path() + L"?"})
        EXPECT_EQ(E_FAIL, open(path.c_str(), kTKFStreamRead));
    EXPECT_EQ(STG_E_ACCESSDENIED, open(folder.c_str(), kTKFStreamRead | kShareAll));
}

TEST_F(CLocalFileSystemStreamTest, SharesWhatTheModeSays) {
    const struct {
        DWORD mode, grfMode;
        bool read, write, remove;  // what a second handle may do
    } rows[] = {
        {0x01, STGM_READ | STGM_SHARE_EXCLUSIVE, false, false, false},
        {0x09, STGM_READ | STGM_SHARE_DENY_WRITE, true, false, false},
        {0x12, STGM_WRITE | STGM_SHARE_DENY_READ, false, true, false},
        {0x3B, STGM_READWRITE | STGM_SHARE_DENY_NONE, true, true, true},
        {0x20F, STGM_CREATE | STGM_READWRITE | STGM_SHARE_DENY_WRITE, true, false, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        ASSERT_EQ(S_OK, Open(file.Path(), row.mode));
        EXPECT_EQ(row.read, static_cast<bool>(Handle(GENERIC_READ)));
        EXPECT_EQ(row.write, static_cast<bool>(Handle(GENERIC_WRITE)));
        EXPECT_EQ(row.remove, static_cast<bool>(Handle(DELETE)));
        EXPECT_EQ(S_OK, Stat(STATFLAG_NONAME));
        EXPECT_EQ(row.grfMode, stat.grfMode);
        EXPECT_EQ(static_cast<DWORD>(STGTY_STREAM), stat.type);
        EXPECT_FALSE(name);
    }
}

TEST_F(CLocalFileSystemStreamTest, PathsOfAnyLengthOrScriptAreOpened) {
    const std::wstring made = file.Path() + L".d", deep = made + L"\\" + std::wstring(240, L'n');
    for (const std::wstring& each : {made, deep})
        ASSERT_TRUE(::CreateDirectoryW((LR"(\\?\)" + each).c_str(), nullptr));
    std::vector<std::wstring> paths = {made + L"\\\u6620\u753B\u05D0.bin",  // in no one ANSI code page
                                       deep + L"\\clip.bin", LR"(\\?\)" + deep + L"\\clip.bin"};
    for (size_t length = 255; length <= 264; ++length)
        paths.push_back(made + L"\\" + std::wstring(length - made.size() - 1, L'n'));
    for (const std::wstring& path : paths) {
        SCOPED_TRACE(path.size());
        ASSERT_EQ(S_OK, Open(path, kPassing | kShareAll));
        EXPECT_EQ(path, Name());
        ComPtr<IStream> clone;
        EXPECT_EQ(S_OK, stream->Clone(&clone));
        clone.Reset();
        stream.Reset();
        EXPECT_FALSE(Exists(path.starts_with(L"\\\\") ? path : LR"(\\?\)" + path));
    }
    {
        const CCurrentFolder current(folder);
        EXPECT_EQ(S_OK, Open(L"." + file.Path().substr(slash), kTKFStreamRead | kShareAll));
    }
    EXPECT_EQ(file.Path(), Name()) << "a relative path is resolved when it is opened";
    for (const std::wstring& each : {deep, made})
        EXPECT_TRUE(::RemoveDirectoryW((LR"(\\?\)" + each).c_str()));
}

TEST_F(CLocalFileSystemStreamTest, ReadsAndWritesAtItsOnePosition) {
    EXPECT_EQ(Got(S_OK, "012"), Read(3));
    EXPECT_EQ(At(S_OK, 2), Write("xy"));
    EXPECT_EQ(Got(S_FALSE, "56789"), Read(9));
    EXPECT_EQ(At(S_OK, 3), Write("end"));
    char byte = 0;  // counts and positions may be left out
    EXPECT_EQ(S_OK, stream->Seek(By(0), STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(S_OK, stream->Read(&byte, 1, nullptr));
    EXPECT_EQ(S_OK, stream->Write("z", 1, nullptr));
    EXPECT_EQ("0z2xy56789end", file.Contents());
}

TEST_F(CLocalFileSystemStreamTest, RefusesWhatItsModeOrItsClassDoesNotDo) {
    ExpectRefusals(STG_E_INVALIDPOINTER);
    EXPECT_EQ(STG_E_INVALIDPOINTER, stream->Write(nullptr, 1, nullptr));
    ASSERT_EQ(S_OK, Open(file.Path(), kTKFStreamWrite | kShareAll));
    EXPECT_EQ(Got(STG_E_ACCESSDENIED, ""), Read(1));
    ASSERT_EQ(S_OK, Open(file.Path(), kTKFStreamRead | kShareAll));
    EXPECT_EQ(At(STG_E_ACCESSDENIED, 0), Write("x"));
    Seek(2, STREAM_SEEK_SET);
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->SetSize(Bytes(1)));
    EXPECT_EQ(At(S_OK, 2), Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ("0123456789", file.Contents());
}

TEST_F(CLocalFileSystemStreamTest, ASeekToNowhereAndANewSizeLeaveThePosition) {
    using Move = std::pair<LONGLONG, DWORD>;
    ASSERT_EQ(At(S_OK, 7), Seek(7, STREAM_SEEK_SET));
    for (const auto& [move, origin] :
         {Move{-1, STREAM_SEEK_SET}, {-8, STREAM_SEEK_CUR}, {-11, STREAM_SEEK_END}, {1, 3}}) {
        EXPECT_EQ(At(STG_E_INVALIDFUNCTION, 7), Seek(move, origin)) << move << " from " << origin;
        EXPECT_EQ(At(S_OK, 7), Seek(0, STREAM_SEEK_CUR));
    }
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(12)));
    EXPECT_EQ(std::string("0123456789\0\0", 12), file.Contents());
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(4)));
    EXPECT_EQ("0123", file.Contents());
    EXPECT_EQ(STG_E_MEDIUMFULL, stream->SetSize(Bytes(0xFFFFFFFFFFFFFFFF)));
    EXPECT_EQ(At(S_OK, 7), Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ(At(S_OK, 1ULL << 40), Seek(1LL << 40, STREAM_SEEK_SET));
}

TEST_F(CLocalFileSystemStreamTest, StatTellsNameSizeAndTimesAsTheyAreNow) {
    FILETIME times[3] = {{0x11111100, 0x01D00000}, {0x22222200, 0x01D10000}, {0x33333300, 0x01D20000}};
    const base::CAutoHandle other = Handle(FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES);
    ASSERT_EQ(S_OK, stream->SetSize(Bytes(3)));
    ASSERT_TRUE(::SetFileTime(other.Get(), &times[0], &times[1], &times[2]));
    ASSERT_TRUE(::GetFileTime(other.Get(), &times[0], &times[1], &times[2]));  // file systems keep them in their way
    EXPECT_EQ(file.Path(), Name());
    EXPECT_EQ(3u, stat.cbSize.QuadPart);
    const FILETIME told[] = {stat.ctime, stat.atime, stat.mtime};
    EXPECT_EQ(0, memcmp(told, times, sizeof told));
}

TEST_F(CLocalFileSystemStreamTest, ACopyStartsWhereTheStreamStands) {
    Read(4);
    CScriptedStream target;
    EXPECT_EQ(S_OK, stream->CopyTo(&target, Bytes(100), nullptr, nullptr));
    EXPECT_EQ("456789", target.Contents());
}

TEST_F(CLocalFileSystemStreamTest, ACloneNeedsAShare) {
    ASSERT_EQ(S_OK, Open(file.Path(), kTKFStreamRead));  // shares with nobody, its clones included
    EXPECT_EQ(E_FAIL, FailedClone());
}

}  // namespace
