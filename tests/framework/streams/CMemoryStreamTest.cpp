// The memory stream's own rules, beside those of every source (DataSourceTest).
#include "framework/streams/CMemoryStream.h"

#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CImportHook.h"

namespace {

constexpr ULONGLONG k2To63 = 1ull << 63;
constexpr LONGLONG kMax = 0x7FFFFFFFFFFFFFFF;
constexpr LONGLONG kMin = -kMax - 1;

struct MemoryStreamTest : StreamTest {
    HRESULT Create(const char* data, LONGLONG size) {
        stream.Reset();
        return ::TKFCreateMemoryStream(data, size, &stream);
    }
    ULONGLONG Size() {
        EXPECT_EQ(S_OK, Stat(STATFLAG_DEFAULT));
        EXPECT_FALSE(name);
        EXPECT_EQ(static_cast<DWORD>(STGTY_STREAM), stat.type);
        return stat.cbSize.QuadPart;
    }
    Got ReadAt(LONGLONG position, ULONG cb) {
        EXPECT_EQ(S_OK, Seek(position, STREAM_SEEK_SET).first);
        return Read(cb);
    }
};

TEST_F(MemoryStreamTest, CreationCopiesTheDataOrKeepsRoomForIt) {
    EXPECT_EQ(E_POINTER, ::TKFCreateMemoryStream("x", 1, nullptr));
    for (const LONGLONG size : {-1ll, kMin + 5}) {
        EXPECT_EQ(E_INVALIDARG, Create("01234", size));
        EXPECT_FALSE(stream);
    }
    for (const LONGLONG room : {0ll, 1000ll, 0x7FFFFFFF00000000ll, kMin + 1000}) {
        ASSERT_EQ(S_OK, Create(nullptr, room));
        EXPECT_EQ(0u, Size());
        EXPECT_EQ(Got(S_FALSE, ""), Read(1));
    }
    ASSERT_EQ(S_OK, Create("01234", 0x100000005));  // the low 32 bits are copied
    EXPECT_EQ(0x100000005u, Size());
    EXPECT_EQ(Got(S_OK, std::string("01234\0\0", 7)), Read(7));
}

// Exceptions need some memory, too.
int g_refusals = 0;
void* __cdecl LittleMemory(size_t bytes) {
    return bytes < 100'000 ? ::calloc(bytes, 1) : (++g_refusals, nullptr);
}

TEST_F(MemoryStreamTest, AWriteBeyond32BitsOrOutOfMemoryChangesNothing) {
    ASSERT_EQ(S_OK, Create("0123", 4));
    for (const LONGLONG position :
         {100'000ll, 0xFFFFFFFDll, 0xFFFFFFFFll, 0xFFFFFFFEll, 0x100000000ll, kMax, kMin, -1ll}) {
        SCOPED_TRACE(position);
        const At here = Seek(position, STREAM_SEEK_SET);
        At written;
        g_refusals = 0;
        {
            const CImportHook hook("malloc", &LittleMemory);
            written = Write("ab");
        }
        EXPECT_EQ(At(E_OUTOFMEMORY, 0), written);
        const bool isPlace = position == 100'000 || (position == 0xFFFFFFFD && sizeof(void*) == 8);
        EXPECT_EQ(isPlace, g_refusals > 0) << "room is asked for below 4 GiB alone";
        EXPECT_EQ(here, Seek(0, STREAM_SEEK_CUR));
        EXPECT_EQ(4u, Size());
    }
    EXPECT_EQ(Got(S_FALSE, "0123"), ReadAt(0, 9));
}

TEST_F(MemoryStreamTest, BytesUpToTheSizeThatWereNeverWrittenAreZero) {
    ASSERT_EQ(S_OK, Create("0123", 4));
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(2)));
    EXPECT_EQ(Got(S_FALSE, "01"), ReadAt(0, 9));
    EXPECT_EQ(At(S_OK, 6), Seek(6, STREAM_SEEK_SET));
    EXPECT_EQ(Got(S_FALSE, ""), Read(1));
    EXPECT_EQ(At(S_OK, 2), Write("ab"));
    EXPECT_EQ(At(S_OK, 8), Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(10)));
    EXPECT_EQ(Got(S_OK, std::string("123\0\0ab\0\0", 9)), ReadAt(1, 9));
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(1)));
    EXPECT_EQ(At(S_OK, 2), Seek(2, STREAM_SEEK_SET));
    EXPECT_EQ(At(S_OK, 2), Write("xy"));
    EXPECT_EQ(1u, Size()) << "there was room for them";
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(~0ull)));
    EXPECT_EQ(Got(S_OK, std::string("01xy\0\0ab\0", 9)), ReadAt(0, 9));
}

TEST_F(MemoryStreamTest, SeeksStayWithin64Bits) {
    const struct {
        ULONGLONG size, start;
        LONGLONG move;
        DWORD origin;
        At result;
    } table[] = {
        {4, 2, -1, STREAM_SEEK_SET, {S_OK, ~0ull}},
        {4, 0, -1, STREAM_SEEK_CUR, {STG_E_INVALIDPOINTER, 0}},
        {4, k2To63, kMin, STREAM_SEEK_CUR, {S_OK, 0}},
        {4, k2To63 - 1, kMin, STREAM_SEEK_CUR, {STG_E_INVALIDPOINTER, k2To63 - 1}},
        {4, k2To63, kMax, STREAM_SEEK_CUR, {S_OK, ~0ull}},
        {4, k2To63 + 1, kMax, STREAM_SEEK_CUR, {STG_E_INVALIDPOINTER, k2To63 + 1}},
        {4, 2, -4, STREAM_SEEK_END, {S_OK, 0}},
        {4, 2, -5, STREAM_SEEK_END, {STG_E_INVALIDPOINTER, 2}},
        {~0ull, 2, 1, STREAM_SEEK_END, {STG_E_INVALIDPOINTER, 2}},
        {4, 2, 0, 3, {STG_E_INVALIDFUNCTION, 2}},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(::testing::Message() << "origin " << row.origin << ", move " << row.move);
        ASSERT_EQ(S_OK, Create("0123", 4));
        ASSERT_EQ(S_OK, stream->SetSize(Bytes(row.size)));
        Seek(static_cast<LONGLONG>(row.start), STREAM_SEEK_SET);
        EXPECT_EQ(row.result, Seek(row.move, row.origin));
        EXPECT_EQ(At(S_OK, row.result.second), Seek(0, STREAM_SEEK_CUR));
    }
}

TEST_F(MemoryStreamTest, OtherMethodsAreAsDescribed) {
    ASSERT_EQ(S_OK, Create("0123", 4));
    ULONG count = 0xDEAD;
    EXPECT_EQ(STG_E_INVALIDPOINTER, stream->Read(nullptr, 0, &count));
    EXPECT_EQ(0u, std::exchange(count, 0xDEAD));
    EXPECT_EQ(STG_E_INVALIDPOINTER, stream->Write(nullptr, 0, &count));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(S_OK, stream->Write("x", 1, nullptr));
    EXPECT_EQ(S_OK, stream->Read(&count, 1, nullptr));
    EXPECT_EQ(At(S_OK, 2), Seek(0, STREAM_SEEK_CUR));

    EXPECT_EQ(E_POINTER, stream->Stat(nullptr, STATFLAG_NONAME));
    EXPECT_EQ(S_OK, stream->Commit(STGC_DEFAULT));
    EXPECT_EQ(E_NOTIMPL, stream->Revert());
    EXPECT_EQ(S_OK, stream->LockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
    EXPECT_EQ(S_OK, stream->UnlockRegion(Bytes(9), Bytes(1), LOCK_WRITE));
    EXPECT_EQ(E_NOTIMPL, FailedClone());
    for (const IID& iid : {__uuidof(IUnknown), __uuidof(ISequentialStream), __uuidof(IStream), __uuidof(IMarshal)}) {
        ComPtr<IUnknown> face;
        EXPECT_EQ(S_OK, stream->QueryInterface(iid, reinterpret_cast<void**>(face.GetAddressOf())));
    }
}

}  // namespace
