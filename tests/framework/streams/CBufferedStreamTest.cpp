#include "framework/streams/CBufferedStream.h"

#include "framework/com/GlobalInterfaceTable.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using Microsoft::WRL::ComPtr;

namespace {

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

struct CBufferedStreamTest : ::testing::Test {
    ~CBufferedStreamTest() override {
        TKFSetGlobalInterfaceTableProvider(nullptr);
        stream.Reset();
        EXPECT_EQ(0u, source.References());
    }

    void Make(LONG bufferBytes) { ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, bufferBytes)); }

    // The bytes that a read of `cb` gives; `hr` is its result.
    std::string Read(ULONG cb, IStream* from = nullptr) {
        std::string bytes(cb, '?');
        ULONG count = 0xDEAD;
        hr = (from ? from : stream.Get())->Read(bytes.data(), cb, &count);
        EXPECT_LE(count, cb);
        bytes.resize(std::min(count, cb));
        return bytes;
    }

    // The position that a seek reports; `hr` is its result.
    ULONGLONG Seek(LONGLONG move, DWORD origin, IStream* in = nullptr) {
        ULARGE_INTEGER position = Bytes(0xDEAD);
        hr = (in ? in : stream.Get())->Seek(By(move), origin, &position);
        return position.QuadPart;
    }

    static void FailTheTable() {
        TKFSetGlobalInterfaceTableProvider([](IGlobalInterfaceTable**) -> HRESULT { return CO_E_SERVER_STOPPING; });
    }
    static void RepairTheTable() { TKFSetGlobalInterfaceTableProvider(nullptr); }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream source{"0123456789abcdef"};
    ComPtr<IStream> stream;
    HRESULT hr = E_FAIL;
};

using Step = CScriptedStream::Step;

TEST_F(CBufferedStreamTest, RefusesWhatItCannotWrap) {
    struct {
        IStream* source;
        LONG bufferBytes;
        HRESULT result;
    } const rows[] = {
        {nullptr, 4, E_POINTER},     {nullptr, 0, E_POINTER},           {&source, 0, E_INVALIDARG},
        {&source, -1, E_INVALIDARG}, {&source, LONG_MIN, E_INVALIDARG},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bufferBytes);
        IStream* poisoned = &source;
        EXPECT_EQ(row.result, TKFCreateBufferedStream(row.source, &poisoned, row.bufferBytes));
        EXPECT_EQ(nullptr, poisoned);
        EXPECT_EQ(0u, source.References());
    }
    EXPECT_EQ(E_POINTER, TKFCreateBufferedStream(&source, nullptr, 4));

    FailTheTable();
    EXPECT_EQ(CO_E_SERVER_STOPPING, TKFCreateBufferedStream(&source, &stream, 4));
    EXPECT_EQ(nullptr, stream.Get());
}

TEST_F(CBufferedStreamTest, StartsWhereTheSourceStands) {
    source.Seek(By(10), STREAM_SEEK_SET, nullptr);
    Make(4);
    EXPECT_EQ(10u, Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ("ab", Read(2));
    EXPECT_EQ(12u, Seek(0, STREAM_SEEK_CUR));
}

TEST_F(CBufferedStreamTest, StartsAtZeroOverASourceThatCannotTellItsPosition) {
    for (const Step& step : {Step{.result = E_NOTIMPL}, Step{.throws = true}}) {
        source.On(CScriptedStream::kSeek, 0, step);
        Make(4);
        EXPECT_EQ(0u, Seek(0, STREAM_SEEK_CUR));
        EXPECT_EQ("01", Read(2));
        source.Seek(By(0), STREAM_SEEK_SET, nullptr);
    }
}

TEST_F(CBufferedStreamTest, AsksForTheWholeBufferOnceAndServesFromIt) {
    source.SetContents(std::string(300 * 1024, 'x'));
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream));
    for (int i = 0; i < 0x20000; i += 2048)
        EXPECT_EQ(2048u, Read(2048).size());
    EXPECT_EQ(1, source.Calls(CScriptedStream::kRead));
    EXPECT_EQ(0x20000u, source.LastReadSize());

    Seek(0, STREAM_SEEK_END);
    Seek(0, STREAM_SEEK_SET);
    EXPECT_EQ(300u * 1024, Read(300 * 1024).size());
    EXPECT_EQ(S_OK, hr);
    EXPECT_EQ(4, source.Calls(CScriptedStream::kRead));
    EXPECT_EQ(0x20000u, source.LastReadSize());
}

TEST_F(CBufferedStreamTest, AReadOfNothingAsksNobody) {
    Make(4);
    const int before = source.Calls();
    EXPECT_EQ("", Read(0));
    EXPECT_EQ(S_OK, hr);
    EXPECT_EQ(before, source.Calls());
    Read(4);  // the buffer is used up now
    EXPECT_EQ("", Read(0));
    EXPECT_EQ(S_OK, hr);
    EXPECT_EQ(before + 1, source.Calls());
}

TEST_F(CBufferedStreamTest, ReadPastTheEndIsShortNotError) {
    Make(5);
    EXPECT_EQ("0123456789abcdef", Read(17));
    EXPECT_EQ(S_FALSE, hr);
    EXPECT_EQ("", Read(1));
    EXPECT_EQ(S_FALSE, hr);
    EXPECT_EQ(16u, Seek(0, STREAM_SEEK_CUR));
}

TEST_F(CBufferedStreamTest, NullPointersAreRefusedOrDoWithout) {
    Make(4);
    ULONG count = 0xDEAD;
    EXPECT_EQ(E_POINTER, stream->Read(nullptr, 1, &count));
    EXPECT_EQ(0u, count);
    char byte = 0;
    EXPECT_EQ(S_OK, stream->Read(&byte, 1, nullptr));
    EXPECT_EQ(S_OK, stream->Seek(By(3), STREAM_SEEK_SET, nullptr));
    EXPECT_EQ("3", Read(1));
    EXPECT_EQ(E_POINTER, stream->Stat(nullptr, STATFLAG_NONAME));
    EXPECT_EQ(E_POINTER, stream->Clone(nullptr));
    EXPECT_EQ(E_POINTER, stream->CopyTo(nullptr, Bytes(1), nullptr, nullptr));
}

// A read of ten bytes through a buffer of four, with the source's n-th read misbehaving; then a second read of ten.
TEST_F(CBufferedStreamTest, MixesOfBytesAndFailuresReadAsDescribed) {
    constexpr HRESULT kFault = STG_E_READFAULT;
    struct {
        const char* what;
        int nth;
        Step step;
        HRESULT firstResult;
        const char* first;
        HRESULT secondResult;
        const char* second;
        int sourceReads;  // of both together
    } const rows[] = {
        {"none", 9, {}, S_OK, "0123456789", S_FALSE, "abcdef", 5},
        {"failure at once", 0, {.result = kFault}, kFault, "", S_OK, "0123456789", 4},
        {"failure with bytes", 0, {.result = kFault, .bytes = 3}, kFault, "", S_OK, "0123456789", 3},
        {"failure of the second part", 1, {.result = kFault}, S_FALSE, "0123", S_OK, "456789abcd", 5},
        {"second part fails with bytes", 1, {.result = kFault, .bytes = 2}, S_FALSE, "0123", S_OK, "456789abcd", 4},
        {"failure of the last part", 2, {.result = kFault}, S_FALSE, "01234567", S_FALSE, "89abcdef", 6},
        {"exception at once", 0, {.throws = true}, E_UNEXPECTED, "", S_OK, "0123456789", 4},
        {"exception with bytes", 0, {.bytes = 1, .throws = true}, E_UNEXPECTED, "", S_OK, "0123456789", 4},
        {"exception in the second part", 1, {.throws = true}, S_FALSE, "0123", S_OK, "456789abcd", 5},
        {"success with fewer bytes", 0, {.result = S_FALSE, .bytes = 1}, S_OK, "0123456789", S_FALSE, "abcdef", 6},
        {"success without bytes", 1, {.bytes = 0}, S_FALSE, "0123", S_OK, "456789abcd", 5},
        {"more bytes than there is room for", 0, {.claim = 0xFFFFFFFF}, S_OK, "0123456789", S_FALSE, "abcdef", 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CScriptedStream fresh("0123456789abcdef");
        ASSERT_EQ(S_OK, TKFCreateBufferedStream(&fresh, &stream, 4));
        fresh.On(CScriptedStream::kRead, row.nth, row.step);
        EXPECT_EQ(row.first, Read(10));
        EXPECT_EQ(row.firstResult, hr);
        EXPECT_EQ(std::string_view(row.first).size(), Seek(0, STREAM_SEEK_CUR));
        EXPECT_EQ(row.second, Read(10));
        EXPECT_EQ(row.secondResult, hr);
        EXPECT_EQ(row.sourceReads, fresh.Calls(CScriptedStream::kRead));
        stream.Reset();
        EXPECT_EQ(0u, fresh.References());
    }
}

TEST_F(CBufferedStreamTest, ATableThatCannotBeHadFailsWhatNeedsTheSourceAndNothingElse) {
    Make(4);
    EXPECT_EQ("01", Read(2));
    FailTheTable();
    EXPECT_EQ("2", Read(1));
    EXPECT_EQ(S_OK, hr);
    EXPECT_EQ("3", Read(4));
    EXPECT_EQ(S_FALSE, hr);
    EXPECT_EQ("", Read(1));
    EXPECT_EQ(CO_E_SERVER_STOPPING, hr);
    STATSTG stat{};
    EXPECT_EQ(CO_E_SERVER_STOPPING, stream->Stat(&stat, STATFLAG_NONAME));
    IStream* poisoned = &source;
    EXPECT_EQ(CO_E_SERVER_STOPPING, stream->Clone(&poisoned));
    EXPECT_EQ(nullptr, poisoned);

    RepairTheTable();
    EXPECT_EQ("456789", Read(6));

    FailTheTable();
    EXPECT_EQ(0u, Seek(1, STREAM_SEEK_SET));
    EXPECT_EQ(CO_E_SERVER_STOPPING, hr);
    RepairTheTable();
}

TEST_F(CBufferedStreamTest, AOneByteBufferServesSixteenMebibytes) {
    constexpr ULONG kSize = 16 << 20;
    std::string contents(kSize, '\0');
    for (size_t i = 0; i < contents.size(); ++i)
        contents[i] = static_cast<char>(i * 2654435761u >> 24);
    source.SetContents(contents);
    Make(1);
    EXPECT_TRUE(Read(kSize) == contents);
    EXPECT_EQ(S_OK, hr);
}

TEST_F(CBufferedStreamTest, ServesARequestThatIsLargerThanASignedCount) {
    Make(4);
    // Only the bytes that exist are written, so a small target is enough.
    char target[16]{};
    ULONG count = 0xDEAD;
    EXPECT_EQ(S_FALSE, stream->Read(target, 0xFFFFFFFF, &count));
    EXPECT_EQ(16u, count);
    EXPECT_EQ("0123456789abcdef", std::string(target, 16));
}

// Each row seeks after 6 bytes were read through a buffer of four: it holds the bytes 4 to 8, and 16 is the end.
TEST_F(CBufferedStreamTest, SeeksInsideTheBufferWithoutTheSource) {
    struct {
        const char* what;
        LONGLONG move;
        DWORD origin;
        HRESULT result;
        ULONGLONG position;
        const char* next;
        int sourceSeeks;
        int sourceReads;
    } const rows[] = {
        {"to the start of the buffer", 4, STREAM_SEEK_SET, S_OK, 4, "4", 0, 0},
        {"to the last byte in it", 7, STREAM_SEEK_SET, S_OK, 7, "7", 0, 0},
        {"to where it stands", 6, STREAM_SEEK_SET, S_OK, 6, "6", 0, 0},
        {"to just behind the buffer", 8, STREAM_SEEK_SET, S_OK, 8, "8", 1, 1},
        {"to just before the buffer", 3, STREAM_SEEK_SET, S_OK, 3, "3", 1, 1},
        {"by nothing", 0, STREAM_SEEK_CUR, S_OK, 6, "6", 0, 0},
        {"back inside", -2, STREAM_SEEK_CUR, S_OK, 4, "4", 0, 0},
        {"forward inside", 1, STREAM_SEEK_CUR, S_OK, 7, "7", 0, 0},
        {"forward out of it", 2, STREAM_SEEK_CUR, S_OK, 8, "8", 1, 1},
        {"back out of it", -3, STREAM_SEEK_CUR, S_OK, 3, "3", 1, 1},
        {"from the end, into the buffer", -10, STREAM_SEEK_END, S_OK, 6, "6", 1, 1},
        {"beyond the end", 99, STREAM_SEEK_SET, S_OK, 99, "", 1, 1},
        {"far beyond the end", 1LL << 40, STREAM_SEEK_SET, S_OK, 1ULL << 40, "", 1, 1},
        {"before the start", -1, STREAM_SEEK_SET, STG_E_INVALIDFUNCTION, 0, nullptr, 1, 0},
        {"before the start, from here", -7, STREAM_SEEK_CUR, STG_E_INVALIDFUNCTION, 0, nullptr, 1, 0},
        {"from an unknown origin", 1, 3, S_OK, 6, "6", 0, 0},
        {"from a wild origin", 1, 0xFFFFFFFF, S_OK, 6, "6", 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        source.Seek(By(0), STREAM_SEEK_SET, nullptr);
        Make(4);
        Read(6);
        const int seeks = source.Calls(CScriptedStream::kSeek);
        const int reads = source.Calls(CScriptedStream::kRead);
        EXPECT_EQ(row.position, Seek(row.move, row.origin));
        EXPECT_EQ(row.result, hr);
        if (row.next) {
            EXPECT_EQ(row.next, Read(1));
        }
        EXPECT_EQ(row.sourceSeeks, source.Calls(CScriptedStream::kSeek) - seeks);
        EXPECT_EQ(row.sourceReads, source.Calls(CScriptedStream::kRead) - reads);
    }
}

TEST_F(CBufferedStreamTest, ASeekThatFailsLeavesThePositionThatTheSourceReported) {
    struct {
        const char* what;
        Step step;
        HRESULT result;
        ULONGLONG position;
    } const rows[] = {
        {"nothing reported", {.result = STG_E_SEEKERROR}, STG_E_SEEKERROR, 0},
        {"a position reported", {.result = STG_E_SEEKERROR, .claim = 5}, STG_E_SEEKERROR, 5},
        {"an exception", {.throws = true}, E_UNEXPECTED, 0},
        {"success elsewhere", {.claim = 5}, S_OK, 5},
    };
    for (const auto& row : rows)
        for (const DWORD origin : {STREAM_SEEK_SET, STREAM_SEEK_END}) {
            SCOPED_TRACE(row.what);
            source.Seek(By(0), STREAM_SEEK_SET, nullptr);
            Make(4);
            Read(2);
            source.On(CScriptedStream::kSeek, 0, row.step);
            EXPECT_EQ(row.position, Seek(9, origin));
            EXPECT_EQ(row.result, hr);
            EXPECT_EQ(row.position, Seek(0, STREAM_SEEK_CUR));
            // A seek that goes through puts all in order again.
            EXPECT_EQ(12u, Seek(12, STREAM_SEEK_SET));
            EXPECT_EQ("cdef", Read(5));
        }
}

TEST_F(CBufferedStreamTest, RefusesWhatAReadOnlyStreamDoesNotDo) {
    Make(4);
    const int before = source.Calls();
    ULONG count = 0;
    EXPECT_EQ(E_NOTIMPL, stream->Write("x", 1, &count));
    EXPECT_EQ(E_NOTIMPL, stream->SetSize(Bytes(1)));
    EXPECT_EQ(E_NOTIMPL, stream->Commit(STGC_DEFAULT));
    EXPECT_EQ(E_NOTIMPL, stream->Revert());
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->LockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->UnlockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
    EXPECT_EQ(before, source.Calls());
    EXPECT_EQ("0123456789abcdef", source.Contents());
}

}  // namespace
