// What is kept of a live source's start, and what a seek that fails leaves; StreamModelTest has the long use.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

namespace {

using CReplayStreamTest = StreamTest;

TEST_F(CReplayStreamTest, GivesAgainWhatItKeptAndStandsWhereItSaysAfterASeekThatFails) {
    using enum CScriptedStream::Kind;
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CScriptedStream source("0123456789abcdef");
    source.Seek(By(2), STREAM_SEEK_SET, nullptr);
    source.RefuseSeeks();
    ComPtr<CReplayStream> replay;
    ASSERT_EQ(S_OK, MakeComObject<CReplayStream>(&replay));
    ASSERT_EQ(S_OK, replay->Initialize(&source));
    stream = replay;
    source.On(kSeek, 0, {.throws = true});
    EXPECT_EQ(At(E_UNEXPECTED, 2), Seek(9, STREAM_SEEK_SET)) << "nothing is kept, and the source says nothing";
    source.On(kRead, 0, {.claim = 0xFFFFFFFF});
    EXPECT_EQ(Got(S_OK, "2345"), Read(4));
    for (const LONGLONG nowhere : {9, 1}) {
        EXPECT_EQ(At(S_OK, 3), Seek(3, STREAM_SEEK_SET));
        EXPECT_EQ(At(STG_E_INVALIDFUNCTION, 3), Seek(nowhere, STREAM_SEEK_SET)) << "the source stands at 6";
        EXPECT_EQ(Got(S_FALSE, "345"), Read(9)) << "no piece waits for the source";
    }
    EXPECT_EQ(At(S_OK, 6), Seek(6, STREAM_SEEK_SET)) << "asks the source for nothing";
    Seek(4, STREAM_SEEK_SET);
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    EXPECT_EQ(Got(S_FALSE, "45"), Read(9, clone.Get()));
    EXPECT_EQ(Got(S_OK, "67"), Read(2, clone.Get()));
    clone.Reset();
    replay->EndKeeping();
    EXPECT_EQ(Got(S_FALSE, "45"), Read(9));
    EXPECT_EQ(Got(S_OK, "67"), Read(2));
    EXPECT_EQ(At(STG_E_INVALIDFUNCTION, 8), Seek(2, STREAM_SEEK_SET)) << "it was kept once only";
    EXPECT_EQ(Got(S_FALSE, "89abcdef"), Read(9));
    stream.Reset();
    replay.Reset();
    EXPECT_EQ(0u, source.References());
}

}  // namespace
