#include "bench/BenchCheck.h"
#include "bench/Benches.h"
#include "bench/CBareFile.h"
#include "bench/CFilterSource.h"
#include "bench/CPageBuffer.h"
#include "bench/Positions.h"
#include "bench/Timing.h"
#include "framework/streams/TKFStreams.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <string>

namespace bench {

using Microsoft::WRL::ComPtr;

namespace {

constexpr LONG kKiB = 1 << 10;
constexpr LONG kMiB = 1 << 20;
constexpr LONG kRandomReadBytes = 4 * kKiB;
constexpr LONG kPacketBytes = 188;  // of a transport stream; many parsers read in such pieces

struct Contenders {
    CFilterSource ours;
    CFilterSource stock;
    CBareFile readFile;
};

std::string SizeText(LONG bytes) {
    if (bytes % kMiB == 0)
        return std::to_string(bytes / kMiB) + " MiB";
    return bytes % kKiB == 0 ? std::to_string(bytes / kKiB) + " KiB" : std::to_string(bytes) + " B";
}

// A fast contender that reads the wrong bytes is no contender. The whole file has been read afterwards, so that the
// measurements find it in memory.
void CheckContents(CContender& contender, const char* name) {
    const CPageBuffer buffer(kMiB);
    const auto check = [&](LONGLONG position, LONG bytes) {
        contender.ReadAt(position, bytes, buffer.Get());
        if (!CBenchFile::Matches(position, {buffer.Get(), static_cast<std::size_t>(bytes)}))
            throw std::runtime_error(std::string(name) + " reads wrong bytes at " + std::to_string(position));
    };
    CRandomPositions random(0, kRandomReadBytes);
    for (int i = 0; i < 100; ++i)
        check(random.Next(), kRandomReadBytes);
    for (LONGLONG position = 0; position < kBenchFileBytes; position += kMiB)
        check(position, kMiB);
}

// The best times of our filter, the stock source and ReadFile, each reading at positions of its own.
template <class Positions>
std::array<double, 3> BestReadTimes(Contenders& contenders, LONG bytes, BYTE* buffer) {
    const auto reads = [&](CContender& contender, int lane) {
        return [&contender, positions = Positions(lane, bytes), bytes, buffer]() mutable {
            contender.ReadAt(positions.Next(), bytes, buffer);
        };
    };
    return BestTimes(reads(contenders.ours, 0), reads(contenders.stock, 1), reads(contenders.readFile, 2));
}

void BenchSequentialReads(CReport& report, Contenders& contenders, BYTE* buffer) {
    double worstToStock = std::numeric_limits<double>::infinity();
    double worstToReadFile = std::numeric_limits<double>::infinity();
    for (const LONG bytes : {64L, kPacketBytes, kKiB, 4 * kKiB, 32 * kKiB, 128 * kKiB, kMiB, 4 * kMiB}) {
        const auto [ours, stock, readFile] = BestReadTimes<CSequentialPositions>(contenders, bytes, buffer);
        report.Add({"sequential read, " + SizeText(bytes), ours, stock, readFile, bytes});
        if (bytes <= 4 * kKiB)
            worstToStock = std::min(worstToStock, stock / ours);
        if (bytes >= 128 * kKiB)
            worstToReadFile = std::min(worstToReadFile, readFile / ours);
        if (bytes == kPacketBytes)
            report.AddGoal("a read of 188 bytes", ours, CReport::Goal::AtMost, 1.5, "us");
    }
    report.AddGoal("calls per second to the stock source's, up to 4 KiB", worstToStock, CReport::Goal::AtLeast, 50,
                   "times");
    report.AddGoal("throughput to ReadFile's, from 128 KiB up", worstToReadFile, CReport::Goal::AtLeast, 0.6, "times");
}

// To and fro inside one buffer.
class CSeeks final {
public:
    explicit CSeeks(IStream& stream) noexcept : m_stream(stream) {}

    void operator()() {
        m_target.QuadPart ^= kKiB;
        ULARGE_INTEGER reached;
        Check(m_stream.Seek(m_target, STREAM_SEEK_SET, &reached), "IStream::Seek");
    }

private:
    IStream& m_stream;
    LARGE_INTEGER m_target{};
};

void FillBuffer(IStream& stream) {
    BYTE byte = 0;
    Check(stream.Seek({}, STREAM_SEEK_SET, nullptr), "IStream::Seek");
    Check(stream.Read(&byte, 1, nullptr), "IStream::Read");
}

void BenchSeeks(CReport& report, CFilterSource& ours, const CBenchFile& file) {
    ComPtr<IStream> source;
    Check(::TKFCreateLocalFileSystemStream(file.Path(), kTKFStreamRead | kTKFStreamShareRead, &source),
          "TKFCreateLocalFileSystemStream");
    ComPtr<IStream> buffered;
    Check(::TKFCreateBufferedStream(source.Get(), &buffered), "TKFCreateBufferedStream");
    FillBuffer(*buffered.Get());
    BYTE byte = 0;
    ours.ReadAt(0, 1, &byte);  // the pin's stream refuses a seek that doesn't ask for the position
    const ComPtr<IStream> pin = ours.Stream();
    const auto [ofPin, ofStream] = BestTimes(CSeeks(*pin.Get()), CSeeks(*buffered.Get()));
    report.Add({.what = "seek inside the buffer, IStream of the pin", .ours = ofPin});
    report.Add({.what = "seek inside the buffer, buffered stream alone", .ours = ofStream});
}

}  // namespace

void BenchReads(CReport& report, const CFilterLibrary& library, const CBenchFile& file) {
    const ComPtr<IClassFactory> stockFactory = StockFactory();
    Contenders contenders{CFilterSource(library.Factory()), CFilterSource(*stockFactory.Get()), CBareFile(file.Path())};
    contenders.ours.Load(file.Path());
    contenders.stock.Load(file.Path());
    CheckContents(contenders.readFile, "ReadFile");
    CheckContents(contenders.stock, "the stock file source");
    CheckContents(contenders.ours, "our filter");

    const CPageBuffer buffer(SIZE_T{4} * kMiB);
    BenchSequentialReads(report, contenders, buffer.Get());
    const auto [ours, stock, readFile] = BestReadTimes<CRandomPositions>(contenders, kRandomReadBytes, buffer.Get());
    report.Add({"random read, 4 KiB over 256 MiB", ours, stock, readFile, kRandomReadBytes});
    BenchSeeks(report, contenders.ours, file);
}

}  // namespace bench
