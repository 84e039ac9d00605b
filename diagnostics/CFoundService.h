// A logging service as one thread holds it: its interfaces, from the Running Object Table, and what the results of
// calls say about it.
//
// Threads: one.  Errors: none; whatever goes wrong on the way to the service means that there is none.
#pragma once

#include "TKRuntimeLogger.h"
#include "diagnostics/CRecordChannel.h"

#include <objbase.h>
#include <wrl/client.h>

#include <memory>

namespace TKRuntimeLogger {

// The result of a call to which there was nobody to answer: the service's process has ended, its object is gone, or
// the proxy no longer belongs to the thread's apartment.
[[nodiscard]] bool IsLostConnection(HRESULT hr) noexcept;

// Whether the calling thread is in a COM apartment, be it through others only.
[[nodiscard]] bool IsInApartment() noexcept;

class CFoundService final {
public:
    CFoundService() noexcept = default;
    CFoundService(const CFoundService&) = delete;
    CFoundService& operator=(const CFoundService&) = delete;

    // Looks the service up, in place of what is held. False: there is none that takes records, or it is known to hang.
    // Calls foreign code.
    bool Find() noexcept;

    // Gives the interfaces up without releasing them: a last release may have to wait for the service's process, which
    // may be stopped, and the apartment that they belong to may be gone. COM returns them when this process ends.
    void Abandon() noexcept;

    // Null: not offered.
    [[nodiscard]] ITKRuntimeLogger* Logger() const noexcept { return m_logger.Get(); }
    [[nodiscard]] ITKRuntimeLoggerQuestion* Questioner() const noexcept { return m_questioner.Get(); }
    [[nodiscard]] ITKRuntimeLoggerDump* DumpWriter() const noexcept { return m_dumpWriter.Get(); }

    // The short way to it. Null: there is none.
    [[nodiscard]] const std::shared_ptr<CRecordChannel>& Channel() const noexcept { return m_channel; }

    // Calls go to another process or apartment, which may keep the caller waiting.
    [[nodiscard]] bool IsProxy() const noexcept { return m_isProxy; }

private:
    void LookUp();

    Microsoft::WRL::ComPtr<ITKRuntimeLogger> m_logger;
    Microsoft::WRL::ComPtr<ITKRuntimeLoggerQuestion> m_questioner;
    Microsoft::WRL::ComPtr<ITKRuntimeLoggerDump> m_dumpWriter;
    std::shared_ptr<CRecordChannel> m_channel;
    bool m_isProxy = false;
};

}  // namespace TKRuntimeLogger
