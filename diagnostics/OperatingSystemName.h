// What a version of Windows is called in the environment report.
//
// Threads: any.  Errors: std::bad_alloc.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace TKRuntimeLogger {

// What the system says about itself: GetVersionExW, and the architecture from GetNativeSystemInfo.
struct SystemVersion {
    DWORD major = 0;
    DWORD minor = 0;
    BYTE productType = 0;
    WORD suiteMask = 0;
    WORD architecture = 0;  // PROCESSOR_ARCHITECTURE_...
};

struct SystemNames {
    std::wstring system;        // with the architecture's suffix
    std::wstring architecture;  // empty: an unknown one
};

// `metric` is GetSystemMetrics, and is asked only where a version has several names.
[[nodiscard]] SystemNames NamesOf(const SystemVersion& version, const std::function<int(int)>& metric);

}  // namespace TKRuntimeLogger
