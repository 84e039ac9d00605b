// A thread decides once whether it has a logger, and a timing site is decided by its first caller. So what is measured
// without a logger and with one runs on threads of its own, over sites of its own.
#include "base/CApartment.h"
#include "bench/BenchCheck.h"
#include "bench/Benches.h"
#include "bench/CBenchLogger.h"
#include "bench/CFilterSource.h"
#include "bench/Timing.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"

#include <exception>
#include <stdexcept>
#include <thread>

namespace bench {

namespace {

constexpr LONG kPacketBytes = 188;
constexpr TKRuntimeLogger::LogSource kSource{L"tvbench", L"LogBench"};

// Runs `body` to its end on a thread that has never logged; passes on what it throws.
template <class Body>
void OnFreshThread(Body&& body) {
    std::exception_ptr failure;
    std::thread([&] {
        try {
            const base::CApartment apartment(COINIT_MULTITHREADED);
            Check(apartment.Result(), "CoInitializeEx");
            body();
        } catch (...) {
            failure = std::current_exception();
        }
    }).join();
    if (failure)
        std::rethrow_exception(failure);
}

struct Times {
    double logSite = 0;
    double timingScope = 0;
    double signOfLife = 0;
    double packetRead = 0;
};

// A function for each use: each instance has sites of its own.
template <bool hasLogger>
Times MeasureSites() {
    Times times;
    int n = 0;
    times.logSite = BestTime([&] { TK_LOG(kSource, TKRuntimeLogger::kInfo, L"MeasureSites", L"record %d", ++n); });
    times.timingScope = BestTime([] { TK_PROFILE(kSource, L"MeasureSites", L""); });
    if constexpr (hasLogger) {
        TKRuntimeLogger::CHangDetector activity(kSource, __LINE__, L"MeasureSites", INFINITE,
                                                [] { return L"measuring"; });
        times.signOfLife = BestTime([&] { activity.KeepAlive(); });
    }
    return times;
}

double MeasurePacketRead(const CBenchFile& file) {
    const CFilterLibrary library;
    CFilterSource filter(library.Factory());
    filter.Load(file.Path());
    BYTE packet[kPacketBytes];
    return BestTime([&] { filter.ReadAt(0, kPacketBytes, packet); });
}

// Fails rather than report the cost of nothing.
void ExpectGrowth(long long before, long long after, const char* what) {
    if (after <= before)
        throw std::runtime_error(std::string("the logging service was told of no ") + what);
}

Times MeasureWithLogger(const CBenchFile& file) {
    const CBenchLogger logger;
    Times times;
    OnFreshThread([&] {
        times = MeasureSites<true>();
        ExpectGrowth(0, logger.Records(), "record");
        const long long profileRecords = logger.ProfileRecords();
        ExpectGrowth(0, profileRecords, "timing scope");
        times.packetRead = MeasurePacketRead(file);
        ExpectGrowth(profileRecords, logger.ProfileRecords(), "timing scope of the filter");
    });
    return times;
}

}  // namespace

void BenchLogging(CReport& report, const CBenchFile& file) {
    Times without;
    OnFreshThread([&] {
        without = MeasureSites<false>();
        without.packetRead = MeasurePacketRead(file);
    });
    const Times with = MeasureWithLogger(file);
    report.BeginPairs("Logging, in microseconds", "without logger", "with a logger");
    report.AddPair("log site", without.logSite, with.logSite);
    report.AddPair("timing scope", without.timingScope, with.timingScope);
    report.AddPair("sign of life of an activity", without.signOfLife, with.signOfLife);
    report.AddPair("read of 188 bytes that the buffer has", without.packetRead, with.packetRead);
    report.AddGoal("a sign of life of a watched activity", with.signOfLife, CReport::Goal::AtMost, 0.02, "us");
}

}  // namespace bench
