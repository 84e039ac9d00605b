// What exists from the load of the module to its unload: the log file and the two thread-local slots.
#include "diagnostics/CLogToFile.h"
#include "diagnostics/CRuntimeLoggerTLSManager.h"
#include "diagnostics/LogDestination.h"
#include "diagnostics/LogSite.h"

namespace TKRuntimeLogger {
namespace {

// In this order, in one file: front ends refer to the sink, so it must be destroyed after them.
CLogToFile g_logToFile;
ITKRuntimeLogger* Fallback() noexcept {
    return g_logToFile.IsEnabled() ? &g_logToFile : nullptr;
}

CRuntimeLoggerTLSManager g_tlsManager(Fallback());

}  // namespace

ITKRuntimeLoggerAPI* GetLoggerAPI() noexcept {
    // The manager exists exactly while its slots do. A record that comes earlier or later than that, from some other
    // static object, is skipped without deciding for the thread.
    if (Detail::g_frontEndSlot == TLS_OUT_OF_INDEXES || Detail::g_triedSlot == TLS_OUT_OF_INDEXES)
        return nullptr;
    const base::CLastErrorKeeper lastError;
    return g_tlsManager.FrontEnd();
}

std::unique_ptr<CTKRuntimeLoggerAPI> MakeFrontEnd() {
    return std::make_unique<CTKRuntimeLoggerAPI>(Fallback());
}

LogDestination ThreadLogDestination() {
    const auto* const frontEnd = static_cast<const CTKRuntimeLoggerAPI*>(ThreadLogger());
    if (!frontEnd || !frontEnd->HasLogger())
        return {LogDestination::Kind::Nowhere, g_logToFile.Path()};
    if (!frontEnd->UsesService())
        return {LogDestination::Kind::File, g_logToFile.Path()};
    return {LogDestination::Kind::Service, {}};
}

}  // namespace TKRuntimeLogger
