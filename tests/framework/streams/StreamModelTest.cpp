// Long random use of the streams, compared with a byte array that has a size and a position.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

#include <algorithm>
#include <random>

namespace {

// No byte run of eight or more occurs twice.
std::string DistinctBytes(size_t count) {
    std::string bytes(count, '\0');
    std::mt19937 random(4711);
    std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
    return bytes;
}

// Takes `steps` random steps with the stream and stops at the first one that differs from the model.
void CompareWithModel(IStream* stream, const std::string& contents, unsigned seed, int steps, bool writes = false) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto upTo = [&](size_t limit) { return static_cast<ULONG>(random() % (limit + 1)); };
    std::string bytes = contents, out;
    size_t here = 0;
    const size_t limit = contents.size() + 20;
    const auto next = [&](size_t cb) { return here < bytes.size() ? bytes.substr(here, cb) : std::string(); };
    for (int step = 0; step < steps; ++step) {
        const unsigned choice = random() % (writes ? 16 : 8);
        if (choice < 5) {
            // Mostly small reads, now and then one of any size.
            const ULONG cb = upTo(choice == 0 && random() % 8 == 0 ? limit : 300);
            const std::string expected = next(cb);
            out.assign(cb, '?');
            ULONG count = 0xDEAD;
            ASSERT_EQ(expected.size() == cb ? S_OK : S_FALSE, stream->Read(out.data(), cb, &count)) << step;
            ASSERT_TRUE(count == expected.size() && out.starts_with(expected)) << step;
            here += count;
        } else if (choice < 8) {
            // A near or far place, from one of the three origins; sometimes beyond the end.
            const size_t base = choice == 5 ? 0 : choice == 6 ? here : bytes.size();
            here = random() % 2 ? upTo(limit) : std::min<size_t>(limit, std::max<size_t>(here + upTo(600), 300) - 300);
            const LONGLONG move = static_cast<LONGLONG>(here) - static_cast<LONGLONG>(base);
            ULARGE_INTEGER position{};
            ASSERT_EQ(S_OK, stream->Seek(By(move), choice - 5, &position)) << step;
            ASSERT_EQ(here, position.QuadPart) << step;
        } else if (choice < 12) {
            const ULONG cb = upTo(300);
            out.resize(cb);
            std::ranges::generate(out, [&] { return static_cast<char>(random()); });
            ULONG count = 0xDEAD;
            ASSERT_EQ(S_OK, stream->Write(out.data(), cb, &count)) << step;
            ASSERT_EQ(cb, count) << step;
            if (cb > 0)
                bytes.resize(std::max<size_t>(bytes.size(), here + cb));
            bytes.replace(std::min(here, bytes.size()), cb, out);
            here += cb;
        } else if (choice == 12) {
            bytes.resize(upTo(limit));
            ASSERT_EQ(S_OK, stream->SetSize(Bytes(bytes.size()))) << step;
        } else if (choice == 13 && random() % 4 == 0) {
            const ULONG cb = upTo(40'000);
            const std::string expected = next(cb);
            CScriptedStream target;
            ASSERT_EQ(S_OK, stream->CopyTo(&target, Bytes(cb), nullptr, nullptr)) << step;
            ASSERT_TRUE(expected == target.Contents()) << step;
            here += expected.size();
        } else {
            STATSTG stat{};
            ASSERT_EQ(S_OK, stream->Stat(&stat, STATFLAG_NONAME)) << step;
            ASSERT_EQ(bytes.size(), stat.cbSize.QuadPart) << step;
        }
    }
}

TEST(StreamModelTest, ABufferedStreamOfAnyBufferSizeBehavesAsAnArrayWithAPosition) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const std::string contents = DistinctBytes(5000);
    for (const LONG bufferBytes : {1, 2, 255, 4096, 4999, 5000, 5001, 0x20000})
        for (const ULONG limit : {0xFFFFFFFFul, 97ul}) {  // also over a source that gives little at a time
            SCOPED_TRACE(bufferBytes);
            CScriptedStream source(contents);
            source.LimitTransfers(limit);
            ComPtr<IStream> stream;
            ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, bufferBytes));
            CompareWithModel(stream.Get(), contents, static_cast<unsigned>(bufferBytes), 12'500);
            ASSERT_FALSE(HasFailure());
        }
}

TEST(StreamModelTest, ALocalFileStreamAndABufferedOneOverItBehaveAsAnArrayWithAPosition) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const CTempFile file(DistinctBytes(50'000));
    ComPtr<IStream> source, stream;
    ASSERT_EQ(S_OK, TKFCreateLocalFileSystemStream(file.Path().c_str(), kTKFStreamRead | kTKFStreamWrite | kShareAll,
                                                   &source));
    CompareWithModel(source.Get(), file.Contents(), 1, 50'000, true);
    source->Seek(By(0), STREAM_SEEK_SET, nullptr);
    ASSERT_EQ(S_OK, TKFCreateBufferedStream(source.Get(), &stream, 1024));
    CompareWithModel(stream.Get(), file.Contents(), 2, 20'000);
}

}  // namespace
