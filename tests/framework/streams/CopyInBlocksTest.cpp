// Copying in blocks: as most streams do it, and as the one in memory does, which stops at the first short write and
// tells its totals on success only.
#include "framework/streams/CopyInBlocks.h"

#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"

#include <thread>

namespace {

using enum CScriptedStream::Kind;

constexpr ULONGLONG kAll = 0xFFFFFFFFFFFFFFFF;
constexpr ULONGLONG kSize = 40'000;  // two blocks and a part of one

struct CopyInBlocksTest : StreamTest {
    CopyInBlocksTest() {
        for (size_t i = 0; i < contents.size(); ++i)
            contents[i] = static_cast<char>(i % 251);
    }
    std::string contents = std::string(kSize, '\0');
    ULARGE_INTEGER read{}, written{};
};

TEST_F(CopyInBlocksTest, CopiesAsDescribedWhateverTheTargetDoes) {
    const struct {
        const char* what;
        ULONGLONG cb;
        int nth;
        CScriptedStream::Step write;
        HRESULT result;
        ULONGLONG read, written;
        int writes, memoryWrites;
    } rows[] = {
        {"nothing", 0, 0, {}, S_OK, 0, 0, 0, 0},
        {"one byte more than a block", 16'385, 9, {}, S_OK, 16'385, 16'385, 2, 2},
        {"more than there is", kAll, 9, {}, S_OK, kSize, kSize, 3, 3},
        {"short write", kAll, 1, {.bytes = 5}, STG_E_MEDIUMFULL, kSize, 23'621, 3, 2},
        {"write that takes all and fails", kAll, 0, {.result = E_FAIL, .bytes = 16'384}, S_OK, kSize, kSize, 3, 3},
        {"write that claims more", kAll, 2, {.claim = 7'233}, STG_E_MEDIUMFULL, kSize, kSize + 1, 3, 3},
        {"write that throws", kAll, 1, {.throws = true}, STG_E_MEDIUMFULL, kSize, 23'616, 3, 2},
    };
    ASSERT_EQ(S_OK, TKFCreateMemoryStream(contents.data(), kSize, &stream));
    for (const auto& row : rows)
        for (const bool inMemory : {false, true}) {
            SCOPED_TRACE(row.what + std::string(inMemory ? " from memory" : ""));
            CScriptedStream source(contents), target;
            target.On(WriteCall, row.nth, row.write);
            read = written = Bytes(0xDEAD);
            EXPECT_EQ(At(S_OK, 0), Seek(0, STREAM_SEEK_SET));
            EXPECT_EQ(row.result, inMemory ? stream->CopyTo(&target, Bytes(row.cb), &read, &written)
                                           : framework::CopyInBlocks(source, &target, Bytes(row.cb), &read, &written));
            const bool silent = inMemory && FAILED(row.result);
            EXPECT_EQ(silent ? 0xDEAD : row.read, read.QuadPart);
            EXPECT_EQ(silent ? 0xDEAD : row.written, written.QuadPart);
            EXPECT_EQ(inMemory ? row.memoryWrites : row.writes, target.Calls(WriteCall));
            EXPECT_TRUE(FAILED(row.result) || target.Contents() == contents.substr(0, static_cast<size_t>(row.read)));
        }
    EXPECT_EQ(E_POINTER, stream->CopyTo(nullptr, Bytes(1), nullptr, nullptr));
    CScriptedStream source(contents);
    EXPECT_EQ(E_POINTER, framework::CopyInBlocks(source, nullptr, Bytes(1), &read, &written));
    EXPECT_EQ(0u, read.QuadPart + written.QuadPart);
}

TEST_F(CopyInBlocksTest, EndsBehindTheBytesOfTheFirstShortRead) {
    const std::pair<CScriptedStream::Step, ULONGLONG> rows[] = {
        {{.bytes = 5}, 16'389},
        {{.result = STG_E_READFAULT}, 16'384},
        {{.result = STG_E_READFAULT, .bytes = 9}, 16'393},
    };
    for (const auto& [step, total] : rows) {
        CScriptedStream source(contents), target;
        source.On(ReadCall, 1, step);
        EXPECT_EQ(S_OK, framework::CopyInBlocks(source, &target, Bytes(kAll), &read, &written));
        EXPECT_EQ(std::pair(total, total), std::pair(read.QuadPart, written.QuadPart));
        EXPECT_EQ(contents.substr(0, static_cast<size_t>(total)), target.Contents());
        EXPECT_EQ(2, source.Calls(ReadCall));
    }
}

TEST_F(CopyInBlocksTest, FromMemoryNoticesATargetThatChangesTheSource) {
    ASSERT_EQ(S_OK, TKFCreateMemoryStream(contents.data(), kSize, &stream));
    CScriptedStream target;
    target.On(WriteCall, 0, {.holds = true});
    std::thread copy([&] { EXPECT_EQ(E_FAIL, stream->CopyTo(&target, Bytes(kSize), nullptr, nullptr)); });
    EXPECT_TRUE(target.WaitUntilHeld());
    EXPECT_EQ(S_OK, stream->SetSize(Bytes(16'384)));
    target.LetGo();
    copy.join();
    ASSERT_EQ(S_OK, TKFCreateMemoryStream("0123456789", 10, stream.ReleaseAndGetAddressOf()));
    EXPECT_EQ(S_OK, stream->CopyTo(stream.Get(), Bytes(4), nullptr, nullptr)) << "into itself";
    EXPECT_EQ(At(S_OK, 0), Seek(0, STREAM_SEEK_SET));
    EXPECT_EQ(Got(S_FALSE, "0123012389"), Read(99));
}

}  // namespace
