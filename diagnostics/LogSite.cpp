#include "diagnostics/LogSite.h"

#include <cstdio>
#include <cwchar>

namespace TKRuntimeLogger {

const wchar_t* SeverityName(LONG severity) noexcept {
    static constexpr const wchar_t* kNames[] = {L"DEBUG", L"INFO", L"WARN", L"ERROR", L"FATAL"};
    return severity >= kDebug && severity <= kFatal ? kNames[severity] : L"";
}

std::wstring FormatLogStringV(const wchar_t* format, va_list arguments) {
    if (!format)
        return {};
    va_list counted;
    va_copy(counted, arguments);
    const int length = ::_vscwprintf(format, counted);
    va_end(counted);
    if (length <= 0)
        return {};
    std::wstring text(static_cast<std::size_t>(length) + 1, L'\0');
    const int written = ::vswprintf_s(text.data(), text.size(), format, arguments);
    text.resize(written > 0 ? static_cast<std::size_t>(written) : 0);
    return text;
}

std::wstring FormatLogString(const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    // va_end is a formality on our platforms, so an exception may skip it.
    std::wstring text = FormatLogStringV(format, arguments);
    va_end(arguments);
    return text;
}

void LogFormatted(ITKRuntimeLoggerAPI& logger, const LogSource& source, LONG severity, LONG line,
                  const wchar_t* function, const wchar_t* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::wstring message = FormatLogStringV(format, arguments);
    va_end(arguments);
    logger.Log(severity, source.category, source.file, line, function, message.c_str());
}

}  // namespace TKRuntimeLogger
