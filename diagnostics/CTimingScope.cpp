#include "diagnostics/CTimingScope.h"

#include "base/CSlimLock.h"
#include "base/ComBoundary.h"
#include "diagnostics/CTKRuntimeLoggerAPI.h"
#include "diagnostics/CTKRuntimeLoggerProfilesCollector.h"
#include "diagnostics/LogSite.h"

#include <memory>
#include <mutex>

namespace TKRuntimeLogger {
namespace {

// Serialises the decisions of all sites. Nothing foreign is called under it, only memory is allocated.
constinit base::CSlimLock g_decision;

std::unique_ptr<CProfile> MakeProfile(const LogSource& source, LONG line, const wchar_t* function,
                                      const wchar_t* message) {
    auto profile = std::make_unique<CProfile>();
    profile->severity = kDebug;
    profile->category = L"PROFILE";
    profile->message = message ? message : L"";
    profile->file = source.file ? source.file : L"";
    profile->line = line;
    profile->function = function ? function : L"";
    return profile;
}

template <class T>
void Add(std::atomic<T>& counter, T amount) noexcept {
    counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
}

}  // namespace

std::uintptr_t CProfileSite::Decide(const LogSource& source, LONG line, const wchar_t* function,
                                    const wchar_t* message) noexcept {
    try {
        // A thread's search for a logger calls foreign code, so it is done before the lock is taken.
        const bool hasLogger = ThreadLogger() != nullptr;
        std::unique_ptr<CProfile> profile;
        {
            const std::lock_guard lock(g_decision);
            if (const std::uintptr_t handle = m_handle.load(std::memory_order_relaxed); handle != kUndecided)
                return handle;
            // A site whose first caller has no logger is disabled for every thread and for good: one decision, one
            // write.
            if (!hasLogger) {
                m_handle.store(kDisabled, std::memory_order_release);
                return kDisabled;
            }
            profile = MakeProfile(source, line, function, message);
            m_handle.store(reinterpret_cast<std::uintptr_t>(profile.get()), std::memory_order_release);
        }
        // From here on other threads may be using the profile: if the collector can't take it, it stays unreported.
        CProfile* const decided = profile.release();
        if (ITKRuntimeLoggerProfilesCollector* const collector = GetProfilesCollector())
            collector->AddProfile(decided);
        return reinterpret_cast<std::uintptr_t>(decided);
    } catch (...) {
        return m_handle.load(std::memory_order_acquire);  // out of memory; perhaps another call fares better
    }
}

LONGLONG CTimingScope::Now() noexcept {
    LARGE_INTEGER now{};
    ::QueryPerformanceCounter(&now);
    return now.QuadPart;
}

void CTimingScope::Begin() noexcept {
    if (auto* const frontEnd = static_cast<CTKRuntimeLoggerAPI*>(FoundLogger())) {
        m_innermost = &frontEnd->InnermostScope();
        m_outer = m_innermost->load(std::memory_order_relaxed);
        m_innermost->store(m_profile, std::memory_order_release);
    }
    m_startTicks = Now();
}

void CTimingScope::Finish() const noexcept {
    const base::CLastErrorKeeper lastError;
    const LONGLONG elapsed = Now() - m_startTicks;
    // A scope that outlives the collector, in the destructor of some static object, has lost its profile, and soon
    // its thread's front end.
    if (!Detail::ProfilesAlive())
        return;
    if (m_innermost)
        m_innermost->store(m_outer, std::memory_order_release);
    RecordElapsed(*m_profile, elapsed);
}

void RecordElapsed(CProfile& profile, LONGLONG elapsedTicks) noexcept {
    Add(profile.count, ULONGLONG{1});
    Add(profile.totalTicks, elapsedTicks);
    if (elapsedTicks > profile.maximumTicks.load(std::memory_order_relaxed))
        profile.maximumTicks.store(elapsedTicks, std::memory_order_relaxed);
    Add(profile.exitsSinceReport, ULONG{1});
    if (ITKRuntimeLoggerProfilesCollector* const collector = GetProfilesCollector())
        collector->Tick();
}

void ReportProfile(const CProfile& profile) noexcept {
    ITKRuntimeLoggerAPI* const logger = ThreadLogger();
    if (logger && GetProfilesCollector())
        ReportProfile(profile, *logger);
}

void ReportProfile(const CProfile& profile, ITKRuntimeLoggerAPI& logger) noexcept {
    const LONGLONG ticksPerSecond = logger.GetFrequency();
    const double frequency = ticksPerSecond != 0 ? static_cast<double>(ticksPerSecond) : 1.0;
    base::RunQuietly([&] {
        logger.LogProfile(profile.severity, profile.category.c_str(), profile.file.c_str(), profile.line,
                          profile.function.c_str(), profile.message.c_str(),
                          profile.count.load(std::memory_order_relaxed),
                          static_cast<double>(profile.firstDurationTicks) / frequency,
                          static_cast<double>(profile.maximumTicks.load(std::memory_order_relaxed)) / frequency,
                          static_cast<double>(profile.totalTicks.load(std::memory_order_relaxed)) / frequency);
    });  // out of memory: the figures are cumulative, so the next report has them
}

}  // namespace TKRuntimeLogger
