#include "diagnostics/LogLine.h"

#include "base/OrEmpty.h"
#include "base/Utf8Text.h"

#include <algorithm>

namespace TKRuntimeLogger {

std::string LogLine(int severity, const wchar_t* category, int processId, int threadId, const wchar_t* file, int line,
                    const wchar_t* function, const wchar_t* message) {
    std::wstring text = L"SEV: " + std::to_wstring(severity) + L", CAT: " + base::OrEmpty(category) + L", PID: " +
                        std::to_wstring(processId) + L", TID: " + std::to_wstring(threadId) + L", FILE: " +
                        base::OrEmpty(file) + L", LINE: " + std::to_wstring(line) + L", FUNC: " +
                        base::OrEmpty(function) + L", MSG: " + base::OrEmpty(message);
    std::replace(text.begin(), text.end(), L'\r', L'\u240D');
    std::replace(text.begin(), text.end(), L'\n', L'\u240A');
    return base::Utf8OfWide(text) + "\r\n";
}

}  // namespace TKRuntimeLogger
