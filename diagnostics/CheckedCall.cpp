#include "diagnostics/CheckedCall.h"

#include "diagnostics/LogSite.h"

namespace TKRuntimeLogger {

void LogFailedCall(const LogSource& source, LONG line, const wchar_t* function, HRESULT hr, const wchar_t* callText,
                   const CodeText& textOf) noexcept {
    AtLogSite([&](ITKRuntimeLoggerAPI& logger) {
        LogFormatted(logger, source, kError, line, function, L"ERROR: hr=0x%08X (\"%s\"), from call %s",
                     static_cast<unsigned>(hr), textOf(hr).c_str(), callText);
    });
}

void LogError(const LogSource& source, LONG line, const wchar_t* function, const wchar_t* message) noexcept {
    AtLogSite([&](ITKRuntimeLoggerAPI& logger) {
        logger.Log(kError, source.category, source.file, line, function, message);
    });
}

}  // namespace TKRuntimeLogger
