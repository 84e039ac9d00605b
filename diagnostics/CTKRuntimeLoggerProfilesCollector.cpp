#include "diagnostics/CTKRuntimeLoggerProfilesCollector.h"

#include "base/CSlimLock.h"
#include "diagnostics/CTimingScope.h"

#include <cstdlib>
#include <mutex>
#include <new>

namespace TKRuntimeLogger {
namespace {

constinit base::CSlimLock g_creation;
constinit std::atomic<CTKRuntimeLoggerProfilesCollector*> g_collector{nullptr};
constinit std::atomic<bool> g_destroyed{false};

void DestroyCollector() {
    g_destroyed = true;
    delete g_collector.exchange(nullptr);
}

}  // namespace

bool Detail::ProfilesAlive() noexcept {
    return !g_destroyed.load(std::memory_order_relaxed);
}

ITKRuntimeLoggerProfilesCollector* GetProfilesCollector() noexcept {
    if (auto* const collector = g_collector.load(std::memory_order_acquire))
        return collector;
    const std::lock_guard lock(g_creation);
    if (!g_destroyed && !g_collector) {
        auto* const collector = new (std::nothrow) CTKRuntimeLoggerProfilesCollector;
        if (collector)
            std::atexit(DestroyCollector);  // in a DLL this runs when the DLL is unloaded
        g_collector = collector;
    }
    return g_collector;
}

CTKRuntimeLoggerProfilesCollector::~CTKRuntimeLoggerProfilesCollector() {
    const std::lock_guard lock(m_lock);
    for (CProfile* const profile : m_profiles)
        delete profile;
    m_profiles.clear();
}

void CTKRuntimeLoggerProfilesCollector::AddProfile(CProfile* profile) {
    const std::lock_guard lock(m_lock);
    m_profiles.insert(profile);
}

void CTKRuntimeLoggerProfilesCollector::RemoveProfile(CProfile* profile) noexcept {
    const std::lock_guard lock(m_lock);
    m_profiles.erase(profile);
}

void CTKRuntimeLoggerProfilesCollector::Tick() noexcept {
    if (++m_exitsSinceReport < m_reportThreshold)
        return;
    // The interval grows with every report, on purpose: a long-running process isn't kept busy with its own figures.
    ++m_reportThreshold;
    m_exitsSinceReport = 0;
    ReportAll();
}

void CTKRuntimeLoggerProfilesCollector::ReportAll() noexcept {
    const std::lock_guard lock(m_lock);
    for (const CProfile* const profile : m_profiles)
        ReportProfile(*profile);
}

}  // namespace TKRuntimeLogger
