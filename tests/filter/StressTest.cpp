// Everything that a host and its parsers may do at the same time, done at the same time.
#include "tests/filter/FilterTest.h"
#include "tests/support/RandomBytes.h"

#include <atomic>
#include <functional>
#include <future>
#include <random>
#include <string_view>

namespace {

constexpr LONG kLongestRead = 6'000;

struct StressTest : ::testing::TestWithParam<DWORD> {
    static constexpr unsigned seed = 20'261'121;
    const std::string contents[2]{RandomBytes(seed, 300'001), RandomBytes(seed + 1, 150'007)};
    const CTempFile files[2]{CTempFile(contents[0]), CTempFile(contents[1])};
    const CTestApartment apartment{COINIT_MULTITHREADED};
    CFilterHost host;
    ComPtr<IAsyncReader> reader;
    ComPtr<IMemAllocator> allocator;
    std::atomic<int> queued{0}, fetched{0};

    void SetUp() override {
        host.Create();
        reader = host.Reader();
        ALLOCATOR_PROPERTIES wanted{.cBuffers = 32, .cbBuffer = kLongestRead, .cbAlign = 1, .cbPrefix = 0};
        ASSERT_EQ(S_OK, reader->RequestAllocator(nullptr, &wanted, &allocator));
        ASSERT_EQ(S_OK, allocator->Commit());
        ASSERT_EQ(S_OK, host.Load(files[0].Path()));
    }

    void Check(const char* what, bool right) {
        if (!right && !HasFailure())
            ADD_FAILURE() << what << ", seed " << seed;
    }

    // Whether `fits` takes what one of the files has at `position`, at most `length` bytes.
    template <class Fits>
    [[nodiscard]] bool AnyFile(LONGLONG position, LONGLONG length, const Fits& fits) const {
        return std::ranges::any_of(contents, [&](std::string_view file) {
            return fits(file.substr(std::min(static_cast<size_t>(position), file.size()), static_cast<size_t>(length)));
        });
    }

    void Read(LONGLONG position, LONG length) {
        const auto [hr, bytes] = SyncRead(*reader.Get(), position, length);
        // The count isn't told: what was not read is as it was before.
        Check("SyncRead", AnyFile(position, length, [&, hr = hr, &bytes = bytes](std::string_view piece) {
                  return hr == (piece.size() == static_cast<size_t>(length) ? S_OK : S_FALSE) &&
                         bytes.starts_with(piece) && bytes.find_first_not_of('.', piece.size()) == std::string::npos;
              }));
    }

    void Request(LONGLONG position, LONG length) {
        ComPtr<IMediaSample> sample;
        if (allocator->GetBuffer(&sample, nullptr, nullptr, AM_GBF_NOWAIT) != S_OK)
            return WaitForNext(0);  // all are in the queue
        REFERENCE_TIME start = position * 10'000'000, stop = (position + length) * 10'000'000;
        sample->SetTime(&start, &stop);
        const HRESULT hr = reader->Request(sample.Get(), static_cast<DWORD_PTR>(position));
        queued += hr == S_OK;
        // Between two sources there is none for a moment.
        Check("Request", hr == S_OK || hr == kEndOfFile || hr == VFW_E_WRONG_STATE || hr == E_UNEXPECTED);
    }

    void WaitForNext(DWORD timeoutMs) {
        ComPtr<IMediaSample> sample;
        DWORD_PTR user = 0;
        const HRESULT hr = reader->WaitForNext(timeoutMs, &sample, &user);
        if (hr != S_OK)
            return Check("no next", !sample && (hr == VFW_E_TIMEOUT || hr == VFW_E_WRONG_STATE || hr == E_UNEXPECTED));
        ++fetched;
        BYTE* data = nullptr;
        REFERENCE_TIME start = 0, stop = 0;
        Check("sample", sample->GetPointer(&data) == S_OK && sample->GetTime(&start, &stop) == S_OK);
        const std::string_view got(reinterpret_cast<const char*>(data),
                                   static_cast<size_t>(sample->GetActualDataLength()));
        Check("next", static_cast<LONGLONG>(user) == start / 10'000'000 &&
                          AnyFile(start / 10'000'000, (stop - start) / 10'000'000,
                                  [&](std::string_view piece) { return piece == got; }));
    }

    void Length() {
        LONGLONG total = 0, available = 0;
        Check("Length", reader->Length(&total, &available) == S_OK && available == total);
    }

    void ReadAtRandom(unsigned threadSeed) {
        std::mt19937 engine(threadSeed);
        for (int i = 0; i < 25'000; ++i) {
            const LONGLONG position = engine() % (contents[0].size() + 1'000);
            const auto length = static_cast<LONG>(engine() % (kLongestRead + 1));
            const unsigned kind = engine() % 10;
            if (kind < 2)
                Length();
            else if (kind < 5)
                Request(position, length);
            else if (kind < 8)
                WaitForNext(kind % 2);
            else
                Read(position, length);
        }
    }
};

TEST_P(StressTest, ReadersRequestsFlushesLoadsAndTheFlowGetOnTogether) {
    const auto start = [](std::function<void()> work) {
        return std::async(std::launch::async, [work] {
            const CTestApartment own(GetParam());
            work();
        });
    };
    std::vector<std::future<void>> works;
    for (unsigned i = 0; i < 4; ++i)
        works.push_back(start([this, i] { ReadAtRandom(seed + 100 + i); }));
    works.push_back(start([this] {
        for (unsigned i = 0; i < 300; ++i)
            Check("Load", host.Load(files[i % 2].Path()) == S_OK);
    }));
    // Asks for the length meanwhile: the queue of the stream lock keeps it among the readers to the end.
    works.push_back(start([this, flow = host.As<IDataFlowControl>()] {
        for (int i = 0; i < 5'000; ++i) {
            Check("BeginFlush", reader->BeginFlush() == S_OK);
            Check("EnableDataFlow", flow->EnableDataFlow() == S_OK);
            Length();
            Check("EndFlush", reader->EndFlush() == S_OK);
            // A reader that came between the events of EnableDataFlow is let go here, so this is the last call.
            Check("DisableDataFlow", flow->DisableDataFlow() == S_OK);
            Length();
        }
    }));
    works.clear();  // waits for them
    EXPECT_LT(0, fetched);
    for (int left = queued - fetched; left > 0; --left)
        WaitForNext(0);
    EXPECT_EQ(queued, fetched) << "a queued sample is lost";
}

INSTANTIATE_TEST_SUITE_P(Apartments, StressTest, ::testing::Values(COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED));

}  // namespace
