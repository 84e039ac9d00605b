#include "base/ModuleFolder.h"
#include "bench/BenchCheck.h"
#include "bench/Benches.h"
#include "bench/CFilterSource.h"
#include "bench/Timing.h"
#include "framework/streams/TKFStreams.h"
#include "mime/CMimeLibrary.h"

#include <uuids.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

using Microsoft::WRL::ComPtr;

namespace {

// Memory that is this process's own and has been committed. The address space is asked rather than the process's memory
// counters, which Wine leaves at zero.
double PrivateKiB() noexcept {
    SIZE_T bytes = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const BYTE* address = nullptr; ::VirtualQuery(address, &region, sizeof region) != 0;
         address = static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE)
            bytes += region.RegionSize;
    }
    return static_cast<double>(bytes) / 1024;
}

// A filter's life: each step on its own, since a fresh filter is needed for each.
struct LifeTimes {
    std::vector<double> creation;
    std::vector<double> load;
    std::vector<double> release;

    void Measure(IClassFactory& factory, const CBenchFile& file, const AM_MEDIA_TYPE* type) {
        std::optional<CFilterSource> filter;
        creation.push_back(TimeOnce([&] { filter.emplace(factory); }));
        load.push_back(TimeOnce([&] { filter->Load(file.Path(), type); }));
        release.push_back(TimeOnce([&] { filter.reset(); }));
    }
};

void BenchLifeTimes(CReport& report, IClassFactory& ours, const CBenchFile& file) {
    const ComPtr<IClassFactory> stock = StockFactory();
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Stream;
    type.subtype = MEDIASUBTYPE_Avi;
    LifeTimes oursGiven;
    LifeTimes oursDecided;
    LifeTimes stockGiven;
    LifeTimes stockDecided;
    for (int round = 0; round < 25; ++round) {
        oursGiven.Measure(ours, file, &type);
        stockGiven.Measure(*stock.Get(), file, &type);
        oursDecided.Measure(ours, file, nullptr);
        stockDecided.Measure(*stock.Get(), file, nullptr);
    }
    CFilterSource loaded(ours);
    loaded.Load(file.Path(), &type);
    const double again = BestTime([&] { loaded.Load(file.Path(), &type); });

    report.Add({"create a filter", Median(oursGiven.creation), Median(stockGiven.creation)});
    report.Add({"Load, media type given", Median(oursGiven.load), Median(stockGiven.load)});
    report.Add({"Load, media type from the content", Median(oursDecided.load), Median(stockDecided.load)});
    // A fresh filter's Load waits for the start of the filter's thread. The stock source loads once.
    report.Add({.what = "Load again, media type given", .ours = again});
    report.Add({"release a loaded filter", Median(oursGiven.release), Median(stockGiven.release)});
}

void MeasureMemoryOfLoads(CReport& report, IClassFactory& factory, const CBenchFile& file) {
    constexpr int kFilters = 50;
    std::vector<std::unique_ptr<CFilterSource>> filters(kFilters);
    for (auto& filter : filters)
        filter = std::make_unique<CFilterSource>(factory);
    const double idle = PrivateKiB();
    BYTE byte = 0;
    for (const auto& filter : filters) {
        filter->Load(file.Path());
        filter->ReadAt(0, 1, &byte);
    }
    report.AddGoal("private memory of a loaded filter beyond an idle one", (PrivateKiB() - idle) / kFilters,
                   CReport::Goal::AtMost, 300, "KiB");
}

void MeasureMemoryOfReads(CReport& report, IClassFactory& factory, const CBenchFile& file) {
    constexpr LONG kBytes = 188;
    constexpr int kReads = 1'000'000;
    CFilterSource filter(factory);
    filter.Load(file.Path());
    BYTE buffer[kBytes];
    const auto read = [&](int count) {
        for (LONGLONG i = 0; i < count; ++i)
            filter.ReadAt(i * kBytes, kBytes, buffer);
    };
    read(kReads / 100);
    const double before = PrivateKiB();
    read(kReads);
    // Memory is committed in blocks, not by the byte; one byte lost per read would be a megabyte.
    report.AddGoal("growth of private memory over a million reads", PrivateKiB() - before, CReport::Goal::AtMost, 100,
                   "KiB");
}

// The worst of some contents of 64 KiB: each rule is asked to its end; each byte may begin a frame, a packet or a start
// code.
void MeasureDetection(CReport& report) {
    constexpr size_t kBytes = 64 * 1024;
    const mime::CMimeLibrary library(base::OwnModuleFolder());
    IMimeTypeDictionary* const dictionary = library.Dictionary();
    if (!dictionary)
        throw std::runtime_error("no MIME dictionary");
    std::string noise(kBytes, '\0');
    std::generate(noise.begin(), noise.end(), [random = 1U]() mutable {
        return static_cast<char>((random = random * 1'103'515'245 + 12'345) >> 24);
    });
    std::string codes;
    while (codes.size() < kBytes)
        codes += std::string("\0\0\1\xBA", 4);
    double worst = 0;
    for (const std::string& content : {noise, codes, std::string(kBytes, '\xFF'), std::string(kBytes, 'G')}) {
        ComPtr<IStream> stream;
        Check(::TKFCreateMemoryStream(content.data(), static_cast<LONGLONG>(content.size()), &stream),
              "TKFCreateMemoryStream");
        worst =
            std::max(worst, BestTime([&] { static_cast<void>(mime::TakeTexts(dictionary->Detect(stream.Get()))); }));
    }
    report.AddGoal("detection in 64 KiB of the worst content", worst, CReport::Goal::AtMost, 1000, "us");
}

}  // namespace

void BenchLoads(CReport& report, const CFilterLibrary& library, const CBenchFile& file) {
    BenchLifeTimes(report, library.Factory(), file);
    MeasureDetection(report);
    MeasureMemoryOfLoads(report, library.Factory(), file);
    MeasureMemoryOfReads(report, library.Factory(), file);
}

}  // namespace bench
