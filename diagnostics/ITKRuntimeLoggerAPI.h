// One thread's way to the logger. GetLoggerAPI() hands it out; log sites use it through TK_LOG and its relatives.
//
// Threads: the thread that it was made for, and no other: it carries that thread's id, and perhaps an interface pointer
// that belongs to the thread's apartment.
// Lifetime: until the module is unloaded.
// Texts are zero-terminated and may be null; a null text reaches the logger as a null string.
// Errors: out of memory is a CAtlException carrying E_OUTOFMEMORY, or std::bad_alloc. The logger's own results, and
// whatever it does wrong, are ignored: logging fails no operation.
#pragma once

#include <windows.h>

namespace TKRuntimeLogger {

struct ITKRuntimeLoggerAPI {
    // One record.
    virtual void Log(LONG severity, const wchar_t* category, const wchar_t* file, LONG line, const wchar_t* function,
                     const wchar_t* message) = 0;

    // The accumulated figures of a timing site; durations in seconds.
    virtual void LogProfile(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                            const wchar_t* function, const wchar_t* message, ULONGLONG count, double firstDuration,
                            double maximumDuration, double totalDuration) = 0;

    // A record whose leading numbers are the caller's; what they mean is between the caller and the logging service.
    virtual void LogExplicit(LONG severity, const wchar_t* category, ULONG value1, ULONG value2, const wchar_t* file,
                             LONG line, ULONG value3, const wchar_t* function, const wchar_t* message, BYTE flag) = 0;

    // Asks the person in front of the logging service; `secondText` is passed through as it is. With `remember`, an
    // answer counts for the same question with the same severity and texts at the same site for the life of the
    // process; threads that ask at the same time may all be asked, and the answer that comes first stays. Returns
    // `defaultAnswer` when there is no answer. If the service can't ask, the question is logged instead; if it fails to
    // ask, the question isn't logged. Neither outcome is remembered.
    [[nodiscard]] virtual LONG AskQuestion(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                                           const wchar_t* function, const wchar_t* question, const wchar_t* secondText,
                                           LONG defaultAnswer, bool remember) = 0;

    // Has the logging service write a dump of this process and log the message with it. The message is formatted as by
    // FormatLogString. Without a dump, the message is logged with " <a dump could not be created>" appended.
    virtual void LogWithDump(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                             const wchar_t* function, const wchar_t* message, ...) = 0;

    // Ticks per second of GetTimestamp.
    [[nodiscard]] virtual LONGLONG GetFrequency() const noexcept = 0;

    // The performance counter now, in ticks.
    [[nodiscard]] virtual LONGLONG GetTimestamp() const noexcept = 0;

    virtual ~ITKRuntimeLoggerAPI() = default;
};

}  // namespace TKRuntimeLogger
