#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"

namespace {

constexpr DWORD kReadWrite = kTKFStreamRead | kTKFStreamWrite | kShareAll;

struct CLocalFileSystemStreamTest : StreamTest {
    void Open(DWORD mode) { ASSERT_EQ(S_OK, TKFCreateLocalFileSystemStream(file.Path().c_str(), mode, &stream)); }
    void SetUp() override { Open(kReadWrite); }

    const CTempFile file{"0123456789"};
};

TEST_F(CLocalFileSystemStreamTest, ReadsAndWritesAtItsOnePosition) {
    EXPECT_EQ(Got(S_OK, "012"), Read(3));
    EXPECT_EQ(At(S_OK, 2), Write("xy"));
    EXPECT_EQ(Got(S_FALSE, "56789"), Read(9));
    EXPECT_EQ(Got(S_FALSE, ""), Read(1));
    EXPECT_EQ(Got(S_OK, ""), Read(0));
    EXPECT_EQ(At(S_OK, 3), Write("end"));
    EXPECT_EQ("012xy56789end", file.Contents());

    char byte = 0;  // counts and positions may be left out
    EXPECT_EQ(S_OK, stream->Seek(By(0), STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(S_OK, stream->Read(&byte, 1, nullptr));
    EXPECT_EQ(S_OK, stream->Write("z", 1, nullptr));
    EXPECT_EQ("0z2xy56789end", file.Contents());
}

TEST_F(CLocalFileSystemStreamTest, RefusesNullPointersAndWhatTheModeOrTheClassDoesNotDo) {
    ULONG read = 0xDEAD, written = 0xDEAD;
    EXPECT_EQ(STG_E_INVALIDPOINTER, stream->Read(nullptr, 1, &read));
    EXPECT_EQ(STG_E_INVALIDPOINTER, stream->Write(nullptr, 1, &written));
    EXPECT_EQ(0u, read + written);
    EXPECT_EQ(STG_E_INVALIDPOINTER, stream->Stat(nullptr, STATFLAG_NONAME));
    EXPECT_EQ(E_POINTER, stream->Clone(nullptr));
    EXPECT_EQ(E_POINTER, stream->CopyTo(nullptr, Bytes(1), nullptr, nullptr));
    EXPECT_EQ(E_NOTIMPL, stream->Commit(STGC_DEFAULT));
    EXPECT_EQ(E_NOTIMPL, stream->Revert());
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->LockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->UnlockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
    Open(kTKFStreamWrite | kShareAll);
    EXPECT_EQ(Got(STG_E_ACCESSDENIED, ""), Read(1));
    Open(kTKFStreamRead | kShareAll);
    EXPECT_EQ(At(STG_E_ACCESSDENIED, 0), Write("x"));
    Seek(2, STREAM_SEEK_SET);
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->SetSize(Bytes(1)));
    EXPECT_EQ(At(S_OK, 2), Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ("0123456789", file.Contents());
}

// A pipe whose other end is gone opens as a file does, and then gives errors that no table names.
TEST_F(CLocalFileSystemStreamTest, OtherErrorsHaveTheirDefaultResults) {
    const std::wstring pipe = LR"(\\.\pipe\tv-stream-test-)" + std::to_wstring(::GetCurrentProcessId());
    CAutoHandle server(::CreateNamedPipeW(pipe.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 64, 64, 0, nullptr));
    ASSERT_TRUE(server);
    ASSERT_EQ(S_OK, TKFCreateLocalFileSystemStream(pipe.c_str(), kTKFStreamRead | kTKFStreamWrite, &stream));
    server.Reset();
    EXPECT_EQ(Got(STG_E_ACCESSDENIED, ""), Read(3));
    EXPECT_EQ(At(STG_E_CANTSAVE, 0), Write("x"));
    EXPECT_EQ(At(STG_E_INVALIDFUNCTION, 0), Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ(E_FAIL, stream->SetSize(Bytes(1)));
    EXPECT_EQ(STG_E_ACCESSDENIED, Stat(STATFLAG_DEFAULT));
    EXPECT_FALSE(name);
    EXPECT_EQ(static_cast<DWORD>(STGM_READWRITE | STGM_SHARE_EXCLUSIVE), stat.grfMode);
}

TEST_F(CLocalFileSystemStreamTest, SeeksFromTheThreeOriginsAndFromNoOther) {
    const struct {
        LONGLONG move;
        DWORD origin;
        At result;
        ULONGLONG position;
    } rows[] = {
        {7, STREAM_SEEK_SET, {S_OK, 7}, 7},
        {-2, STREAM_SEEK_CUR, {S_OK, 2}, 2},
        {-1, STREAM_SEEK_END, {S_OK, 9}, 9},
        {1LL << 40, STREAM_SEEK_SET, {S_OK, 1ULL << 40}, 1ULL << 40},
        {-1, STREAM_SEEK_SET, {STG_E_INVALIDFUNCTION, 0}, 4},
        {-5, STREAM_SEEK_CUR, {STG_E_INVALIDFUNCTION, 0}, 4},
        {-11, STREAM_SEEK_END, {STG_E_INVALIDFUNCTION, 0}, 4},
        {1, 3, {STG_E_INVALIDFUNCTION, 0}, 4},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::Message() << row.move << " from " << row.origin);
        ASSERT_EQ(At(S_OK, 4), Seek(4, STREAM_SEEK_SET));
        EXPECT_EQ(row.result, Seek(row.move, row.origin));
        EXPECT_EQ(At(S_OK, row.position), Seek(0, STREAM_SEEK_CUR));
    }
}

TEST_F(CLocalFileSystemStreamTest, SetSizeLeavesTheFilePointerWhereItWas) {
    Seek(7, STREAM_SEEK_SET);
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(12)));
    EXPECT_EQ(std::string("0123456789\0\0", 12), file.Contents());
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(4)));
    EXPECT_EQ("0123", file.Contents());
    EXPECT_EQ(STG_E_MEDIUMFULL, stream->SetSize(Bytes(0xFFFFFFFFFFFFFFFF)));
    EXPECT_EQ(At(S_OK, 7), Seek(0, STREAM_SEEK_CUR));
}

TEST_F(CLocalFileSystemStreamTest, StatTellsNameSizeAndTimesAsTheyAreNow) {
    FILETIME created{0x11111100, 0x01D00000}, accessed{0x22222200, 0x01D10000}, modified{0x33333300, 0x01D20000};
    const CAutoHandle other(::CreateFileW(file.Path().c_str(), FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_EQ(S_OK, stream->SetSize(Bytes(3)));
    ASSERT_TRUE(::SetFileTime(other.Get(), &created, &accessed, &modified));
    ASSERT_TRUE(::GetFileTime(other.Get(), &created, &accessed, &modified));  // file systems keep them in their way
    EXPECT_EQ(file.Path(), Name());
    EXPECT_EQ(3u, stat.cbSize.QuadPart);
    EXPECT_EQ(0, ::CompareFileTime(&created, &stat.ctime));
    EXPECT_EQ(0, ::CompareFileTime(&accessed, &stat.atime));
    EXPECT_EQ(0, ::CompareFileTime(&modified, &stat.mtime));
}

TEST_F(CLocalFileSystemStreamTest, AClonesPositionAndACopyStartWhereTheStreamStands) {
    Read(4);
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    EXPECT_EQ(Got(S_OK, "456"), Read(3, clone.Get()));
    CScriptedStream target;
    ULARGE_INTEGER read{}, written{};
    EXPECT_EQ(S_OK, stream->CopyTo(&target, Bytes(100), &read, &written));
    EXPECT_EQ(6u, read.QuadPart);
    EXPECT_EQ("456789", target.Contents());
    stream.Reset();
    EXPECT_EQ(Got(S_FALSE, "789"), Read(5, clone.Get()));
}

TEST_F(CLocalFileSystemStreamTest, ACloneIsOpenedWithTheSameMode) {
    Open(kReadWrite | kTKFStreamCreate);
    EXPECT_EQ(At(S_OK, 6), Write("abcdef"));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    EXPECT_EQ("", file.Contents());  // made again, and so emptied
    EXPECT_EQ(At(S_OK, 6), Seek(0, STREAM_SEEK_CUR, clone.Get()));

    clone.Reset();
    stream.Reset();
    Open(kTKFStreamRead);  // shares with nobody, itself included
    IStream* poisoned = stream.Get();
    EXPECT_EQ(E_FAIL, stream->Clone(&poisoned));
    EXPECT_EQ(nullptr, poisoned);
}

}  // namespace
