// The timing figures of the process: what a site accumulates, and the collector that reports all sites.
#pragma once

#include <windows.h>

#include <atomic>
#include <string>

namespace TKRuntimeLogger {

// One timing site's figures since the process began; ticks are those of the performance counter.
//
// The counters are updated without a lock or an interlocked operation: two threads that leave the same site at once may
// lose an update. That is accepted for the sake of what a scope costs.
struct CProfile {
    LONG severity = 0;
    std::wstring category;
    std::wstring message;
    std::wstring file;
    LONG line = 0;
    std::wstring function;
    std::atomic<ULONGLONG> count{0};
    std::atomic<LONGLONG> totalTicks{0};
    std::atomic<LONGLONG> maximumTicks{0};
    // A part of the record that is never filled. It is reported as the first duration, which is therefore always 0.
    LONGLONG firstDurationTicks = 0;
    std::atomic<ULONG> exitsSinceReport{0};  // for whoever looks at a dump; not reported
};

// Threads: any.
struct ITKRuntimeLoggerProfilesCollector {
    // Takes the profile over and deletes it with itself. Throws std::bad_alloc.
    virtual void AddProfile(CProfile* profile) = 0;

    // Gives the profile back to the caller.
    virtual void RemoveProfile(CProfile* profile) noexcept = 0;

    // A scope has ended: now and then this reports everything.
    virtual void Tick() noexcept = 0;

    // Reports every profile through the calling thread's front end. Figures go on accumulating.
    virtual void ReportAll() noexcept = 0;

    virtual ~ITKRuntimeLoggerProfilesCollector() = default;
};

}  // namespace TKRuntimeLogger
