// What is kept of a source's start, and how it is given up.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/RandomBytes.h"

namespace {

using enum CScriptedStream::Kind;
using Seeks = CScriptedStream::Seeks;

struct CReplayStreamTest : StreamTest {
    ~CReplayStreamTest() override {
        stream.Reset();
        replay.Reset();
        EXPECT_EQ(0u, source.References());
    }
    // A fresh stream over the source, which stands at 2.
    void Make(Seeks seeks) {
        source.RefuseSeeks(Seeks::All);
        source.Seek(By(2), STREAM_SEEK_SET, nullptr);
        source.RefuseSeeks(seeks);
        ASSERT_EQ(S_OK, framework::MakeComObject<framework::CReplayStream>(replay.ReleaseAndGetAddressOf()));
        ASSERT_EQ(S_OK, replay->Initialize(&source));
        stream = replay;
    }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream source{"0123456789abcdef"};
    ComPtr<framework::CReplayStream> replay;
};

TEST_F(CReplayStreamTest, WhatASourceThatDoesNotComeBackHasGivenIsGivenOnceMore) {
    for (const auto& [seeks, failure] : {std::pair{Seeks::None, STG_E_INVALIDFUNCTION},
                                         {Seeks::Onwards, STG_E_INVALIDFUNCTION},
                                         {Seeks::Claimed, STG_E_SEEKERROR}}) {
        Make(seeks);
        source.On(ReadCall, 0, {.claim = 0xFFFFFFFF});
        EXPECT_EQ(Got(S_OK, "2345"), Read(4));
        for (const LONGLONG nowhere : {9, 1}) {
            EXPECT_EQ(At(S_OK, 3), Seek(3, STREAM_SEEK_SET));
            EXPECT_EQ(At(failure, 3), Seek(nowhere, STREAM_SEEK_SET));
            EXPECT_EQ(At(failure, 3), Seek(0, STREAM_SEEK_END));
            EXPECT_EQ(Got(S_FALSE, "345"), Read(9)) << "no piece waits for the source";
        }
        const int seeksBefore = source.Calls(SeekCall);
        EXPECT_EQ(At(S_OK, 6), Seek(6, STREAM_SEEK_SET));
        EXPECT_EQ(At(S_OK, 2), Seek(-4, STREAM_SEEK_CUR));
        EXPECT_EQ(seeksBefore, source.Calls(SeekCall)) << "what is kept";
        Seek(4, STREAM_SEEK_SET);
        ComPtr<IStream> clone;
        ASSERT_EQ(S_OK, stream->Clone(&clone));
        EXPECT_EQ(Got(S_OK, "45"), Read(2, clone.Get()));
        EXPECT_EQ(Got(S_OK, "67"), Read(2, clone.Get()));
        source.LastClone()->RefuseSeeks();
        EXPECT_EQ(At(STG_E_INVALIDFUNCTION, 8), Seek(4, STREAM_SEEK_SET, clone.Get())) << "a clone keeps nothing";
        clone.Reset();
        replay->EndKeeping();
        EXPECT_EQ(Got(S_FALSE, "45"), Read(9));
        EXPECT_EQ(Got(S_OK, "67"), Read(2));
        const At back = seeks == Seeks::Claimed ? At(S_OK, 0) : At(STG_E_INVALIDFUNCTION, 8);
        EXPECT_EQ(back, Seek(2, STREAM_SEEK_SET)) << "it was kept once only";
        EXPECT_EQ(Got(S_FALSE, "89abcdef"), Read(9));
    }
    Make(Seeks::Onwards);
    Read(4);
    Seek(3, STREAM_SEEK_SET);
    replay->EndKeeping();
    EXPECT_EQ(At(S_OK, 9), Seek(6, STREAM_SEEK_CUR)) << "who reads may pass over what is kept";
    EXPECT_EQ(Got(S_OK, "9a"), Read(2));
}

TEST_F(CReplayStreamTest, ASourceThatComesBackIsCalledAsItIs) {
    Make(Seeks::All);
    source.On(SeekCall, 0, {.throws = true});
    EXPECT_EQ(At(E_UNEXPECTED, 0), Seek(9, STREAM_SEEK_SET)) << "nothing is kept, and the source says nothing";
    EXPECT_EQ(At(S_OK, 2), Seek(2, STREAM_SEEK_SET));
    const int seeks = source.Calls(SeekCall);
    source.On(ReadCall, 0, {.result = S_OK, .bytes = 3});
    EXPECT_EQ(Got(S_FALSE, "234"), Read(4));
    EXPECT_EQ(At(S_OK, 3), Seek(3, STREAM_SEEK_SET));
    source.On(SeekCall, 2, {.result = STG_E_SEEKERROR, .claim = 3});
    EXPECT_EQ(At(STG_E_SEEKERROR, 3), Seek(9, STREAM_SEEK_SET));
    EXPECT_EQ(seeks + 3, source.Calls(SeekCall)) << "there and back, and the one that was asked for";
    EXPECT_EQ(Got(S_OK, "345678"), Read(6)) << "nothing is kept any more";
    EXPECT_EQ(At(S_OK, 14), Seek(-2, STREAM_SEEK_END));
    EXPECT_EQ(At(STG_E_INVALIDFUNCTION, 0), Seek(1, 3)) << "the source knows its origins";
    EXPECT_EQ(At(S_OK, 14), Seek(0, STREAM_SEEK_CUR));
    EXPECT_EQ(seeks + 6, source.Calls(SeekCall));

    Make(Seeks::All);
    Read(4);
    Seek(3, STREAM_SEEK_SET);
    replay->EndKeeping();
    EXPECT_EQ(Got(S_OK, "345678"), Read(6)) << "it has been moved to where the reader stands";
    Make(Seeks::All);
    Read(4);
    const int before = source.Calls(SeekCall);
    replay->EndKeeping();
    EXPECT_EQ(before, source.Calls(SeekCall)) << "where it stands already";
    EXPECT_EQ(Got(S_OK, "67"), Read(2));
}

TEST_F(CReplayStreamTest, ReadsNoMoreThanItKeepsOfASourceThatDoesNotComeBack) {
    constexpr ULONG kMost = framework::CReplayStream::kMostKept;
    const std::string contents = RandomBytes(1, 2 + kMost + 9);
    source.SetContents(contents);
    for (const Seeks seeks : {Seeks::None, Seeks::Onwards, Seeks::Claimed}) {
        Make(seeks);
        Read(9);
        EXPECT_EQ(Got(S_FALSE, contents.substr(11, kMost - 9)), Read(kMost - 8));
        EXPECT_EQ(Got(S_FALSE, ""), Read(1));
        EXPECT_EQ(At(S_OK, 2), Seek(2, STREAM_SEEK_SET));
        replay->EndKeeping();
        EXPECT_EQ(Got(S_OK, contents.substr(2, kMost)), Read(kMost));
        EXPECT_EQ(Got(S_FALSE, contents.substr(2 + kMost)), Read(10));
    }
    Make(Seeks::All);
    Read(9);
    EXPECT_EQ(Got(S_OK, contents.substr(11, kMost - 8)), Read(kMost - 8));
    EXPECT_EQ(At(S_OK, 2), Seek(2, STREAM_SEEK_SET)) << "by the source, which has shown that it comes back";
    Make(Seeks::All);
    Read(9);
    source.On(SeekCall, 1, {.result = STG_E_SEEKERROR});
    EXPECT_EQ(Got(STG_E_SEEKERROR, ""), Read(kMost)) << "it has gone back, and not come again";
    EXPECT_EQ(Got(S_OK, contents.substr(2, 9)), Read(9));
}

TEST_F(CReplayStreamTest, FailuresOfTheSourceAreItsOwn) {
    Make(Seeks::None);
    ExpectRefusals(E_POINTER);
    source.On(StatCall, 0, {.result = STG_E_ACCESSDENIED});
    EXPECT_EQ(STG_E_ACCESSDENIED, Stat(STATFLAG_NONAME));
    EXPECT_EQ(L"scripted", Name());
    source.On(CloneCall, 0, {.nothing = true});
    EXPECT_EQ(E_UNEXPECTED, FailedClone());
    source.On(CloneCall, 0, {.result = STG_E_ACCESSDENIED});
    EXPECT_EQ(STG_E_ACCESSDENIED, FailedClone());
    source.On(ReadCall, 0, {.result = STG_E_READFAULT, .bytes = 2});
    EXPECT_EQ(Got(STG_E_READFAULT, "23"), Read(4));
    EXPECT_EQ(At(S_OK, 2), Seek(2, STREAM_SEEK_SET));
    EXPECT_EQ(Got(S_OK, "23"), Read(2)) << "what comes with a failure is kept";
}

}  // namespace
