// How a buffered stream reads and seeks.
#include "framework/com/GlobalInterfaceTable.h"
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

namespace {

using enum CScriptedStream::Kind;
using Step = CScriptedStream::Step;

struct CBufferedStreamTest : StreamTest {
    ~CBufferedStreamTest() override {
        RepairTheTable();
        stream.Reset();
        EXPECT_EQ(0u, source.References());
    }
    // A fresh stream over the source, which stands at `position`.
    void Make(LONG bufferBytes, LONGLONG position = 0) {
        source.Seek(By(position), STREAM_SEEK_SET, nullptr);
        ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, bufferBytes));
    }
    static void FailTheTable() {
        TKFSetGlobalInterfaceTableProvider([](IGlobalInterfaceTable**) -> HRESULT { return CO_E_SERVER_STOPPING; });
    }
    static void RepairTheTable() { TKFSetGlobalInterfaceTableProvider(nullptr); }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream source{"0123456789abcdef"};
};

TEST_F(CBufferedStreamTest, RefusesWhatItCannotWrap) {
    const auto make = [](IStream* from, LONG bufferBytes) {
        IStream* poisoned = reinterpret_cast<IStream*>(1);
        const HRESULT hr = TKFCreateBufferedStream(from, &poisoned, bufferBytes);
        EXPECT_EQ(nullptr, poisoned);
        return hr;
    };
    EXPECT_EQ(E_POINTER, make(nullptr, 0));
    EXPECT_EQ(E_INVALIDARG, make(&source, 0));
    EXPECT_EQ(E_INVALIDARG, make(&source, LONG_MIN));
    EXPECT_EQ(E_POINTER, TKFCreateBufferedStream(&source, nullptr, 4));
    FailTheTable();
    EXPECT_EQ(CO_E_SERVER_STOPPING, make(&source, 4));
}

TEST_F(CBufferedStreamTest, StartsWhereTheSourceStandsOrAtZeroIfItCannotTell) {
    Make(4, 10);
    EXPECT_EQ(At(S_OK, 10), Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ(Got(S_OK, "ab"), Read(2));
    for (const Step& step : {Step{.result = E_NOTIMPL}, Step{.throws = true}}) {
        source.On(kSeek, 1, step);
        Make(4);
        EXPECT_EQ(At(S_OK, 0), Seek(0, STREAM_SEEK_CUR));
        EXPECT_EQ(Got(S_OK, "01"), Read(2));
    }
}

TEST_F(CBufferedStreamTest, AsksForTheWholeBufferOnceAndServesFromIt) {
    source.SetContents(std::string(300 * 1024, 'x'));
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream));
    for (int i = 0; i < 0x20000; i += 2048)
        EXPECT_EQ(2048u, Read(2048).second.size());
    EXPECT_EQ(1, source.Calls(kRead));
    EXPECT_EQ(0x20000u, source.LastReadSize());
    Make(0x20000);
    EXPECT_EQ(Got(S_OK, source.Contents()), Read(300 * 1024));
    EXPECT_EQ(4, source.Calls(kRead));
    EXPECT_EQ(0x20000u, source.LastReadSize());
}

TEST_F(CBufferedStreamTest, AReadOfNothingAsksNobodyAndOnePastTheEndIsShort) {
    Make(5);
    const int before = source.Calls();
    EXPECT_EQ(Got(S_OK, ""), Read(0));
    EXPECT_EQ(before, source.Calls());
    EXPECT_EQ(Got(S_FALSE, "0123456789abcdef"), Read(17));
    EXPECT_EQ(Got(S_FALSE, ""), Read(1));
    EXPECT_EQ(Got(S_OK, ""), Read(0));
    EXPECT_EQ(At(S_OK, 16), Seek(0, STREAM_SEEK_CUR));
}

TEST_F(CBufferedStreamTest, NullPointersAreRefusedOrDoWithout) {
    Make(4);
    ULONG count = 0xDEAD;
    EXPECT_EQ(E_POINTER, stream->Read(nullptr, 1, &count));
    EXPECT_EQ(0u, count);
    char byte = 0;
    EXPECT_EQ(S_OK, stream->Read(&byte, 1, nullptr));
    EXPECT_EQ(S_OK, stream->Seek(By(3), STREAM_SEEK_SET, nullptr));
    EXPECT_EQ(E_POINTER, stream->Stat(nullptr, STATFLAG_NONAME));
    EXPECT_EQ(E_POINTER, stream->Clone(nullptr));
    EXPECT_EQ(E_POINTER, stream->CopyTo(nullptr, Bytes(1), nullptr, nullptr));
}

// A read of ten bytes through a buffer of four, with the source's n-th read misbehaving; then a second read of ten.
TEST_F(CBufferedStreamTest, MixesOfBytesAndFailuresReadAsDescribed) {
    constexpr HRESULT kFault = STG_E_READFAULT;
    const struct {
        const char* what;
        int nth;
        Step step;
        Got first;
        Got second;
        int sourceReads;  // of both together
    } rows[] = {
        {"none", 9, {}, {S_OK, "0123456789"}, {S_FALSE, "abcdef"}, 5},
        {"failure at once", 0, {.result = kFault}, {kFault, ""}, {S_OK, "0123456789"}, 4},
        {"failure with bytes", 0, {.result = kFault, .bytes = 3}, {kFault, ""}, {S_OK, "0123456789"}, 3},
        {"second part fails", 1, {.result = kFault}, {S_FALSE, "0123"}, {S_OK, "456789abcd"}, 5},
        {"it fails with bytes", 1, {.result = kFault, .bytes = 2}, {S_FALSE, "0123"}, {S_OK, "456789abcd"}, 4},
        {"last part fails", 2, {.result = kFault}, {S_FALSE, "01234567"}, {S_FALSE, "89abcdef"}, 6},
        {"exception at once", 0, {.throws = true}, {E_UNEXPECTED, ""}, {S_OK, "0123456789"}, 4},
        {"exception with bytes", 0, {.bytes = 1, .throws = true}, {E_UNEXPECTED, ""}, {S_OK, "0123456789"}, 4},
        {"exception in the second part", 1, {.throws = true}, {S_FALSE, "0123"}, {S_OK, "456789abcd"}, 5},
        {"fewer bytes", 0, {.result = S_FALSE, .bytes = 1}, {S_OK, "0123456789"}, {S_FALSE, "abcdef"}, 6},
        {"success without bytes", 1, {.bytes = 0}, {S_FALSE, "0123"}, {S_OK, "456789abcd"}, 5},
        {"more than there is room for", 0, {.claim = 0xFFFFFFFF}, {S_OK, "0123456789"}, {S_FALSE, "abcdef"}, 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Make(4);
        const int before = source.Calls(kRead);
        source.On(kRead, row.nth, row.step);
        EXPECT_EQ(row.first, Read(10));
        EXPECT_EQ(At(S_OK, row.first.second.size()), Seek(0, STREAM_SEEK_CUR));
        EXPECT_EQ(row.second, Read(10));
        EXPECT_EQ(row.sourceReads, source.Calls(kRead) - before);
        source.ForgetSteps();
    }
}

TEST_F(CBufferedStreamTest, ATableThatCannotBeHadFailsWhatNeedsTheSourceAndNothingElse) {
    Make(4);
    EXPECT_EQ(Got(S_OK, "01"), Read(2));
    FailTheTable();
    EXPECT_EQ(Got(S_OK, "2"), Read(1));
    EXPECT_EQ(Got(S_FALSE, "3"), Read(4));
    EXPECT_EQ(Got(CO_E_SERVER_STOPPING, ""), Read(1));
    EXPECT_EQ(CO_E_SERVER_STOPPING, Stat(STATFLAG_NONAME));
    IStream* poisoned = &source;
    EXPECT_EQ(CO_E_SERVER_STOPPING, stream->Clone(&poisoned));
    EXPECT_EQ(nullptr, poisoned);
    RepairTheTable();
    EXPECT_EQ(Got(S_OK, "456789"), Read(6));
    FailTheTable();
    EXPECT_EQ(At(CO_E_SERVER_STOPPING, 0), Seek(1, STREAM_SEEK_SET));
}

TEST_F(CBufferedStreamTest, AOneByteBufferServesSixteenMebibytes) {
    std::string contents(16 << 20, '\0');
    for (size_t i = 0; i < contents.size(); ++i)
        contents[i] = static_cast<char>(i * 2654435761u >> 24);
    source.SetContents(contents);
    Make(1);
    EXPECT_TRUE(Got(S_OK, contents) == Read(16 << 20));
}

TEST_F(CBufferedStreamTest, ServesARequestThatIsLargerThanASignedCount) {
    Make(4);
    char target[16]{};  // only the bytes that exist are written
    ULONG count = 0xDEAD;
    EXPECT_EQ(S_FALSE, stream->Read(target, 0xFFFFFFFF, &count));
    EXPECT_EQ("0123456789abcdef", std::string(target, count));
}

// Each row seeks after 6 bytes were read through a buffer of four: it holds the bytes 4 to 8, and 16 is the end.
TEST_F(CBufferedStreamTest, SeeksInsideTheBufferWithoutTheSource) {
    const struct {
        const char* what;
        LONGLONG move;
        DWORD origin;
        At result;
        const char* next;
        bool asksSource;
    } rows[] = {
        {"to the start of the buffer", 4, STREAM_SEEK_SET, {S_OK, 4}, "4", false},
        {"to the last byte in it", 7, STREAM_SEEK_SET, {S_OK, 7}, "7", false},
        {"to just behind the buffer", 8, STREAM_SEEK_SET, {S_OK, 8}, "8", true},
        {"to just before the buffer", 3, STREAM_SEEK_SET, {S_OK, 3}, "3", true},
        {"by nothing", 0, STREAM_SEEK_CUR, {S_OK, 6}, "6", false},
        {"back inside", -2, STREAM_SEEK_CUR, {S_OK, 4}, "4", false},
        {"forward inside", 1, STREAM_SEEK_CUR, {S_OK, 7}, "7", false},
        {"forward out of it", 2, STREAM_SEEK_CUR, {S_OK, 8}, "8", true},
        {"back out of it", -3, STREAM_SEEK_CUR, {S_OK, 3}, "3", true},
        {"from the end, into the buffer", -10, STREAM_SEEK_END, {S_OK, 6}, "6", true},
        {"far beyond the end", 1LL << 40, STREAM_SEEK_SET, {S_OK, 1ULL << 40}, "", true},
        {"before the start", -1, STREAM_SEEK_SET, {STG_E_INVALIDFUNCTION, 0}, nullptr, true},
        {"before the start, from here", -7, STREAM_SEEK_CUR, {STG_E_INVALIDFUNCTION, 0}, nullptr, true},
        {"from an unknown origin", 1, 3, {S_OK, 6}, "6", false},
        {"from a wild origin", 1, 0xFFFFFFFF, {S_OK, 6}, "6", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Make(4);
        Read(6);
        const int seeks = source.Calls(kSeek), reads = source.Calls(kRead);
        EXPECT_EQ(row.result, Seek(row.move, row.origin));
        EXPECT_TRUE(!row.next || Read(1).second == row.next);
        EXPECT_EQ(row.asksSource, source.Calls(kSeek) - seeks);
        EXPECT_EQ(row.asksSource && row.next, source.Calls(kRead) - reads);
    }
}

TEST_F(CBufferedStreamTest, ASeekThatFailsLeavesThePositionThatTheSourceReported) {
    const struct {
        Step step;
        At result;
    } rows[] = {
        {{.result = STG_E_SEEKERROR}, {STG_E_SEEKERROR, 0}},
        {{.result = STG_E_SEEKERROR, .claim = 5}, {STG_E_SEEKERROR, 5}},
        {{.throws = true}, {E_UNEXPECTED, 0}},
        {{.claim = 5}, {S_OK, 5}},  // success elsewhere
    };
    for (const auto& row : rows)
        for (const DWORD origin : {STREAM_SEEK_SET, STREAM_SEEK_END}) {
            SCOPED_TRACE(::testing::PrintToString(row.result));
            Make(4);
            Read(2);
            source.On(kSeek, 0, row.step);
            EXPECT_EQ(row.result, Seek(9, origin));
            EXPECT_EQ(At(S_OK, row.result.second), Seek(0, STREAM_SEEK_CUR));
            EXPECT_EQ(At(S_OK, 12), Seek(12, STREAM_SEEK_SET));  // puts all in order again
            EXPECT_EQ(Got(S_FALSE, "cdef"), Read(5));
        }
}

TEST_F(CBufferedStreamTest, RefusesWhatAReadOnlyStreamDoesNotDo) {
    Make(4);
    const int before = source.Calls();
    EXPECT_EQ(E_NOTIMPL, Write("x").first);
    EXPECT_EQ(E_NOTIMPL, stream->SetSize(Bytes(1)));
    EXPECT_EQ(E_NOTIMPL, stream->Commit(STGC_DEFAULT));
    EXPECT_EQ(E_NOTIMPL, stream->Revert());
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->LockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
    EXPECT_EQ(STG_E_INVALIDFUNCTION, stream->UnlockRegion(Bytes(0), Bytes(1), LOCK_WRITE));
    EXPECT_EQ(before, source.Calls());
}

}  // namespace
