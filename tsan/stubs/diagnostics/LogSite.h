// No thread has a logger here.
#pragma once

#include "base/ComBoundary.h"
#include "base/FormatText.h"
#include "diagnostics/LogTypes.h"

namespace TKRuntimeLogger {

struct ITKRuntimeLoggerAPI {
    void Log(LONG, const wchar_t*, const wchar_t*, LONG, const wchar_t*, const wchar_t*) {}
};

inline ITKRuntimeLoggerAPI* ThreadLogger() {
    return nullptr;
}

}  // namespace TKRuntimeLogger
