// What happens at a log site: find the calling thread's front end, and only if there is one, format and log.
//
//   static constexpr TKRuntimeLogger::LogSource kSource{L"TvFileSourceAsync", L"CustomFileSource"};
//   TK_LOG(kSource, TKRuntimeLogger::kInfo, L"CCustomFileSourceFilter::Load", L"Loading: %s", name);
//
// A thread looks for a logger once, at its first record: a service that is published in the Running Object Table, else
// the log file that the registry names. If it finds neither, its log sites cost two thread-local reads each and
// evaluate none of their arguments, for the rest of its life. COM should be initialised on the thread by then; else
// only the file is found. A service that ends or hangs is left for the file: see CTKRuntimeLoggerAPI.h.
//
// Logging never fails an operation: whatever goes wrong in a record, the evaluation of its arguments included, loses
// the record and nothing else.
//
// Threads: any.  The last-error value stays as it is.
#pragma once

#include "base/CLastErrorKeeper.h"
#include "base/ComBoundary.h"
#include "base/FormatText.h"
#include "diagnostics/ITKRuntimeLoggerAPI.h"
#include "diagnostics/LogTypes.h"

#include <cstdarg>
#include <string>

namespace TKRuntimeLogger {

namespace Detail {
// The two thread-local slots of the module: the thread's front end, and a mark that it has looked for one. No slot is
// allocated before the module's static initialisation or after its end; nothing is logged then.
inline constinit DWORD g_frontEndSlot = TLS_OUT_OF_INDEXES;
inline constinit DWORD g_triedSlot = TLS_OUT_OF_INDEXES;
}  // namespace Detail

// The calling thread's front end, made on first use, or null for good.
[[nodiscard]] ITKRuntimeLoggerAPI* GetLoggerAPI() noexcept;

// The calling thread's front end if it has one by now; this looks for none.
[[nodiscard]] inline ITKRuntimeLoggerAPI* FoundLogger() noexcept {
    const base::CLastErrorKeeper lastError;
    return static_cast<ITKRuntimeLoggerAPI*>(::TlsGetValue(Detail::g_frontEndSlot));
}

// GetLoggerAPI, with a short path for a thread that has looked for its logger before.
[[nodiscard]] inline ITKRuntimeLoggerAPI* ThreadLogger() noexcept {
    const base::CLastErrorKeeper lastError;
    if (void* frontEnd = ::TlsGetValue(Detail::g_frontEndSlot))
        return static_cast<ITKRuntimeLoggerAPI*>(frontEnd);
    return ::TlsGetValue(Detail::g_triedSlot) ? nullptr : GetLoggerAPI();
}

// What every log site does: runs `write` with the calling thread's front end, if there is one, and drops what it
// throws. All work to make a record belongs in `write`.
template <class Write>
void AtLogSite(Write&& write) noexcept {
    const base::CLastErrorKeeper lastError;
    if (ITKRuntimeLoggerAPI* const logger = ThreadLogger())
        base::RunQuietly([&] { write(*logger); });  // out of memory as a rule
}

// "DEBUG", "INFO", "WARN", "ERROR", "FATAL" for 0 to 4; empty for every other number. Never null.
[[nodiscard]] const wchar_t* SeverityName(LONG severity) noexcept;

// base::FormatText under the name by which hosts that log through this front end know it.
template <class... Values>
[[nodiscard]] std::wstring FormatLogString(const wchar_t* format, Values... values) {
    return base::FormatText(format, values...);
}

// The building block of TK_LOG and its relatives, for within AtLogSite: throws when memory is out.
void LogFormatted(ITKRuntimeLoggerAPI& logger, const LogSource& source, LONG severity, LONG line,
                  const wchar_t* function, const wchar_t* format, ...);

}  // namespace TKRuntimeLogger

// TK_LOG(source, severity, function, format, ...)
#define TK_LOG(source, severity, function, ...)                                                       \
    ::TKRuntimeLogger::AtLogSite([&](::TKRuntimeLogger::ITKRuntimeLoggerAPI& tkLogger) {              \
        ::TKRuntimeLogger::LogFormatted(tkLogger, source, severity, __LINE__, function, __VA_ARGS__); \
    })
