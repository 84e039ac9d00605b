// The set of all timing sites, and the decision when to report it.
//
// Reports fall after 1, 1, 2, 3, 4, ... finished scopes: frequent at the start of a process, ever rarer later.
#pragma once

#include "base/CCriticalSection.h"
#include "diagnostics/ITKRuntimeLoggerProfilesCollector.h"

#include <atomic>
#include <set>

namespace TKRuntimeLogger {

class CTKRuntimeLoggerProfilesCollector final : public ITKRuntimeLoggerProfilesCollector {
public:
    CTKRuntimeLoggerProfilesCollector() noexcept = default;
    CTKRuntimeLoggerProfilesCollector(const CTKRuntimeLoggerProfilesCollector&) = delete;
    CTKRuntimeLoggerProfilesCollector& operator=(const CTKRuntimeLoggerProfilesCollector&) = delete;
    ~CTKRuntimeLoggerProfilesCollector() override;

    void AddProfile(CProfile* profile) override;
    void RemoveProfile(CProfile* profile) noexcept override;
    void Tick() noexcept override;
    void ReportAll() noexcept override;

private:
    std::atomic<ULONG> m_exitsSinceReport{0};
    std::atomic<ULONG> m_reportThreshold{0};

    // Guards the set. ReportAll calls the logger while it holds it, so that reports of two threads don't mix.
    base::CCriticalSection m_lock;
    std::set<CProfile*> m_profiles;
};

namespace Detail {
// False once the collector, and with it every profile, has been destroyed at the end of the process.
[[nodiscard]] bool ProfilesAlive() noexcept;
}  // namespace Detail

}  // namespace TKRuntimeLogger
