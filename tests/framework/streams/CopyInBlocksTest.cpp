#include "framework/streams/CopyInBlocks.h"

#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"

namespace {

using enum CScriptedStream::Kind;

TEST(CopyInBlocksTest, CopiesAsDescribedWhateverTheSidesDo) {
    constexpr ULONGLONG kAll = 0xFFFFFFFFFFFFFFFF;
    constexpr ULONGLONG kSize = 40'000;  // two blocks and a part of one
    const struct {
        const char* what;
        ULONGLONG cb;
        CScriptedStream::Kind kind;
        int nth;
        CScriptedStream::Step step;
        HRESULT result;
        ULONGLONG read, written;
        int calls;  // of reads, and of writes
    } rows[] = {
        {"one byte more than a block", 16'385, kStat, 0, {}, S_OK, 16'385, 16'385, 2},
        {"more than there is", kAll, kStat, 0, {}, S_OK, kSize, kSize, 3},
        {"short read", kAll, kRead, 1, {.bytes = 5}, S_OK, 16'389, 16'389, 2},
        {"failed read", kAll, kRead, 1, {.result = STG_E_READFAULT}, S_OK, 16'384, 16'384, 2},
        {"read that fails with bytes", kAll, kRead, 0, {.result = STG_E_READFAULT, .bytes = 9}, S_OK, 9, 9, 1},
        {"write that claims more", kAll, kWrite, 2, {.claim = 7'233}, STG_E_MEDIUMFULL, kSize, kSize + 1, 3},
        {"write that throws", kAll, kWrite, 1, {.throws = true}, STG_E_MEDIUMFULL, kSize, 23'616, 3},
    };
    std::string contents(kSize, '\0');
    for (size_t i = 0; i < contents.size(); ++i)
        contents[i] = static_cast<char>(i % 251);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CScriptedStream source(contents), target;
        (row.kind == kWrite ? target : source).On(row.kind, row.nth, row.step);
        ULARGE_INTEGER read = Bytes(0xDEAD), written = Bytes(0xDEAD);
        EXPECT_EQ(row.result, CopyInBlocks(source, &target, Bytes(row.cb), &read, &written));
        EXPECT_EQ(row.read, read.QuadPart);
        EXPECT_EQ(row.written, written.QuadPart);
        EXPECT_TRUE(row.calls == source.Calls(kRead) && row.calls == target.Calls(kWrite));
        EXPECT_TRUE(row.result != S_OK || target.Contents() == contents.substr(0, static_cast<size_t>(row.read)));
    }
    CScriptedStream source("0123");
    ULARGE_INTEGER read = Bytes(0xDEAD), written = Bytes(0xDEAD);
    EXPECT_EQ(E_POINTER, CopyInBlocks(source, nullptr, Bytes(1), &read, &written));
    EXPECT_EQ(0u, read.QuadPart + written.QuadPart);
}

}  // namespace
