#include "diagnostics/LogSite.h"

#include "base/FormatText.h"

#include <cstdarg>

namespace TKRuntimeLogger {

const wchar_t* SeverityName(LONG severity) noexcept {
    static constexpr const wchar_t* kNames[] = {L"DEBUG", L"INFO", L"WARN", L"ERROR", L"FATAL"};
    return severity >= kDebug && severity <= kFatal ? kNames[severity] : L"";
}

void LogFormatted(ITKRuntimeLoggerAPI& logger, const LogSource& source, LONG severity, LONG line,
                  const wchar_t* function, const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::wstring message = base::FormatTextV(format, arguments);
    va_end(arguments);
    logger.Log(severity, source.category, source.file, line, function, message.c_str());
}

}  // namespace TKRuntimeLogger
