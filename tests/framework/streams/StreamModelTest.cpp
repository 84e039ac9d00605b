// Long random use of the streams, compared with a byte array that has a size and a position.
#include "tests/framework/streams/StreamTest.h"
#include "tests/support/CScriptedStream.h"
#include "tests/support/CTestApartment.h"
#include "tests/support/RandomBytes.h"

#include <algorithm>
#include <random>

namespace {

// Takes `steps` random steps with the stream and stops at the first one that differs from the model. In memory it may
// be written to, and its size is not tied to the bytes that exist.
void CompareWithModel(IStream* stream, const std::string& contents, unsigned seed, int steps, bool inMemory = false) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto upTo = [&](size_t limit) { return static_cast<ULONG>(random() % (limit + 1)); };
    std::string bytes = contents, expected, out;
    ULONGLONG size = bytes.size(), here = 0;
    const size_t limit = contents.size() + 20;
    const auto expect = [&](ULONG cb) {
        expected.assign(static_cast<size_t>(std::min<ULONGLONG>(cb, size > here ? size - here : 0)), '\0');
        if (here < bytes.size())
            bytes.copy(expected.data(), expected.size(), static_cast<size_t>(here));
    };
    for (int step = 0; step < steps; ++step) {
        const unsigned choice = random() % (inMemory ? 16 : 8);
        if (choice < 5) {
            // Mostly small reads, now and then one of any size.
            const ULONG cb = upTo(choice == 0 && random() % 8 == 0 ? limit : 300);
            expect(cb);
            out.assign(cb, '?');
            ULONG count = 0xDEAD;
            ASSERT_EQ(expected.size() == cb ? S_OK : S_FALSE, stream->Read(out.data(), cb, &count)) << step;
            ASSERT_TRUE(count == expected.size() && out.starts_with(expected)) << step;
            here += count;
        } else if (choice < 8) {
            // A near or far place, from one of the three origins; sometimes beyond the end, or where no place is.
            const ULONGLONG base = choice == 5 ? 0 : choice == 6 ? here : size;
            ULONGLONG target =
                random() % 2 ? upTo(limit) : std::min<ULONGLONG>(limit, std::max(here + upTo(600), 300ull) - 300);
            if (inMemory && random() % 16 == 0)
                target = 0 - ULONGLONG{random()} * (random() % 2 ? 1 : 0x7FFFFFFF);
            const auto move = static_cast<LONGLONG>(target - base);
            const bool reaches = choice == 5 || (move < 0 ? target < base : target >= base);
            ULARGE_INTEGER position{};
            ASSERT_EQ(reaches ? S_OK : STG_E_INVALIDPOINTER, stream->Seek(By(move), choice - 5, &position)) << step;
            here = reaches ? target : here;
            ASSERT_EQ(here, position.QuadPart) << step;
        } else if (choice < 12) {
            const ULONG cb = upTo(300);
            out.resize(cb);
            std::ranges::generate(out, [&] { return static_cast<char>(random()); });
            ULONG count = 0xDEAD;
            const bool fits = here < 0x100000000ull - cb;
            ASSERT_EQ(fits ? S_OK : E_OUTOFMEMORY, stream->Write(out.data(), cb, &count)) << step;
            ASSERT_EQ(fits ? cb : 0, count) << step;
            if (!fits)
                continue;
            if (bytes.size() < here + cb) {
                bytes.resize(static_cast<size_t>(here + cb));
                size = bytes.size();
            }
            bytes.replace(static_cast<size_t>(here), cb, out);
            here += cb;
        } else if (choice == 12) {
            size = random() % 8 == 0 ? 0 - ULONGLONG{random()} : upTo(limit);
            ASSERT_EQ(S_OK, stream->SetSize(Bytes(size))) << step;
        } else if (choice == 13 && random() % 4 == 0) {
            const ULONG cb = upTo(40'000);
            expect(cb);
            CScriptedStream target;
            ASSERT_EQ(S_OK, stream->CopyTo(&target, Bytes(cb), nullptr, nullptr)) << step;
            ASSERT_TRUE(expected == target.Contents()) << step;
            here += expected.size();
        } else {
            STATSTG stat{};
            ASSERT_EQ(S_OK, stream->Stat(&stat, STATFLAG_NONAME)) << step;
            ASSERT_EQ(size, stat.cbSize.QuadPart) << step;
        }
    }
}

TEST(StreamModelTest, AMemoryStreamBehavesAsAnArrayWithASizeAndAPosition) {
    for (const size_t length : {0u, 1u, 300u, 5000u, 50'000u}) {
        const std::string contents = RandomBytes(4711, length);
        ComPtr<IStream> stream;
        ASSERT_EQ(S_OK, TKFCreateMemoryStream(contents.data(), static_cast<LONGLONG>(length), &stream));
        CompareWithModel(stream.Get(), contents, static_cast<unsigned>(length), 400'000, true);
        ASSERT_FALSE(HasFailure());
    }
}

TEST(StreamModelTest, ABufferedStreamOfAnyBufferSizeBehavesAsAnArrayWithAPosition) {
    const CTestApartment apartment(COINIT_MULTITHREADED);
    const std::string contents = RandomBytes(4711, 5000);
    for (const LONG bufferBytes : {1, 2, 255, 4096, 4999, 5000, 5001, 0x20000})
        for (const ULONG limit : {0xFFFFFFFFul, 97ul}) {  // also over a source that gives little at a time
            SCOPED_TRACE(bufferBytes);
            CScriptedStream source(contents);
            source.LimitTransfers(limit);
            ComPtr<IStream> stream;
            ASSERT_EQ(S_OK, TKFCreateBufferedStream(&source, &stream, bufferBytes));
            CompareWithModel(stream.Get(), contents, static_cast<unsigned>(bufferBytes), 12'500);
            ASSERT_FALSE(HasFailure());
            if (bufferBytes != 255)
                continue;
            // The same over one that keeps the start, while it does and when it has ended.
            ComPtr<CReplayStream> replay;
            source.Rewind();
            ASSERT_EQ(S_OK, MakeComObject<CReplayStream>(&replay));
            ASSERT_EQ(S_OK, replay->Initialize(&source));
            ASSERT_EQ(S_OK, TKFCreateBufferedStream(replay.Get(), &stream, bufferBytes));
            for (const int steps : {3, 2'000}) {
                CompareWithModel(stream.Get(), contents, static_cast<unsigned>(bufferBytes + steps), steps);
                ASSERT_FALSE(HasFailure()) << "replay";
                replay->EndKeeping();
                ASSERT_EQ(S_OK, stream->Seek(By(0), STREAM_SEEK_SET, nullptr));
            }
        }
}

}  // namespace
