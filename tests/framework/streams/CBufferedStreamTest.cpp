#include "framework/com/GlobalInterfaceTable.h"
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CSecondCall.h"
#include "tests/support/CTestApartment.h"

#include <thread>

namespace {

using enum CScriptedStream::Kind;
using Step = CScriptedStream::Step;

struct CBufferedStreamTest : StreamTest {
    ~CBufferedStreamTest() override {
        stream.Reset();
        EXPECT_EQ(0u, source.References());
    }
    // A fresh stream over the source, which stands at `position`.
    void Make(LONG bufferBytes, LONGLONG position = 0) {
        source.Seek(By(position), STREAM_SEEK_SET, nullptr);
        ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, bufferBytes));
    }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream source{"0123456789abcdef"};
};

TEST_F(CBufferedStreamTest, RefusesWhatItCannotWrap) {
    IStream* made = Poison();
    EXPECT_EQ(E_INVALIDARG, TKFCreateBufferedStream(&source, &made, 0));
    EXPECT_EQ(nullptr, made);
    EXPECT_EQ(E_POINTER, TKFCreateBufferedStream(nullptr, &stream, 4));
    EXPECT_EQ(E_POINTER, TKFCreateBufferedStream(&source, nullptr, 4));
}

TEST_F(CBufferedStreamTest, StartsWhereTheSourceStands) {
    Make(4, 10);
    EXPECT_EQ(At(S_OK, 10), Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ(Got(S_OK, "ab"), Read(2));
    source.On(SeekCall, 1, {.throws = true});  // it can't tell
    Make(4);
    EXPECT_EQ(At(S_OK, 0), Seek(0, STREAM_SEEK_CUR));
}

TEST_F(CBufferedStreamTest, ServesAllReadsWithinABufferFromOneOfTheSource) {
    source.SetContents(std::string(16 << 20, 'x'));
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream));
    for (int i = 0; i < 0x20000 / 2048; ++i)
        EXPECT_EQ(Got(S_OK, std::string(2048, 'x')), Read(2048));
    EXPECT_EQ(1, source.Calls(ReadCall));
    EXPECT_EQ(0x20000u, source.LastReadSize());
    Make(1);
    EXPECT_TRUE(Got(S_OK, std::string(16 << 20, 'x')) == Read(16 << 20)) << "the stack doesn't grow with it";
}

TEST_F(CBufferedStreamTest, WhatReadsNothingAsksNobody) {
    Make(5);
    const int before = source.Calls();
    EXPECT_EQ(Got(S_OK, ""), Read(0));
    ExpectRefusals(E_POINTER);
    EXPECT_EQ(E_NOTIMPL, Write("x").first);
    EXPECT_EQ(E_NOTIMPL, stream->SetSize(Bytes(1)));
    EXPECT_EQ(before, source.Calls());
}

TEST_F(CBufferedStreamTest, AReadPastTheEndIsShort) {
    Make(5);
    char target[16]{};  // only the bytes that exist are written
    EXPECT_EQ(S_FALSE, stream->Read(target, 0xFFFFFFFF, nullptr));
    EXPECT_EQ("0123456789abcdef", std::string(target, 16));
    EXPECT_EQ(Got(S_FALSE, ""), Read(1));
    EXPECT_EQ(Got(S_OK, ""), Read(0));
    const int seeks = source.Calls(SeekCall);
    EXPECT_EQ(At(S_OK, 16), Seek(16, STREAM_SEEK_SET)) << "where it stands, with nothing buffered";
    EXPECT_EQ(seeks, source.Calls(SeekCall));
    EXPECT_EQ(S_OK, stream->Seek(By(3), STREAM_SEEK_SET, nullptr));
}

// A read of ten bytes through a buffer of four, with the source's n-th read misbehaving; then a second read of ten.
TEST_F(CBufferedStreamTest, MixesOfBytesAndFailuresReadAsDescribed) {
    constexpr HRESULT kFault = STG_E_READFAULT;
    const struct {
        const char* what;
        int nth;
        Step step;
        Got first, second;
        int sourceReads;  // of both together
    } rows[] = {
        {"failure at once", 0, {.result = kFault}, {kFault, ""}, {S_OK, "0123456789"}, 4},
        {"failure with bytes", 0, {.result = kFault, .bytes = 3}, {kFault, ""}, {S_OK, "0123456789"}, 3},
        {"second part fails", 1, {.result = kFault, .bytes = 2}, {S_FALSE, "0123"}, {S_OK, "456789abcd"}, 4},
        {"exception at once", 0, {.throws = true}, {E_UNEXPECTED, ""}, {S_OK, "0123456789"}, 4},
        {"success without bytes", 1, {.bytes = 0}, {S_FALSE, "0123"}, {S_OK, "456789abcd"}, 5},
        {"more than there is room for", 0, {.claim = 0xFFFFFFFF}, {S_OK, "0123456789"}, {S_FALSE, "abcdef"}, 5},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Make(4);
        const int before = source.Calls(ReadCall);
        source.On(ReadCall, row.nth, row.step);
        EXPECT_EQ(row.first, Read(10));
        EXPECT_EQ(At(S_OK, row.first.second.size()), Seek(0, STREAM_SEEK_CUR));
        EXPECT_EQ(row.second, Read(10));
        EXPECT_EQ(row.sourceReads, source.Calls(ReadCall) - before);
        source.ForgetSteps();
    }
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
        {"to the first byte in it", 4, STREAM_SEEK_SET, {S_OK, 4}, "4", false},
        {"to the last byte in it", 7, STREAM_SEEK_SET, {S_OK, 7}, "7", false},
        {"to just behind the buffer", 8, STREAM_SEEK_SET, {S_OK, 8}, "8", true},
        {"to just before the buffer", 3, STREAM_SEEK_SET, {S_OK, 3}, "3", true},
        {"from the end, into the buffer", -10, STREAM_SEEK_END, {S_OK, 6}, "6", true},
        {"far beyond the end", 1LL << 40, STREAM_SEEK_SET, {S_OK, 1ULL << 40}, "", true},
        {"from an unknown origin", 1, 3, {S_OK, 6}, "6", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Make(4);
        Read(6);
        const int seeks = source.Calls(SeekCall), reads = source.Calls(ReadCall);
        EXPECT_EQ(row.result, Seek(row.move, row.origin));
        EXPECT_EQ(row.next, Read(1).second);
        EXPECT_EQ(row.asksSource, source.Calls(SeekCall) - seeks);
        EXPECT_EQ(row.asksSource, source.Calls(ReadCall) - reads);
    }
}

TEST_F(CBufferedStreamTest, ASeekThatFailsLeavesThePositionThatTheSourceReported) {
    for (const auto& [step, result] :
         {std::pair<Step, At>{{.result = STG_E_SEEKERROR, .claim = 5}, {STG_E_SEEKERROR, 5}},
          {{.throws = true}, {E_UNEXPECTED, 0}},
          {{.claim = 5}, {S_OK, 5}}})  // success elsewhere
        for (const DWORD origin : {STREAM_SEEK_SET, STREAM_SEEK_END}) {
            SCOPED_TRACE(::testing::PrintToString(result));
            Make(4);
            Read(2);
            source.On(SeekCall, 0, step);
            EXPECT_EQ(result, Seek(9, origin));
            EXPECT_EQ(At(S_OK, result.second), Seek(0, STREAM_SEEK_CUR));
            EXPECT_EQ(At(S_OK, 12), Seek(12, STREAM_SEEK_SET));  // puts all in order again
            EXPECT_EQ(Got(S_FALSE, "cdef"), Read(5));
        }
}

TEST_F(CBufferedStreamTest, StatIsAskedOnceForEachNewFlag) {
    Make(4);
    EXPECT_EQ(L"scripted", Name());
    const base::CTaskMem<wchar_t> firstName = std::move(name);  // each caller has one of its own
    source.ReportSize(99);
    EXPECT_EQ(L"scripted", Name());
    EXPECT_NE(firstName.Get(), name.Get());
    EXPECT_EQ(16u, stat.cbSize.QuadPart);
    EXPECT_EQ(1, source.Calls(StatCall));
    source.On(StatCall, 0, {.result = STG_E_ACCESSDENIED});
    for (const HRESULT expected : {STG_E_ACCESSDENIED, S_OK}) {  // not even a failure is asked for again
        EXPECT_EQ(expected, Stat(STATFLAG_NONAME));
        EXPECT_EQ(0u, stat.cbSize.QuadPart);
        EXPECT_FALSE(name);
    }
    source.On(StatCall, 0, {.nothing = true});
    EXPECT_EQ(L"", Name());
    EXPECT_EQ(99u, stat.cbSize.QuadPart);
    EXPECT_EQ(3, source.Calls(StatCall));
}

int g_tables = 0;

HRESULT OneTable(IGlobalInterfaceTable** table) {
    return g_tables++ > 0 ? E_OUTOFMEMORY
                          : ::CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_ALL, IID_PPV_ARGS(table));
}

TEST_F(CBufferedStreamTest, ACloneOrACopyGoesOnFromThePosition) {
    Make(4);
    for (const auto& [step, result] : {std::pair<Step, HRESULT>{{.throws = true}, E_UNEXPECTED},
                                       {{.nothing = true}, E_UNEXPECTED},
                                       {{.result = STG_E_ACCESSDENIED}, STG_E_ACCESSDENIED}}) {
        source.On(CloneCall, 0, step);
        EXPECT_EQ(result, FailedClone());
    }
    g_tables = 0;
    TKFSetGlobalInterfaceTableProvider(&OneTable);
    EXPECT_EQ(E_OUTOFMEMORY, FailedClone()) << "it can't be held";
    TKFSetGlobalInterfaceTableProvider(nullptr);
    EXPECT_EQ(Got(S_OK, "012345"), Read(6));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    CScriptedStream& clonedSource = *source.LastClone();
    EXPECT_EQ(At(S_OK, 6), Seek(0, STREAM_SEEK_CUR, clone.Get()));
    EXPECT_EQ(Got(S_OK, "67"), Read(2, clone.Get()));
    EXPECT_EQ(0, clonedSource.Calls(ReadCall));
    EXPECT_EQ(Got(S_OK, "89"), Read(2, clone.Get()));
    EXPECT_EQ(4u, clonedSource.LastReadSize());

    CScriptedStream target;  // position and buffer are the stream's own
    EXPECT_EQ(S_OK, stream->CopyTo(&target, Bytes(3), nullptr, nullptr));
    EXPECT_EQ("678", target.Contents());
    stream.Reset();
    EXPECT_EQ(Got(S_FALSE, "abcdef"), Read(7, clone.Get()));
    clone.Reset();
    EXPECT_EQ(0u, clonedSource.References());
}

TEST_F(CBufferedStreamTest, OtherApartmentsReachTheSourceInItsOwn) {
    Make(4);
    std::thread([&] {
        const CTestApartment other(COINIT_APARTMENTTHREADED);
        EXPECT_EQ(Got(S_OK, "0123456789"), Read(10));
        EXPECT_NE(::GetCurrentThreadId(), source.LastThread());
        EXPECT_EQ(At(S_OK, 13), Seek(-3, STREAM_SEEK_END));
        EXPECT_EQ(Got(S_FALSE, "def"), Read(10));
    }).join();
    EXPECT_EQ(At(S_OK, 0), Seek(0, STREAM_SEEK_SET));
    EXPECT_EQ(Got(S_OK, "0"), Read(1));
}

TEST_F(CBufferedStreamTest, NoReaderWaitsForMoreThanItAskedFor) {
    const struct {
        const char* what;
        ULONGLONG here;
        ULONG wanted;
        Got got;
        ULONG lastRead;
    } rows[] = {
        {"more than is wanted", 3, 1, {S_OK, "0"}, 3},
        {"more than there is room for", 16, 1, {S_OK, "0"}, 8},
        {"the second block has to come", 10, 9, {S_OK, "012345678"}, 2},
        {"the rest of it fails", 10, 12, {S_FALSE, "01234567"}, 4},
        {"nothing is here", 0, 2, {STG_E_READFAULT, ""}, 2},
        {"some of it is here", 1, 2, {STG_E_READFAULT, ""}, 2},
        {"less than a block is wanted", 0, 99, {STG_E_READFAULT, ""}, 8},
    };
    source.FailWaits(STG_E_READFAULT);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        source.HaveControl(row.here);
        Make(8);
        EXPECT_EQ(row.got, Read(row.wanted));
        EXPECT_EQ(row.lastRead, source.LastReadSize());
        EXPECT_EQ(CScriptedStream::Awaited(0, 8, 0), source.TakeAwaits().front());
    }
}

TEST_F(CBufferedStreamTest, AnswersTheControlThatItsSourceHasAtFirst) {
    ComPtr<ITKDSSourceControl> control, ofClone;
    Make(4);
    source.HaveControl(9);
    EXPECT_EQ(E_NOINTERFACE, stream.As(&control));
    ComPtr<framework::CReplayStream> replay;
    ASSERT_EQ(S_OK, framework::MakeComObject<framework::CReplayStream>(&replay));
    ASSERT_EQ(S_OK, replay->Initialize(&source));
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(replay.Get(), &stream, 4));
    ASSERT_EQ(S_OK, stream.As(&control));
    ComPtr<IUnknown> identity, ofControl;
    ComPtr<IStream> back, clone;
    EXPECT_TRUE(stream.As(&identity) == S_OK && control.As(&ofControl) == S_OK && identity == ofControl);
    EXPECT_TRUE(control.As(&back) == S_OK && back == stream);
    EXPECT_EQ(E_POINTER, stream->QueryInterface(__uuidof(ITKDSSourceControl), nullptr));

    MIDL_uhyper here = 0;
    EXPECT_EQ(E_PENDING, control->Await(2, 9, 7, &here));
    EXPECT_EQ(7u, here);
    EXPECT_EQ((std::vector{CScriptedStream::Awaited(2, 9, 7)}), source.TakeAwaits());
    source.status.requests = 5;
    TKDS_SOURCE_STATUS status{};
    TKDS_RANGE range{};
    ULONG count = 9;
    EXPECT_TRUE(control->GetStatus(&status) == S_OK && status.requests == 5);
    EXPECT_TRUE(control->GetRanges(1, &range, &count) == S_OK && count == 1 && range.end == 9);
    EXPECT_EQ(E_INVALIDARG, control->SetSilenceLimit(50));
    EXPECT_EQ(50u, source.status.silenceLimit);

    source.HaveControl(0);
    {
        const CSecondCall reader([&] { EXPECT_EQ(Got(E_ABORT, ""), Read(2)); });
        EXPECT_TRUE(source.WaitUntilWaiting());
        EXPECT_EQ(S_OK, control->AbortReads());
    }
    EXPECT_TRUE(source.AreReadsGivenUp());
    EXPECT_EQ(S_OK, control->AllowReads());
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    ASSERT_EQ(S_OK, clone.As(&ofClone));
    EXPECT_EQ(S_OK, ofClone->AbortReads());
    EXPECT_TRUE(!source.AreReadsGivenUp() && source.LastClone()->AreReadsGivenUp());
}

}  // namespace
