// No thread has a logger here.
#pragma once

#include "diagnostics/ITKRuntimeLoggerProfilesCollector.h"
#include "diagnostics/LogSite.h"

#include <atomic>
#include <memory>

namespace TKRuntimeLogger {

struct CTKRuntimeLoggerAPI : ITKRuntimeLoggerAPI {
    std::atomic<const CProfile*>& InnermostScope() { return m_innermostScope; }
    std::atomic<const CProfile*> m_innermostScope{nullptr};
};

inline std::unique_ptr<CTKRuntimeLoggerAPI> MakeFrontEnd() {
    return nullptr;
}

}  // namespace TKRuntimeLogger
