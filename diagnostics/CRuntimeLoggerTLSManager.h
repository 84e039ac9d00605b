// Remembers, for each thread of the module, its logger front end and whether it has looked for one.
//
// One static instance per module. Its two thread-local slots are allocated when the module is loaded; front ends come
// with each thread's first record and stay until the module is unloaded, whether or not the thread has ended.
#pragma once

#include "base/CCriticalSection.h"
#include "diagnostics/CTKRuntimeLoggerAPI.h"

#include <memory>
#include <set>

namespace TKRuntimeLogger {

class CRuntimeLoggerTLSManager final {
public:
    // `fallback` serves threads that find no logging service; null: those threads have no logger. It outlives this
    // object.
    explicit CRuntimeLoggerTLSManager(ITKRuntimeLogger* fallback) noexcept;
    CRuntimeLoggerTLSManager(const CRuntimeLoggerTLSManager&) = delete;
    CRuntimeLoggerTLSManager& operator=(const CRuntimeLoggerTLSManager&) = delete;
    ~CRuntimeLoggerTLSManager();

    // The calling thread's front end, made at its first call; null when the thread found no logger then, or has
    // lost the only one.
    [[nodiscard]] ITKRuntimeLoggerAPI* FrontEnd() noexcept;

private:
    ITKRuntimeLogger* const m_fallback;

    // Guards the making of front ends and the set. It is held while COM and a foreign logger are called. So a thread of
    // the same process that serves such a call must not wait for this lock: it must not write its own first record
    // meanwhile.
    base::CCriticalSection m_creation;
    std::set<std::unique_ptr<CTKRuntimeLoggerAPI>> m_frontEnds;
};

}  // namespace TKRuntimeLogger
