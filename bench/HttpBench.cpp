// Our filter over http against bare WinHTTP calls, from one server, which is a thread of this process. The server keeps
// neither side waiting: data stand ready in the system's buffers while they are read.
#include "bench/BenchCheck.h"
#include "bench/Benches.h"
#include "bench/CBareFile.h"
#include "bench/CBareHttp.h"
#include "bench/CDataServices.h"
#include "bench/CFilterSource.h"
#include "bench/CPageBuffer.h"
#include "bench/Timing.h"
#include "tests/support/CHttpServer.h"

#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace bench {

namespace {

constexpr LONG kKiB = 1 << 10;
constexpr LONG kMiB = 1 << 20;
constexpr LONG kSourceBytes = 64 * kMiB;
constexpr LONG kBlockBytes = 128 * kKiB;

// The first part of the benchmark's file, on a server that counts what it is asked.
class CServedFile final {
public:
    explicit CServedFile(const CBenchFile& file) {
        std::string bytes(kSourceBytes, '\0');
        CBareFile(file.Path()).ReadAt(0, kSourceBytes, reinterpret_cast<BYTE*>(bytes.data()));
        m_server.Serve("/file", {.bytes = std::move(bytes)});
    }

    [[nodiscard]] std::wstring Url() const { return m_server.Url(L"/file"); }
    [[nodiscard]] unsigned Port() const { return m_server.Port(); }

    template <class Operation>
    [[nodiscard]] double CountRequests(Operation&& operation) const {
        const auto before = m_server.Requests().size();
        operation();
        return static_cast<double>(m_server.Requests().size() - before);
    }

private:
    CHttpServer m_server;
};

void ReadThrough(CContender& contender, BYTE* buffer) {
    for (LONGLONG position = 0; position < kSourceBytes; position += kBlockBytes)
        contender.ReadAt(position, kBlockBytes, buffer);
}

void ReadChecked(CContender& contender, LONGLONG position, std::span<BYTE> target) {
    contender.ReadAt(position, static_cast<LONG>(target.size()), target.data());
    if (!CBenchFile::Matches(position, target))
        throw std::runtime_error("wrong bytes over http at " + std::to_string(position));
}

void ReadChecked(CContender& contender, LONGLONG first, LONGLONG end, std::span<BYTE> block) {
    for (LONGLONG position = first; position < end; position += kBlockBytes)
        ReadChecked(contender, position, block);
}

// Reads here and there in the block that has just been read; reading goes on afterwards as if nothing had been.
void SeekInsideBuffer(CFilterSource& ours, LONGLONG end, std::span<BYTE> block) {
    for (const LONG back : {kBlockBytes, 4 * kKiB, 100 * kKiB, 52 * kKiB})
        ReadChecked(ours, end - back, block.first(4 * kKiB));
    ReadChecked(ours, end, block);
}

void BenchRequests(CReport& report, IClassFactory& factory, const CServedFile& served, std::span<BYTE> block) {
    CFilterSource ours(factory);
    const double ofOpen = served.CountRequests([&] { ours.Load(served.Url().c_str()); });
    double ofSeeks = 0;
    const double ofReads = served.CountRequests([&] {
        ReadChecked(ours, 0, kSourceBytes / 2, block);
        ofSeeks = served.CountRequests([&] { SeekInsideBuffer(ours, kSourceBytes / 2, block); });
        ReadChecked(ours, kSourceBytes / 2, kSourceBytes, block);
    });
    report.AddGoal("requests for an open over http", ofOpen, CReport::Goal::AtMost, 2, "");
    report.AddGoal("requests for an open and a sequential read over http", ofOpen + ofReads - ofSeeks,
                   CReport::Goal::AtMost, 1, "");
    report.AddGoal("requests for seeks inside what is buffered", ofSeeks, CReport::Goal::AtMost, 0, "");
}

struct Transfer {
    double open;
    double read;
};

Transfer TransferOurs(IClassFactory& factory, const CServedFile& served, BYTE* buffer) {
    CFilterSource ours(factory);
    const std::wstring url = served.Url();
    const double open = TimeOnce([&] { ours.Load(url.c_str()); });
    return {open, TimeOnce([&] { ReadThrough(ours, buffer); })};
}

Transfer TransferBare(const CServedFile& served, BYTE* buffer) {
    std::optional<CBareHttp> bare;
    const double open = TimeOnce([&] { bare.emplace(served.Port(), L"/file"); });
    return {open, TimeOnce([&] { ReadThrough(*bare, buffer); })};
}

void BenchTransfers(CReport& report, IClassFactory& factory, const CServedFile& served, BYTE* buffer) {
    constexpr int kRounds = 25;
    std::vector<double> oursOpen, oursRead, bareOpen, bareRead, ratios;
    for (int round = 0; round < kRounds; ++round) {
        const Transfer ours = TransferOurs(factory, served, buffer);
        const Transfer bare = TransferBare(served, buffer);
        oursOpen.push_back(ours.open);
        oursRead.push_back(ours.read);
        bareOpen.push_back(bare.open);
        bareRead.push_back(bare.read);
        ratios.push_back(bare.read / ours.read);
    }
    const auto rate = [](const std::vector<double>& times) { return kSourceBytes / kMiB / Median(times) * 1e6; };
    report.BeginPairs("Over http, 64 MiB by 128 KiB", "ours", "bare WinHTTP");
    report.AddPair("open, milliseconds", Median(oursOpen) / 1e3, Median(bareOpen) / 1e3);
    report.AddPair("sequential read, MiB/s", rate(oursRead), rate(bareRead));
    // The ratios are of transfers that followed each other: on a machine that others use, one round may be four times
    // as fast as the next.
    report.AddGoal("throughput over http to bare WinHTTP's", Median(ratios), CReport::Goal::AtLeast, 0.9, "times");
}

}  // namespace

void BenchHttp(CReport& report, const CFilterLibrary& library, const CBenchFile& file) {
    const CDataServices services;
    const CServedFile served(file);
    const CPageBuffer buffer(kBlockBytes);
    BenchRequests(report, library.Factory(), served, {buffer.Get(), kBlockBytes});
    BenchTransfers(report, library.Factory(), served, buffer.Get());
}

}  // namespace bench
