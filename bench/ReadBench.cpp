#include "bench/BenchCheck.h"
#include "bench/Benches.h"
#include "bench/CBareFile.h"
#include "bench/CFilterSource.h"
#include "bench/Timing.h"
#include "framework/streams/TKFStreams.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

constexpr LONG kKiB = 1 << 10;
constexpr LONG kMiB = 1 << 20;
constexpr LONG kRandomReadBytes = 4 * kKiB;
constexpr LONG kPacketBytes = 188;  // of a transport stream: what many parsers read by

struct Contenders {
    CFilterSource ours;
    CFilterSource stock;
    CBareFile readFile;
};

// Reads on and on, and from the start again where the file ends.
class CSequentialReads final {
public:
    CSequentialReads(CContender& contender, LONG bytes, BYTE* buffer) noexcept
        : m_contender(contender), m_bytes(bytes), m_buffer(buffer) {}

    void operator()() {
        if (m_position + m_bytes > kBenchFileBytes)
            m_position = 0;
        m_contender.ReadAt(m_position, m_bytes, m_buffer);
        m_position += m_bytes;
    }

private:
    CContender& m_contender;
    const LONG m_bytes;
    BYTE* const m_buffer;
    LONGLONG m_position = 0;
};

// The same positions in the same order for every contender.
class CRandomReads final {
public:
    CRandomReads(CContender& contender, BYTE* buffer) noexcept : m_contender(contender), m_buffer(buffer) {}

    void operator()() { m_contender.ReadAt(NextPosition(), kRandomReadBytes, m_buffer); }

    LONGLONG NextPosition() noexcept {
        constexpr ULONGLONG kPlaces = kBenchFileBytes / kRandomReadBytes;
        return static_cast<LONGLONG>(Scrambled(m_index++) % kPlaces) * kRandomReadBytes;
    }

private:
    CContender& m_contender;
    BYTE* const m_buffer;
    ULONGLONG m_index = 0;
};

std::string SizeText(LONG bytes) {
    if (bytes % kMiB == 0)
        return std::to_string(bytes / kMiB) + " MiB";
    return bytes % kKiB == 0 ? std::to_string(bytes / kKiB) + " KiB" : std::to_string(bytes) + " B";
}

// A fast contender that reads the wrong bytes is no contender. The whole file has been read afterwards, so that the
// measurements find it in memory.
void CheckContents(CContender& contender, const char* name) {
    std::vector<BYTE> buffer(kMiB);
    const auto check = [&](LONGLONG position, LONG bytes) {
        contender.ReadAt(position, bytes, buffer.data());
        if (!CBenchFile::Matches(position, {buffer.data(), static_cast<std::size_t>(bytes)}))
            throw std::runtime_error(std::string(name) + " reads wrong bytes at " + std::to_string(position));
    };
    CRandomReads random(contender, buffer.data());
    for (int i = 0; i < 100; ++i)
        check(random.NextPosition(), kRandomReadBytes);
    for (LONGLONG position = 0; position < kBenchFileBytes; position += kMiB)
        check(position, kMiB);
}

void BenchSequentialReads(CReport& report, Contenders& contenders, BYTE* buffer) {
    double worstToStock = std::numeric_limits<double>::infinity();
    double worstToReadFile = std::numeric_limits<double>::infinity();
    for (const LONG bytes : {64L, kPacketBytes, kKiB, 4 * kKiB, 32 * kKiB, 128 * kKiB, kMiB, 4 * kMiB}) {
        const auto [ours, stock, readFile] = BestTimes(CSequentialReads(contenders.ours, bytes, buffer),
                                                       CSequentialReads(contenders.stock, bytes, buffer),
                                                       CSequentialReads(contenders.readFile, bytes, buffer));
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

    std::vector<BYTE> buffer(4 * kMiB);
    BenchSequentialReads(report, contenders, buffer.data());
    const auto [ours, stock, readFile] =
        BestTimes(CRandomReads(contenders.ours, buffer.data()), CRandomReads(contenders.stock, buffer.data()),
                  CRandomReads(contenders.readFile, buffer.data()));
    report.Add({"random read, 4 KiB over 256 MiB", ours, stock, readFile, kRandomReadBytes});
    BenchSeeks(report, contenders.ours, file);
}
