// The front end of one thread: finds the logger when it is made, and turns records into calls on it.
#pragma once

#include "TKRuntimeLogger.h"
#include "diagnostics/ITKRuntimeLoggerAPI.h"
#include "diagnostics/ITKRuntimeLoggerProfilesCollector.h"

#include <objbase.h>
#include <wrl/client.h>

#include <atomic>
#include <memory>

namespace TKRuntimeLogger {

class CTKRuntimeLoggerAPI final : public ITKRuntimeLoggerAPI {
public:
    // Takes the service that is published in the Running Object Table, else `fallback`, which may be null. Every
    // failure on the way to the service means that there is none.
    explicit CTKRuntimeLoggerAPI(ITKRuntimeLogger* fallback) noexcept;
    CTKRuntimeLoggerAPI(const CTKRuntimeLoggerAPI&) = delete;
    CTKRuntimeLoggerAPI& operator=(const CTKRuntimeLoggerAPI&) = delete;

    [[nodiscard]] bool HasLogger() const noexcept { return m_logger != nullptr; }
    [[nodiscard]] bool LogsTo(const ITKRuntimeLogger* logger) const noexcept { return m_logger.Get() == logger; }

    // The innermost of the timed scopes that the thread is in, as far as they began after its first record; null: none.
    // Only the thread itself changes it; others may look.
    [[nodiscard]] std::atomic<const CProfile*>& InnermostScope() noexcept { return m_innermostScope; }

    // Gives up the interface pointers without releasing them.
    void AbandonReferences() noexcept;

    void Log(LONG severity, const wchar_t* category, const wchar_t* file, LONG line, const wchar_t* function,
             const wchar_t* message) override;
    void LogProfile(LONG severity, const wchar_t* category, const wchar_t* file, LONG line, const wchar_t* function,
                    const wchar_t* message, ULONGLONG count, double firstDuration, double maximumDuration,
                    double totalDuration) override;
    void LogExplicit(LONG severity, const wchar_t* category, ULONG value1, ULONG value2, const wchar_t* file, LONG line,
                     ULONG value3, const wchar_t* function, const wchar_t* message, BYTE flag) override;
    [[nodiscard]] LONG AskQuestion(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                                   const wchar_t* function, const wchar_t* question, const wchar_t* secondText,
                                   LONG defaultAnswer, bool remember) override;
    void LogWithDump(LONG severity, const wchar_t* category, const wchar_t* file, LONG line, const wchar_t* function,
                     const wchar_t* message, ...) override;
    [[nodiscard]] LONGLONG GetFrequency() const noexcept override { return m_frequency; }
    [[nodiscard]] LONGLONG GetTimestamp() const noexcept override;

private:
    void FindService();

    Microsoft::WRL::ComPtr<ITKRuntimeLogger> m_logger;
    Microsoft::WRL::ComPtr<ITKRuntimeLoggerQuestion> m_questioner;
    Microsoft::WRL::ComPtr<ITKRuntimeLoggerDump> m_dumpWriter;
    const DWORD m_threadId;
    const DWORD m_processId;
    LONGLONG m_frequency = 0;  // ticks per second
    std::atomic<const CProfile*> m_innermostScope{nullptr};
};

// Another front end for the calling thread, which has found its logger here and now: for a thread that outlives the
// loggers of those for whom it writes.  Throws std::bad_alloc.
[[nodiscard]] std::unique_ptr<CTKRuntimeLoggerAPI> MakeFrontEnd();

}  // namespace TKRuntimeLogger
