// Everything that a host and its parsers may do at the same time, done at the same time.
#include "diagnostics/CAutoDestructor.h"
#include "tests/filter/CFilterHost.h"
#include "tests/support/CTempFile.h"
#include "tests/support/CTestApartment.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

constexpr HRESULT kEndOfFile = static_cast<HRESULT>(0x80070026);
constexpr LONG kLongestRead = 6'000;
constexpr int kReaders = 4;
constexpr int kOperationsOfAReader = 25'000;
constexpr int kLoads = 300;
constexpr int kFlushes = 3'000;
constexpr int kFlowChanges = 3'000;

// What a run is made from; another value in the environment repeats a failed run.
unsigned Seed() {
    const char* given = std::getenv("TV_STRESS_SEED");
    return given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device()();
}

std::string RandomBytes(unsigned seed, size_t size) {
    std::mt19937 engine(seed);
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(engine()); });
    return bytes;
}

enum Operation { kSyncRead, kRequest, kWaitForNext, kStreamRead, kLength, kLoad, kFlush, kFlow, kOperations };

class StressTest : public ::testing::TestWithParam<DWORD> {
protected:
    StressTest() {
        EXPECT_EQ(S_OK, host.Create());
        reader = host.Reader();
        stream = host.PinStream();
        source = host.As<IFileSourceFilter>();
        flow = host.As<IDataFlowControl>();
        ALLOCATOR_PROPERTIES wanted{.cBuffers = 32, .cbBuffer = kLongestRead, .cbAlign = 1, .cbPrefix = 0};
        EXPECT_EQ(S_OK, reader->RequestAllocator(nullptr, &wanted, &allocator));
        EXPECT_EQ(S_OK, allocator->Commit());
        EXPECT_EQ(S_OK, source->Load(files[0].Path().c_str(), nullptr));
        EXPECT_EQ(S_OK, flow->EnableDataFlow());
    }

    void Check(Operation operation, bool right) {
        ++done[operation];
        wrong[operation] += !right;
    }

    // Whether `fits` takes what one of the files has at `position`, at most `length` bytes.
    template <class Fits>
    [[nodiscard]] bool AnyFile(LONGLONG position, size_t length, const Fits& fits) const {
        return std::any_of(contents.begin(), contents.end(), [&](std::string_view file) {
            return fits(file.substr(std::min(static_cast<size_t>(position), file.size()), length));
        });
    }
    template <class Fits>
    [[nodiscard]] bool AnyFile(const Fits& fits) const {
        return AnyFile(0, std::string::npos, fits);
    }

    void SyncRead(LONGLONG position, LONG length) {
        constexpr char kPoison = '~';
        std::string buffer(static_cast<size_t>(length), kPoison);
        const HRESULT hr = reader->SyncRead(position, length, reinterpret_cast<BYTE*>(buffer.data()));
        // The count isn't told: what was not read is as it was before.
        Check(kSyncRead, AnyFile(position, buffer.size(), [&](std::string_view piece) {
                  return hr == (piece.size() == buffer.size() ? S_OK : S_FALSE) && buffer.starts_with(piece) &&
                         buffer.find_first_not_of(kPoison, piece.size()) == std::string::npos;
              }));
    }

    void Request(LONGLONG position, LONG length) {
        ComPtr<IMediaSample> sample;
        if (allocator->GetBuffer(&sample, nullptr, nullptr, AM_GBF_NOWAIT) != S_OK)
            return WaitForNext(0);  // all are in the queue
        REFERENCE_TIME start = position * 10'000'000;
        REFERENCE_TIME stop = (position + length) * 10'000'000;
        const HRESULT set = sample->SetTime(&start, &stop);
        const HRESULT hr = reader->Request(sample.Get(), static_cast<DWORD_PTR>(position));
        queued += hr == S_OK;
        // Between two sources there is none for a moment.
        Check(kRequest,
              set == S_OK && (hr == S_OK || hr == kEndOfFile || hr == VFW_E_WRONG_STATE || hr == E_UNEXPECTED));
    }

    void WaitForNext(DWORD timeoutMs) {
        ComPtr<IMediaSample> sample;
        DWORD_PTR user = 0;
        const HRESULT hr = reader->WaitForNext(timeoutMs, &sample, &user);
        if (hr != S_OK) {
            Check(kWaitForNext, !sample && (hr == VFW_E_TIMEOUT || hr == VFW_E_WRONG_STATE || hr == E_UNEXPECTED));
            return;
        }
        ++fetched;
        BYTE* data = nullptr;
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        const bool told = sample->GetPointer(&data) == S_OK && sample->GetTime(&start, &stop) == S_OK;
        const std::string_view got(reinterpret_cast<const char*>(data),
                                   static_cast<size_t>(sample->GetActualDataLength()));
        const LONGLONG position = start / 10'000'000;
        Check(kWaitForNext, told && static_cast<LONGLONG>(user) == position &&
                                AnyFile(position, static_cast<size_t>(stop / 10'000'000 - position),
                                        [&](std::string_view piece) { return piece == got; }));
    }

    // The position is everybody's, so the piece may be from anywhere.
    void StreamRead(LONGLONG position, LONG length) {
        LARGE_INTEGER target{};
        target.QuadPart = position;
        ULARGE_INTEGER reached{};
        std::string buffer(static_cast<size_t>(length), '\0');
        ULONG read = 0;
        const HRESULT sought = stream->Seek(target, STREAM_SEEK_SET, &reached);
        const HRESULT hr = stream->Read(buffer.data(), static_cast<ULONG>(length), &read);
        buffer.resize(std::min<size_t>(read, buffer.size()));
        Check(kStreamRead, sought == S_OK && SUCCEEDED(hr) && read <= static_cast<ULONG>(length) &&
                               AnyFile([&](auto file) { return file.find(buffer) != std::string::npos; }));
    }

    void Length() {
        LONGLONG total = 0;
        LONGLONG available = 0;
        const HRESULT hr = reader->Length(&total, &available);
        Check(kLength, hr == S_OK && available == total &&
                           AnyFile([&](auto file) { return static_cast<LONGLONG>(file.size()) == total; }));
    }

    void ReadAtRandom(unsigned threadSeed) {
        std::mt19937 engine(threadSeed);
        for (int i = 0; i < kOperationsOfAReader; ++i) {
            const LONGLONG position = engine() % (contents[0].size() + 1'000);
            const auto length = static_cast<LONG>(engine() % (kLongestRead + 1));
            const unsigned kind = engine() % 10;
            if (kind == 0)
                StreamRead(position, length);
            else if (kind == 1)
                Length();
            else if (kind < 5)
                Request(position, length);
            else if (kind < 8)
                WaitForNext(kind % 2);
            else
                SyncRead(position, length);
        }
    }

    const unsigned seed = Seed();
    const std::array<std::string, 2> contents{RandomBytes(seed, 300'001), RandomBytes(seed + 1, 150'007)};
    const std::array<CTempFile, 2> files{CTempFile(contents[0]), CTempFile(contents[1])};
    const CTestApartment apartment{COINIT_MULTITHREADED};
    CFilterHost host;
    ComPtr<IAsyncReader> reader;
    ComPtr<IStream> stream;
    ComPtr<IFileSourceFilter> source;
    ComPtr<IDataFlowControl> flow;
    ComPtr<IMemAllocator> allocator;
    std::atomic<int> done[kOperations]{};
    std::atomic<int> wrong[kOperations]{};
    std::atomic<int> queued{0};
    std::atomic<int> fetched{0};
};

TEST_P(StressTest, ReadersRequestsFlushesLoadsAndTheFlowGetOnTogether) {
    SCOPED_TRACE("TV_STRESS_SEED=" + std::to_string(seed));
    std::vector<std::function<void()>> works;
    for (unsigned i = 0; i < kReaders; ++i)
        works.emplace_back([this, i] { ReadAtRandom(seed + 100 + i); });
    works.emplace_back([this] {
        for (unsigned i = 0; i < kLoads; ++i)
            Check(kLoad, source->Load(files[i % 2].Path().c_str(), nullptr) == S_OK);
    });
    // Both ask for the length meanwhile: the queue of the stream lock keeps them among the readers to the end.
    works.emplace_back([this] {
        for (int i = 0; i < kFlushes; ++i) {
            const HRESULT begun = reader->BeginFlush();
            Length();
            Check(kFlush, begun == S_OK && reader->EndFlush() == S_OK);
            Length();
        }
    });
    works.emplace_back([this] {
        for (int i = 0; i < kFlowChanges; ++i) {
            const HRESULT enabled = flow->EnableDataFlow();
            Length();
            // A reader that came between the events of EnableDataFlow is let go here, so this is the last call.
            Check(kFlow, enabled == S_OK && flow->DisableDataFlow() == S_OK);
        }
    });

    // The platform's semaphore: the standard library's loses wake-ups with this compiler under Wine.
    const CAutoHandle ended(::CreateSemaphoreW(nullptr, 0, static_cast<LONG>(works.size()), nullptr));
    std::vector<std::jthread> threads;
    for (const auto& work : works) {
        threads.emplace_back([&] {
            {
                const CTestApartment own(GetParam());
                work();
            }
            ::ReleaseSemaphore(ended.Get(), 1, nullptr);
        });
    }
    for (size_t i = 0; i < works.size(); ++i) {
        if (::WaitForSingleObject(ended.Get(), 120'000) != WAIT_OBJECT_0) {
            // A thread that hangs can't be waited for.
            std::fprintf(stderr, "A thread hangs, TV_STRESS_SEED=%u\n", seed);
            std::abort();
        }
    }
    threads.clear();

    while (fetched < queued) {
        const int before = fetched;
        WaitForNext(0);
        ASSERT_LT(before, fetched) << "a queued sample is lost";
    }
    EXPECT_EQ(queued, fetched);
    EXPECT_LT(0, fetched);
    for (int operation = 0; operation < kOperations; ++operation) {
        EXPECT_EQ(0, wrong[operation]) << "operation " << operation;
        EXPECT_LT(0, done[operation]) << "operation " << operation;
    }
}

INSTANTIATE_TEST_SUITE_P(Apartments, StressTest, ::testing::Values(COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED),
                         [](const auto& run) {
                             return run.param == COINIT_MULTITHREADED ? "Multithreaded" : "Single";
                         });

}  // namespace
