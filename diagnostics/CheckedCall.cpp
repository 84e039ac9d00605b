#include "diagnostics/CheckedCall.h"

#include "diagnostics/HResultText.h"
#include "diagnostics/LogSite.h"

namespace TKRuntimeLogger {

void LogFailedCall(const LogSource& source, LONG line, const wchar_t* function, HRESULT hr, const wchar_t* description,
                   const wchar_t* callText) noexcept {
    const CLastErrorKeeper lastError;
    ITKRuntimeLoggerAPI* const logger = ThreadLogger();
    if (!logger)
        return;
    try {
        LogFormatted(*logger, source, kError, line, function, L"ERROR: hr=0x%08X (\"%s\"), from call %s",
                     static_cast<unsigned>(hr), description ? description : HResultText(hr).c_str(), callText);
    } catch (...) {
        // Out of memory: the caller reports the failed call's result, not this.
    }
}

void LogError(const LogSource& source, LONG line, const wchar_t* function, const wchar_t* message) noexcept {
    const CLastErrorKeeper lastError;
    ITKRuntimeLoggerAPI* const logger = ThreadLogger();
    if (!logger)
        return;
    try {
        logger->Log(kError, source.category, source.file, line, function, message);
    } catch (...) {
        // As above.
    }
}

}  // namespace TKRuntimeLogger
