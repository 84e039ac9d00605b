// What a buffered stream tells of its source, and its clones.
#include "framework/com/CTaskMem.h"
#include "framework/streams/CBufferedStream.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <string>

using Microsoft::WRL::ComPtr;

namespace {

using Step = CScriptedStream::Step;

struct CBufferedStreamStatCloneTest : ::testing::Test {
    void SetUp() override { ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, 4)); }
    ~CBufferedStreamStatCloneTest() override {
        stream.Reset();
        EXPECT_EQ(0u, source.References());
    }

    // Asks into a poisoned record; `name` owns its name.
    HRESULT Stat(DWORD flag) {
        memset(&stat, 0xCC, sizeof(stat));
        const HRESULT hr = stream->Stat(&stat, flag);
        name.Reset(stat.pwcsName);
        return hr;
    }

    static std::string Read(IStream* from, ULONG cb) {
        std::string bytes(cb, '?');
        ULONG count = 0;
        EXPECT_HRESULT_SUCCEEDED(from->Read(bytes.data(), cb, &count));
        bytes.resize(count);
        return bytes;
    }

    const CTestApartment apartment{COINIT_MULTITHREADED};
    CScriptedStream source{"0123456789abcdef"};
    ComPtr<IStream> stream;
    STATSTG stat{};
    CTaskMem<wchar_t> name;
};

TEST_F(CBufferedStreamStatCloneTest, StatIsAskedOnceForEachNewFlag) {
    EXPECT_EQ(S_OK, Stat(STATFLAG_DEFAULT));
    ASSERT_TRUE(name);
    EXPECT_STREQ(L"scripted", name.Get());
    EXPECT_EQ(16u, stat.cbSize.QuadPart);
    EXPECT_EQ(static_cast<DWORD>(STGTY_STREAM), stat.type);

    // The record is the first call's, but each caller has a name of its own.
    source.ReportSize(99);
    const CTaskMem<wchar_t> firstName = std::move(name);
    EXPECT_EQ(S_OK, Stat(STATFLAG_DEFAULT));
    EXPECT_EQ(16u, stat.cbSize.QuadPart);
    EXPECT_STREQ(L"scripted", name.Get());
    EXPECT_NE(firstName.Get(), name.Get());
    EXPECT_EQ(1, source.Calls(CScriptedStream::kStat));

    EXPECT_EQ(S_OK, Stat(STATFLAG_NONAME));
    EXPECT_EQ(99u, stat.cbSize.QuadPart);
    EXPECT_FALSE(name);
    EXPECT_EQ(2, source.Calls(CScriptedStream::kStat));

    source.ReportSize(100);
    EXPECT_EQ(S_OK, Stat(STATFLAG_DEFAULT));
    EXPECT_EQ(100u, stat.cbSize.QuadPart);
}

TEST_F(CBufferedStreamStatCloneTest, StatThatFailedIsNotAskedAgainWithTheSameFlag) {
    struct {
        Step step;
        HRESULT result;
    } const rows[] = {{{.result = STG_E_ACCESSDENIED}, STG_E_ACCESSDENIED}, {{.throws = true}, E_UNEXPECTED}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.result);
        EXPECT_EQ(S_OK, Stat(STATFLAG_DEFAULT));
        source.On(CScriptedStream::kStat, 0, row.step);
        EXPECT_EQ(row.result, Stat(STATFLAG_NONAME));
        EXPECT_EQ(0u, stat.cbSize.QuadPart);
        EXPECT_FALSE(name);

        const int asked = source.Calls(CScriptedStream::kStat);
        EXPECT_EQ(S_OK, Stat(STATFLAG_NONAME));
        EXPECT_EQ(0u, stat.cbSize.QuadPart);
        EXPECT_EQ(asked, source.Calls(CScriptedStream::kStat));
    }
}

TEST_F(CBufferedStreamStatCloneTest, StatTakesSuccessWithoutAName) {
    source.On(CScriptedStream::kStat, 0, {.nothing = true});
    EXPECT_EQ(S_OK, Stat(STATFLAG_DEFAULT));
    EXPECT_FALSE(name);
    EXPECT_EQ(16u, stat.cbSize.QuadPart);
}

TEST_F(CBufferedStreamStatCloneTest, ACloneGoesOnFromThePositionAndTheBufferedBytes) {
    EXPECT_EQ("012345", Read(stream.Get(), 6));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    CScriptedStream& clonedSource = *source.LastClone();

    EXPECT_EQ("67", Read(clone.Get(), 2));
    EXPECT_EQ(0, clonedSource.Calls(CScriptedStream::kRead));
    EXPECT_EQ("89", Read(clone.Get(), 2));
    EXPECT_EQ(4u, clonedSource.LastReadSize());

    // Each has a position and a buffer of its own.
    EXPECT_EQ("678", Read(stream.Get(), 3));
    EXPECT_EQ("ab", Read(clone.Get(), 2));
    stream.Reset();
    EXPECT_EQ("cdef", Read(clone.Get(), 5));
    clone.Reset();
    EXPECT_EQ(0u, clonedSource.References());
}

TEST_F(CBufferedStreamStatCloneTest, ACloneAsksItsOwnSourceForTheStat) {
    EXPECT_EQ(S_OK, Stat(STATFLAG_NONAME));
    ComPtr<IStream> clone;
    ASSERT_EQ(S_OK, stream->Clone(&clone));
    source.LastClone()->ReportSize(7);
    STATSTG other{};
    EXPECT_EQ(S_OK, clone->Stat(&other, STATFLAG_NONAME));
    EXPECT_EQ(7u, other.cbSize.QuadPart);
}

TEST_F(CBufferedStreamStatCloneTest, ACloneThatFailsHandsOutNothing) {
    struct {
        Step step;
        HRESULT result;
    } const rows[] = {
        {{.result = E_NOTIMPL}, E_NOTIMPL}, {{.throws = true}, E_UNEXPECTED}, {{.nothing = true}, E_UNEXPECTED}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.result);
        source.On(CScriptedStream::kClone, 0, row.step);
        IStream* poisoned = &source;
        EXPECT_EQ(row.result, stream->Clone(&poisoned));
        EXPECT_EQ(nullptr, poisoned);
    }
}

TEST_F(CBufferedStreamStatCloneTest, AnswersItsInterfaces) {
    for (const IID& iid : {__uuidof(ISequentialStream), __uuidof(IStream), __uuidof(IMarshal), __uuidof(IUnknown)}) {
        ComPtr<IUnknown> answer;
        EXPECT_EQ(S_OK, stream->QueryInterface(iid, reinterpret_cast<void**>(answer.GetAddressOf())));
    }
}

}  // namespace
