#include "framework/streams/CLocalFileSystemStream.h"

#include "diagnostics/CAutoDestructor.h"
#include "framework/com/CTaskMem.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"

#include <gtest/gtest.h>

#include <string>

using Microsoft::WRL::ComPtr;

namespace {

constexpr DWORD kShareAll = kTKFStreamShareRead | kTKFStreamShareWrite | kTKFStreamShareDelete;
constexpr DWORD kReadWrite = kTKFStreamRead | kTKFStreamWrite | kShareAll;

LARGE_INTEGER By(LONGLONG bytes) {
    LARGE_INTEGER move;
    move.QuadPart = bytes;
    return move;
}

ULARGE_INTEGER Bytes(ULONGLONG bytes) {
    ULARGE_INTEGER count;
    count.QuadPart = bytes;
    return count;
}

struct CLocalFileSystemStreamTest : ::testing::Test {
    void Open(DWORD mode) { ASSERT_EQ(S_OK, TKFCreateLocalFileSystemStream(file.Path().c_str(), mode, &stream)); }

    std::string Read(ULONG cb, IStream* from = nullptr) {
        std::string bytes(cb, '?');
        ULONG count = 0xDEAD;
        hr = (from ? from : stream.Get())->Read(bytes.data(), cb, &count);
        EXPECT_LE(count, cb);
        bytes.resize(std::min(count, cb));
        return bytes;
    }

    ULONG Write(const char* bytes) {
        ULONG count = 0xDEAD;
        hr = stream->Write(bytes, static_cast<ULONG>(strlen(bytes)), &count);
        return count;
    }

    ULONGLONG Seek(LONGLONG move, DWORD origin) {
        ULARGE_INTEGER position = Bytes(0xDEAD);
        hr = stream->Seek(By(move), origin, &position);
        return position.QuadPart;
    }

    CTempFile file{"0123456789"};
    ComPtr<IStream> stream;
    HRESULT hr = E_FAIL;
};

TEST_F(CLocalFileSystemStreamTest, ReadsAndWritesAtItsOnePosition) {
    Open(kReadWrite);
    EXPECT_EQ("012", Read(3));
    EXPECT_EQ(S_OK, hr);
    EXPECT_EQ(2u, Write("xy"));
    EXPECT_EQ(S_OK, hr);
    EXPECT_EQ("56789", Read(9));
    EXPECT_EQ(S_FALSE, hr);
    EXPECT_EQ("", Read(1));
    EXPECT_EQ(S_FALSE, hr);
    EXPECT_EQ("", Read(0));
    EXPECT_EQ(S_OK, hr);
    EXPECT_EQ(3u, Write("end"));
    EXPECT_EQ("012xy56789end", file.Contents());

    char byte = 0;
    EXPECT_EQ(S_OK, stream->Seek(By(0), STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(S_OK, stream->Read(&byte, 1, nullptr));
    EXPECT_EQ(S_OK, stream->Write("z", 1, nullptr));
    EXPECT_EQ("0z2xy56789end", file.Contents());
}

TEST_F(CLocalFileSystemStreamTest, NullPointersHaveTheirOwnResults) {
    Open(kReadWrite);
    ULONG count = 0xDEAD;
    EXPECT_EQ(STG_E_INVALIDPOINTER, stream->Read(nullptr, 1, &count));
    EXPECT_EQ(0u, count);
    count = 0xDEAD;
    EXPECT_EQ(STG_E_INVALIDPOINTER, stream->Write(nullptr, 1, &count));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(STG_E_INVALIDPOINTER, stream->Stat(nullptr, STATFLAG_NONAME));
    EXPECT_EQ(E_POINTER, stream->Clone(nullptr));
    EXPECT_EQ(E_POINTER, stream->CopyTo(nullptr, Bytes(1), nullptr, nullptr));
}

TEST_F(CLocalFileSystemStreamTest, ReadAndWriteErrorsAreThoseOfTheTables) {
    Open(kTKFStreamWrite | kShareAll);
    EXPECT_EQ("", Read(1));
    EXPECT_EQ(STG_E_ACCESSDENIED, hr);
    Open(kTKFStreamRead | kShareAll);
    EXPECT_EQ(0u, Write("x"));
    EXPECT_EQ(STG_E_ACCESSDENIED, hr);
}

// A pipe whose other end is gone opens as a file does, and then gives errors that no table names.
TEST_F(CLocalFileSystemStreamTest, OtherErrorsHaveTheirDefaultResults) {
    const std::wstring name = LR"(\\.\pipe\tv-stream-test-)" + std::to_wstring(::GetCurrentProcessId());
    CAutoHandle server(::CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 64, 64, 0, nullptr));
    ASSERT_TRUE(server);
    ASSERT_EQ(S_OK, TKFCreateLocalFileSystemStream(name.c_str(), kTKFStreamRead | kTKFStreamWrite, &stream));
    server.Reset();
    EXPECT_EQ("", Read(3));
    EXPECT_EQ(STG_E_ACCESSDENIED, hr);
    EXPECT_EQ(0u, Write("x"));
    EXPECT_EQ(STG_E_CANTSAVE, hr);
    EXPECT_EQ(0u, Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ(STG_E_INVALIDFUNCTION, hr);
    EXPECT_EQ(E_FAIL, stream->SetSize(Bytes(1)));

    STATSTG stat;
    memset(&stat, 0xCC, sizeof(stat));
    EXPECT_EQ(STG_E_ACCESSDENIED, stream->Stat(&stat, STATFLAG_DEFAULT));
    EXPECT_EQ(nullptr, stat.pwcsName);
    EXPECT_EQ(static_cast<DWORD>(STGM_READWRITE | STGM_SHARE_EXCLUSIVE), stat.grfMode);
}

TEST_F(CLocalFileSystemStreamTest, SeeksFromTheThreeOriginsAndFromNoOther) {
    struct {
        LONGLONG move;
        DWORD origin;
        HRESULT result;
        ULONGLONG reported;
        ULONGLONG position;
    } const rows[] = {
        {7, STREAM_SEEK_SET, S_OK, 7, 7},
        {-2, STREAM_SEEK_CUR, S_OK, 2, 2},
        {-1, STREAM_SEEK_END, S_OK, 9, 9},
        {1LL << 40, STREAM_SEEK_SET, S_OK, 1ULL << 40, 1ULL << 40},
        {-1, STREAM_SEEK_SET, STG_E_INVALIDFUNCTION, 0, 4},
        {-5, STREAM_SEEK_CUR, STG_E_INVALIDFUNCTION, 0, 4},
        {-11, STREAM_SEEK_END, STG_E_INVALIDFUNCTION, 0, 4},
        {1, 3, STG_E_INVALIDFUNCTION, 0, 4},
        {1, 0xFFFFFFFF, STG_E_INVALIDFUNCTION, 0, 4},
    };
    Open(kReadWrite);
    for (const auto& row : rows) {
        SCOPED_TRACE(::testing::Message() << row.move << " from " << row.origin);
        ASSERT_EQ(4u, Seek(4, STREAM_SEEK_SET));
        EXPECT_EQ(row.reported, Seek(row.move, row.origin));
        EXPECT_EQ(row.result, hr);
        EXPECT_EQ(row.position, Seek(0, STREAM_SEEK_CUR));
    }
}

TEST_F(CLocalFileSystemStreamTest, SetSizeLeavesTheFilePointerWhereItWas) {
    Open(kReadWrite);
    Seek(7, STREAM_SEEK_SET);
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(12)));
    EXPECT_EQ(std::string("0123456789\0\0", 12), file.Contents());
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(4)));
    EXPECT_EQ("0123", file.Contents());
    EXPECT_EQ(7u, Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ(STG_E_MEDIUMFULL, stream->SetSize(Bytes(0xFFFFFFFFFFFFFFFF)));
    EXPECT_EQ(7u, Seek(0, STREAM_SEEK_CUR));

    Open(kTKFStreamRead | kShareAll);
    Seek(2, STREAM_SEEK_SET);
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->SetSize(Bytes(1)));
    EXPECT_EQ(2u, Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ("0123", file.Contents());
}

TEST_F(CLocalFileSystemStreamTest, CopiesToAnotherStreamFromWhereItStands) {
    Open(kReadWrite);
    Seek(4, STREAM_SEEK_SET);
    CScriptedStream target;
    ULARGE_INTEGER read{}, written{};
    EXPECT_EQ(S_OK, stream->CopyTo(&target, Bytes(100), &read, &written));
    EXPECT_EQ(6u, read.QuadPart);
    EXPECT_EQ(6u, written.QuadPart);
    EXPECT_EQ("456789", target.Contents());
}

TEST_F(CLocalFileSystemStreamTest, RefusesWhatItDoesNotDo) {
    Open(kReadWrite);
    EXPECT_EQ(E_NOTIMPL, stream->Commit(STGC_DEFAULT));
    EXPECT_EQ(E_NOTIMPL, stream->Revert());
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->LockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->UnlockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
}

TEST_F(CLocalFileSystemStreamTest, StatShowsAccessSharingAndCreate) {
    struct {
        DWORD mode;
        DWORD grfMode;
    } const rows[] = {
        {0x29, STGM_READ | STGM_SHARE_DENY_WRITE},
        {0x1B, STGM_READWRITE | STGM_SHARE_DENY_NONE},
        {0x12, STGM_WRITE | STGM_SHARE_DENY_READ},
        {0x01, STGM_READ | STGM_SHARE_EXCLUSIVE},
        {0x21, STGM_READ | STGM_SHARE_EXCLUSIVE},
        {0x199, STGM_READ | STGM_SHARE_DENY_NONE},
        {0x20F, STGM_CREATE | STGM_READWRITE | STGM_SHARE_DENY_WRITE},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        stream.Reset();
        Open(row.mode);
        STATSTG stat;
        memset(&stat, 0xCC, sizeof(stat));
        EXPECT_EQ(S_OK, stream->Stat(&stat, STATFLAG_NONAME));
        EXPECT_EQ(row.grfMode, stat.grfMode);
        EXPECT_EQ(static_cast<DWORD>(STGTY_STREAM), stat.type);
        EXPECT_EQ(0u, stat.grfLocksSupported);
        EXPECT_EQ(nullptr, stat.pwcsName);
    }
}

TEST_F(CLocalFileSystemStreamTest, StatTellsNameSizeAndTimesAsTheyAreNow) {
    Open(kReadWrite);
    const FILETIME created{0x11111100, 0x01D00000}, accessed{0x22222200, 0x01D10000}, modified{0x33333300, 0x01D20000};
    {
        const CAutoHandle other(::CreateFileW(file.Path().c_str(), FILE_WRITE_ATTRIBUTES,
                                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
        ASSERT_TRUE(::SetFileTime(other.Get(), &created, &accessed, &modified));
    }
    STATSTG stat{};
    ASSERT_EQ(S_OK, stream->Stat(&stat, STATFLAG_DEFAULT));
    const CTaskMem<wchar_t> name(stat.pwcsName);
    ASSERT_TRUE(name);
    EXPECT_EQ(file.Path(), name.Get());
    EXPECT_EQ(10u, stat.cbSize.QuadPart);
    EXPECT_EQ(modified.dwHighDateTime, stat.mtime.dwHighDateTime);
    EXPECT_EQ(accessed.dwHighDateTime, stat.atime.dwHighDateTime);
    FILETIME nowCreated{};  // not every file system keeps the one that was set
    const CAutoHandle other(::CreateFileW(file.Path().c_str(), FILE_READ_ATTRIBUTES,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(::GetFileTime(other.Get(), &nowCreated, nullptr, nullptr));
    EXPECT_EQ(nowCreated.dwHighDateTime, stat.ctime.dwHighDateTime);
    EXPECT_EQ(nowCreated.dwLowDateTime, stat.ctime.dwLowDateTime);

    ASSERT_EQ(S_OK, stream->SetSize(Bytes(3)));
    ASSERT_EQ(S_OK, stream->Stat(&stat, STATFLAG_NONAME));
    EXPECT_EQ(3u, stat.cbSize.QuadPart);
}

TEST_F(CLocalFileSystemStreamTest, ACloneHasAPositionOfItsOwnThatStartsTheSame) {
    Open(kReadWrite);
    Read(4);
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    EXPECT_EQ("456", Read(3, clone.Get()));
    EXPECT_EQ("45", Read(2));
    stream.Reset();
    EXPECT_EQ("789", Read(5, clone.Get()));
}

TEST_F(CLocalFileSystemStreamTest, ACloneOfAStreamThatMadeItsFileEmptiesItAgain) {
    Open(kReadWrite | kTKFStreamCreate);
    EXPECT_EQ("", file.Contents());
    EXPECT_EQ(6u, Write("abcdef"));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    EXPECT_EQ("", file.Contents());
    ULARGE_INTEGER position{};
    EXPECT_EQ(S_OK, clone->Seek(By(0), STREAM_SEEK_CUR, &position));
    EXPECT_EQ(6u, position.QuadPart);
}

TEST_F(CLocalFileSystemStreamTest, ACloneThatCannotBeOpenedHandsOutNothing) {
    Open(kTKFStreamRead | kTKFStreamWrite);  // shares with nobody, itself included
    IStream* poisoned = stream.Get();
    EXPECT_EQ(E_FAIL, stream->Clone(&poisoned));
    EXPECT_EQ(nullptr, poisoned);
}

}  // namespace
