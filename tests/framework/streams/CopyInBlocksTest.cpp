#include "framework/streams/CopyInBlocks.h"

#include "framework/streams/CBufferedStream.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

using Microsoft::WRL::ComPtr;

namespace {

using Kind = CScriptedStream::Kind;
using Step = CScriptedStream::Step;

ULARGE_INTEGER Bytes(ULONGLONG bytes) {
    ULARGE_INTEGER count;
    count.QuadPart = bytes;
    return count;
}

constexpr ULONGLONG kAll = std::numeric_limits<ULONGLONG>::max();
constexpr ULONGLONG kSize = 40'000;  // two blocks and a part of one

TEST(CopyInBlocksTest, CopiesAsDescribedWhateverTheSidesDo) {
    struct {
        const char* what;
        ULONGLONG cb;
        Kind kind;
        int nth;
        Step step;
        HRESULT result;
        ULONGLONG read;
        ULONGLONG written;
        int reads;
        int writes;
    } const rows[] = {
        {"everything", kSize, Kind::kStat, 0, {}, S_OK, kSize, kSize, 3, 3},
        {"nothing", 0, Kind::kStat, 0, {}, S_OK, 0, 0, 0, 0},
        {"one block", 16'384, Kind::kStat, 0, {}, S_OK, 16'384, 16'384, 1, 1},
        {"one byte more than a block", 16'385, Kind::kStat, 0, {}, S_OK, 16'385, 16'385, 2, 2},
        {"more than there is", kAll, Kind::kStat, 0, {}, S_OK, kSize, kSize, 3, 3},
        {"short read", kAll, Kind::kRead, 1, {.bytes = 5}, S_OK, 16'389, 16'389, 2, 2},
        {"failed read", kAll, Kind::kRead, 1, {.result = STG_E_READFAULT}, S_OK, 16'384, 16'384, 2, 2},
        {"read that fails with bytes", kAll, Kind::kRead, 0, {.result = STG_E_READFAULT, .bytes = 9}, S_OK, 9, 9, 1, 1},
        {"short write", kAll, Kind::kWrite, 0, {.bytes = 5}, STG_E_MEDIUMFULL, kSize, kSize - 16'379, 3, 3},
        {"failed write", kAll, Kind::kWrite, 2, {.result = E_FAIL}, STG_E_MEDIUMFULL, kSize, 32'768, 3, 3},
        {"write that claims more", kAll, Kind::kWrite, 2, {.claim = 7'233}, STG_E_MEDIUMFULL, kSize, kSize + 1, 3, 3},
        {"write that throws", kAll, Kind::kWrite, 1, {.throws = true}, E_UNEXPECTED, 32'768, 16'384, 2, 2},
    };
    std::string contents(kSize, '\0');
    for (size_t i = 0; i < contents.size(); ++i)
        contents[i] = static_cast<char>(i % 251);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CScriptedStream source(contents), target;
        (row.kind == Kind::kWrite ? target : source).On(row.kind, row.nth, row.step);
        ULARGE_INTEGER read = Bytes(0xDEAD), written = Bytes(0xDEAD);
        EXPECT_EQ(row.result, CopyInBlocks(source, &target, Bytes(row.cb), &read, &written));
        EXPECT_EQ(row.read, read.QuadPart);
        EXPECT_EQ(row.written, written.QuadPart);
        EXPECT_EQ(row.reads, source.Calls(Kind::kRead));
        EXPECT_EQ(row.writes, target.Calls(Kind::kWrite));
        if (row.result == S_OK) {
            EXPECT_TRUE(target.Contents() == contents.substr(0, static_cast<size_t>(row.read)));
        }
    }
}

TEST(CopyInBlocksTest, DoesWithoutTotalsButNotWithoutATarget) {
    CScriptedStream source("0123"), target;
    EXPECT_EQ(S_OK, CopyInBlocks(source, &target, Bytes(3), nullptr, nullptr));
    EXPECT_EQ("012", target.Contents());

    ULARGE_INTEGER read = Bytes(0xDEAD), written = Bytes(0xDEAD);
    EXPECT_EQ(E_POINTER, CopyInBlocks(source, nullptr, Bytes(1), &read, &written));
    EXPECT_EQ(0u, read.QuadPart);
    EXPECT_EQ(0u, written.QuadPart);
}

TEST(CopyInBlocksTest, ABufferedStreamCopiesFromWhereItStands) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    CScriptedStream source("0123456789"), target;
    ComPtr<IStream> stream;
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, 4));
    char skipped[3];
    ASSERT_EQ(S_OK, stream->Read(skipped, 3, nullptr));
    ULARGE_INTEGER read{}, written{};
    EXPECT_EQ(S_OK, stream->CopyTo(&target, Bytes(5), &read, &written));
    EXPECT_EQ("34567", target.Contents());
    EXPECT_EQ(S_OK, stream->CopyTo(&target, Bytes(5), &read, &written));
    EXPECT_EQ(2u, read.QuadPart);
    EXPECT_EQ("3456789", target.Contents());
}

}  // namespace
