// Long random use of the read streams, compared with a byte array that has a position; and a fault at every step of a
// short one.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

#include <random>

namespace {

// No byte run of eight or more occurs twice.
std::string DistinctBytes(size_t count) {
    std::string bytes(count, '\0');
    std::mt19937 random(4711);
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

// Takes `steps` random steps with the stream and stops at the first one that differs from the model: the contents and a
// position.
void CompareWithModel(IStream* stream, const std::string& contents, unsigned seed, int steps) {
    std::mt19937 random(seed);
    const auto upTo = [&](size_t limit) { return static_cast<ULONG>(random() % (limit + 1)); };
    size_t here = 0;
    std::string bytes;
    for (int step = 0; step < steps; ++step) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed << ", step " << step);
        const unsigned choice = random() % 8;
        if (choice < 5) {
            // Mostly small reads, now and then one of any size.
            const ULONG cb = upTo(choice == 0 ? contents.size() + 10 : 300);
            const std::string expected = contents.substr(std::min(here, contents.size()), cb);
            bytes.assign(cb, '?');
            ULONG count = 0xDEAD;
            ASSERT_EQ(expected.size() == cb ? S_OK : S_FALSE, stream->Read(bytes.data(), cb, &count));
            ASSERT_TRUE(expected == bytes.substr(0, count));
            here += count;
            continue;
        }
        // A near or far place, from one of the three origins; sometimes beyond the end.
        const size_t base[] = {0, here, contents.size()}, limit = contents.size() + 20;
        here = random() % 2 ? upTo(limit) : std::min(limit, std::max<size_t>(here + upTo(600), 300) - 300);
        ULARGE_INTEGER position{};
        ASSERT_EQ(S_OK, stream->Seek(By(static_cast<LONGLONG>(here) - static_cast<LONGLONG>(base[choice - 5])),
                                     choice - 5, &position));
        ASSERT_EQ(here, position.QuadPart);
    }
}

TEST(StreamModelTest, ABufferedStreamOfAnyBufferSizeBehavesAsAnArrayWithAPosition) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const std::string contents = DistinctBytes(5000);
    for (const LONG bufferBytes : {1, 2, 255, 4096, 4999, 5000, 5001, 0x20000}) {
        SCOPED_TRACE(bufferBytes);
        for (const ULONG limit : {0xFFFFFFFFul, 97ul}) {  // also over a source that gives little at a time
            CScriptedStream source(contents);
            source.LimitTransfers(limit);
            ComPtr<IStream> stream;
            ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, bufferBytes));
            CompareWithModel(stream.Get(), contents, static_cast<unsigned>(bufferBytes), 12'500);
            ASSERT_FALSE(HasFailure());
        }
    }
}

TEST(StreamModelTest, ALocalFileStreamAndABufferedOneOverItBehaveAsAnArrayWithAPosition) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const std::string contents = DistinctBytes(50'000);
    const CTempFile file(contents);
    ComPtr<IStream> source, stream;
    ASSERT_EQ(S_OK, TKFCreateLocalFileSystemStream(file.Path().c_str(), kTKFStreamRead | kTKFStreamShareRead, &source));
    CompareWithModel(source.Get(), contents, 1, 50'000);
    source->Seek(By(0), STREAM_SEEK_SET, nullptr);
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(source.Get(), &stream, 1024));
    CompareWithModel(stream.Get(), contents, 2, 20'000);
}

// One short use of a buffered stream. Faults may spoil what the stream gives, but never what it says about it: bytes
// that it counts are the right ones for where it says that it stands. After a seek that failed nobody knows where the
// source stands, so it is tried again.
void UseWithFaults(IStream* stream, const std::string& contents) {
    const auto seek = [&](LONGLONG move, DWORD origin) {
        if (FAILED(stream->Seek(By(move), origin, nullptr))) {
            EXPECT_EQ(S_OK, stream->Seek(By(move), origin, nullptr));
        }
    };
    const auto position = [&] {
        ULARGE_INTEGER here{};
        EXPECT_EQ(S_OK, stream->Seek(By(0), STREAM_SEEK_CUR, &here));
        return static_cast<size_t>(here.QuadPart);
    };
    const auto read = [&](ULONG cb) {
        const size_t start = position();
        std::string bytes(cb, '?');
        ULONG count = 0xDEAD;
        const HRESULT hr = stream->Read(bytes.data(), cb, &count);
        ASSERT_LE(count, cb);
        EXPECT_EQ(hr == S_OK, count == cb);
        EXPECT_EQ(contents.substr(start, count), bytes.substr(0, count));
        EXPECT_EQ(start + count, position());
    };
    read(10);
    read(3);
    seek(40, STREAM_SEEK_SET);
    read(9);
    seek(-5, STREAM_SEEK_END);
    read(10);
    STATSTG stat{};
    stream->Stat(&stat, STATFLAG_NONAME);
    seek(30, STREAM_SEEK_SET);
    read(20);
    ComPtr<IStream> clone;
    if (SUCCEEDED(stream->Clone(&clone)))
        clone->Seek(By(0), STREAM_SEEK_SET, nullptr);
}

TEST(StreamModelTest, ABufferedStreamRecoversFromAFaultAtAnyStep) {
    using Step = CScriptedStream::Step;
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const std::string contents = DistinctBytes(64);
    const Step faults[] = {
        {.result = STG_E_READFAULT}, {.result = STG_E_READFAULT, .bytes = 3}, {.throws = true}, {.bytes = 0}};
    using enum CScriptedStream::Kind;
    for (const auto kind : {kRead, kSeek, kStat, kClone})
        for (const Step& fault : faults)
            for (int nth = 0, reached = 1; reached; ++nth) {
                SCOPED_TRACE(::testing::Message() << "kind " << kind << ", call " << nth);
                CScriptedStream source(contents);
                ComPtr<IStream> stream;
                ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, 4));
                const int before = source.Calls(kind);
                source.On(kind, nth, fault);
                UseWithFaults(stream.Get(), contents);
                reached = source.Calls(kind) - before > nth;

                // Once there are no faults, a seek puts all in order.
                source.ForgetSteps();
                stream->Seek(By(0), STREAM_SEEK_END, nullptr);
                ASSERT_EQ(S_OK, stream->Seek(By(0), STREAM_SEEK_SET, nullptr));
                CompareWithModel(stream.Get(), contents, 3, 30);
                stream.Reset();
                EXPECT_EQ(0u, source.References());
                ASSERT_FALSE(::testing::Test::HasFailure());
            }
}

}  // namespace
