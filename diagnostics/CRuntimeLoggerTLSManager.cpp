#include "diagnostics/CRuntimeLoggerTLSManager.h"

#include "diagnostics/LogSite.h"

#include <mutex>
#include <utility>

namespace TKRuntimeLogger {

CRuntimeLoggerTLSManager::CRuntimeLoggerTLSManager(ITKRuntimeLogger* fallback) noexcept : m_fallback(fallback) {
    Detail::g_frontEndSlot = ::TlsAlloc();
    Detail::g_triedSlot = ::TlsAlloc();
}

CRuntimeLoggerTLSManager::~CRuntimeLoggerTLSManager() {
    for (DWORD* slot : {&Detail::g_frontEndSlot, &Detail::g_triedSlot}) {
        if (const DWORD index = std::exchange(*slot, TLS_OUT_OF_INDEXES); index != TLS_OUT_OF_INDEXES)
            ::TlsFree(index);
    }
    // This runs under the loader lock, or while the process ends with its other threads already gone. The interface
    // pointers were obtained on other threads, whose apartments may be gone as well. Releasing a proxy here could wait
    // for a thread that waits for the loader lock, and an object of another DLL may have been unloaded. So the
    // references are left alone: COM returns those of a process to the logging service when the process ends.
    for (const auto& frontEnd : m_frontEnds)
        frontEnd->AbandonReferences();
    CRecordChannel::EndOfModule();
}

ITKRuntimeLoggerAPI* CRuntimeLoggerTLSManager::FrontEnd() noexcept {
    const std::lock_guard lock(m_creation);
    if (void* frontEnd = ::TlsGetValue(Detail::g_frontEndSlot))
        return static_cast<ITKRuntimeLoggerAPI*>(frontEnd);
    if (::TlsGetValue(Detail::g_triedSlot))
        return nullptr;
    // Marked before the search: the search calls foreign code, which may come back here on this very thread, and must
    // then find that there is no logger yet instead of searching without end.
    if (!::TlsSetValue(Detail::g_triedSlot, reinterpret_cast<void*>(1)))
        return nullptr;
    try {
        auto frontEnd = std::make_unique<CTKRuntimeLoggerAPI>(m_fallback);
        if (!frontEnd->HasLogger())
            return nullptr;
        ITKRuntimeLoggerAPI* const result = frontEnd.get();
        m_frontEnds.insert(std::move(frontEnd));
        return ::TlsSetValue(Detail::g_frontEndSlot, result) ? result : nullptr;
    } catch (...) {
        return nullptr;  // out of memory: this thread goes without
    }
}

}  // namespace TKRuntimeLogger
