// What a buffered stream tells of its source, its clones and copies, and how it crosses apartments.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <thread>

namespace {

using enum CScriptedStream::Kind;
using Step = CScriptedStream::Step;

struct CBufferedStreamStatCloneTest : StreamTest {
    void SetUp() override { ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, 4)); }
    ~CBufferedStreamStatCloneTest() override {
        stream.Reset();
        EXPECT_EQ(0u, source.References());
    }
    const CTestApartment apartment{COINIT_APARTMENTTHREADED};
    CScriptedStream source{"0123456789abcdef"};
};

TEST_F(CBufferedStreamStatCloneTest, StatIsAskedOnceForEachNewFlag) {
    EXPECT_EQ(L"scripted", Name());
    EXPECT_EQ(16u, stat.cbSize.QuadPart);
    EXPECT_EQ(static_cast<DWORD>(STGTY_STREAM), stat.type);
    source.ReportSize(99);
    const CTaskMem<wchar_t> firstName = std::move(name);  // each caller has one of its own
    EXPECT_EQ(L"scripted", Name());
    EXPECT_NE(firstName.Get(), name.Get());
    EXPECT_EQ(16u, stat.cbSize.QuadPart);
    EXPECT_EQ(1, source.Calls(kStat));

    EXPECT_EQ(S_OK, Stat(STATFLAG_NONAME));
    EXPECT_EQ(99u, stat.cbSize.QuadPart);
    EXPECT_FALSE(name);
    source.ReportSize(100);
    source.On(kStat, 0, {.nothing = true});  // success without a name
    EXPECT_EQ(L"", Name());
    EXPECT_EQ(100u, stat.cbSize.QuadPart);
}

TEST_F(CBufferedStreamStatCloneTest, StatThatFailedIsNotAskedAgainWithTheSameFlag) {
    for (const auto& [step, result] : {std::pair<Step, HRESULT>{{.result = STG_E_ACCESSDENIED}, STG_E_ACCESSDENIED},
                                       {{.throws = true}, E_UNEXPECTED}}) {
        EXPECT_EQ(S_OK, Stat(STATFLAG_DEFAULT));
        source.On(kStat, 0, step);
        const int asked = source.Calls(kStat);
        for (const HRESULT expected : {result, S_OK}) {
            EXPECT_EQ(expected, Stat(STATFLAG_NONAME));
            EXPECT_EQ(0u, stat.cbSize.QuadPart);
            EXPECT_FALSE(name);
        }
        EXPECT_EQ(asked + 1, source.Calls(kStat));
    }
}

TEST_F(CBufferedStreamStatCloneTest, ACloneGoesOnFromThePositionAndTheBufferedBytes) {
    EXPECT_EQ(Got(S_OK, "012345"), Read(6));
    EXPECT_EQ(S_OK, Stat(STATFLAG_NONAME));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    CScriptedStream& clonedSource = *source.LastClone();
    EXPECT_EQ(Got(S_OK, "67"), Read(2, clone.Get()));
    EXPECT_EQ(0, clonedSource.Calls(kRead));
    EXPECT_EQ(Got(S_OK, "89"), Read(2, clone.Get()));
    EXPECT_EQ(4u, clonedSource.LastReadSize());
    clonedSource.ReportSize(7);
    EXPECT_EQ(S_OK, Stat(STATFLAG_NONAME, clone.Get()));
    EXPECT_EQ(7u, stat.cbSize.QuadPart);

    EXPECT_EQ(Got(S_OK, "678"), Read(3));  // position and buffer are its own
    stream.Reset();
    EXPECT_EQ(Got(S_FALSE, "abcdef"), Read(7, clone.Get()));
    clone.Reset();
    EXPECT_EQ(0u, clonedSource.References());
}

TEST_F(CBufferedStreamStatCloneTest, ACloneThatFailsHandsOutNothing) {
    for (const auto& [step, result] : {std::pair<Step, HRESULT>{{.result = E_NOTIMPL}, E_NOTIMPL},
                                       {{.throws = true}, E_UNEXPECTED},
                                       {{.nothing = true}, E_UNEXPECTED}}) {
        source.On(kClone, 0, step);
        IStream* poisoned = &source;
        EXPECT_EQ(result, stream->Clone(&poisoned));
        EXPECT_EQ(nullptr, poisoned);
    }
}

TEST_F(CBufferedStreamStatCloneTest, CopiesFromWhereItStands) {
    CScriptedStream target;
    ULARGE_INTEGER read{}, written{};
    EXPECT_EQ(Got(S_OK, "012"), Read(3));
    EXPECT_EQ(S_OK, stream->CopyTo(&target, Bytes(5), &read, &written));
    EXPECT_EQ("34567", target.Contents());
    EXPECT_EQ(S_OK, stream->CopyTo(&target, Bytes(50), &read, &written));
    EXPECT_EQ(8u, read.QuadPart);
    EXPECT_EQ("3456789abcdef", target.Contents());
}

TEST_F(CBufferedStreamStatCloneTest, OtherApartmentsUseTheVeryPointerAndReachTheSourceInItsOwn) {
    ComPtr<IStream> parcel;
    ASSERT_EQ(S_OK, ::CoMarshalInterThreadInterfaceInStream(__uuidof(IStream), stream.Get(), &parcel));
    const DWORD homeThread = ::GetCurrentThreadId();
    HANDLE done = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const CAutoHandle closesDone(done);
    std::thread other([&] {
        {
            const CTestApartment mta(COINIT_MULTITHREADED);
            ComPtr<IStream> received;
            EXPECT_EQ(S_OK, ::CoUnmarshalInterface(parcel.Get(), IID_PPV_ARGS(&received)));
            EXPECT_EQ(stream, received);
            EXPECT_EQ(Got(S_OK, "0123456789"), Read(10));
            EXPECT_EQ(homeThread, source.LastThread());
            EXPECT_EQ(At(S_OK, 13), Seek(-3, STREAM_SEEK_END));
            EXPECT_EQ(Got(S_FALSE, "def"), Read(10));
            EXPECT_EQ(S_OK, Stat(STATFLAG_NONAME));
        }
        ::SetEvent(done);
    });
    // Serves the calls.
    while (::MsgWaitForMultipleObjects(1, &done, FALSE, 30'000, QS_ALLINPUT) == WAIT_OBJECT_0 + 1)
        for (MSG message; ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);)
            ::DispatchMessageW(&message);
    other.join();
    EXPECT_EQ(At(S_OK, 0), Seek(0, STREAM_SEEK_SET));
    EXPECT_EQ(Got(S_OK, "0"), Read(1));
}

}  // namespace
