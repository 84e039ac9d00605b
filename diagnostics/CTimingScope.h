// Measures how long the rest of a block takes, for each site of the source by itself.
//
//   TK_PROFILE(kSource, L"CThing::Open", L"");
//
// The figures reach an external logging service as "PROFILE" records, ever more rarely as the process goes on; the log
// file doesn't take them. A site whose first caller had no logger costs one read of a static word from then on.
//
// Threads: any.  Errors: none; where memory is out, the scope isn't timed.
#pragma once

#include "diagnostics/ITKRuntimeLoggerAPI.h"
#include "diagnostics/ITKRuntimeLoggerProfilesCollector.h"
#include "diagnostics/LogTypes.h"

#include <atomic>
#include <cstdint>

namespace TKRuntimeLogger {

// Adds one finished scope to the figures and ticks the collector.
void RecordElapsed(CProfile& profile, LONGLONG elapsedTicks) noexcept;

// Writes the figures as one timing record; nothing if the thread has no logger, or the collector is gone.
void ReportProfile(const CProfile& profile) noexcept;

// The same through a given front end.
void ReportProfile(const CProfile& profile, ITKRuntimeLoggerAPI& logger) noexcept;

// The process-wide collector, made at the first call; null when it can't be made, and at the end of the process.
[[nodiscard]] ITKRuntimeLoggerProfilesCollector* GetProfilesCollector() noexcept;

// What a site knows about itself: one word, decided by its first caller for the rest of the process.
class CProfileSite final {
public:
    constexpr CProfileSite() noexcept = default;
    CProfileSite(const CProfileSite&) = delete;
    CProfileSite& operator=(const CProfileSite&) = delete;

    // The site's profile, or null if the site isn't timed.
    [[nodiscard]] CProfile* Profile(const LogSource& source, LONG line, const wchar_t* function,
                                    const wchar_t* message) noexcept {
        const std::uintptr_t handle = m_handle.load(std::memory_order_acquire);
        return ProfileOf(handle != kUndecided ? handle : Decide(source, line, function, message));
    }

private:
    static constexpr std::uintptr_t kUndecided = 0;
    static constexpr std::uintptr_t kDisabled = ~std::uintptr_t{0};

    static CProfile* ProfileOf(std::uintptr_t handle) noexcept {
        return handle == kUndecided || handle == kDisabled ? nullptr : reinterpret_cast<CProfile*>(handle);
    }
    std::uintptr_t Decide(const LogSource& source, LONG line, const wchar_t* function, const wchar_t* message) noexcept;

    std::atomic<std::uintptr_t> m_handle{kUndecided};
};

class CTimingScope final {
public:
    CTimingScope(CProfileSite& site, const LogSource& source, LONG line, const wchar_t* function,
                 const wchar_t* message) noexcept
        : m_profile(site.Profile(source, line, function, message)) {
        if (m_profile)
            Begin();
    }
    CTimingScope(const CTimingScope&) = delete;
    CTimingScope& operator=(const CTimingScope&) = delete;
    ~CTimingScope() {
        if (m_profile)
            Finish();
    }

private:
    static LONGLONG Now() noexcept;
    void Begin() noexcept;
    void Finish() const noexcept;

    CProfile* const m_profile;
    LONGLONG m_startTicks = 0;
    // Where the thread notes its innermost scope, for whoever asks what it is doing; null: nowhere.
    std::atomic<const CProfile*>* m_innermost = nullptr;
    const CProfile* m_outer = nullptr;
};

}  // namespace TKRuntimeLogger

#define TK_CONCAT_TOKENS(left, right) left##right
#define TK_CONCAT(left, right) TK_CONCAT_TOKENS(left, right)

// The static word is a constant at load: no hidden initialisation, no hidden lock.
#define TK_PROFILE(source, function, message)                                                                    \
    static constinit ::TKRuntimeLogger::CProfileSite TK_CONCAT(tkProfileSite, __LINE__);                         \
    const ::TKRuntimeLogger::CTimingScope TK_CONCAT(tkTimingScope, __LINE__)(TK_CONCAT(tkProfileSite, __LINE__), \
                                                                             source, __LINE__, function, message)
