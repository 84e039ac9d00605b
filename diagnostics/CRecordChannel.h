// The short way of records to a service in another process: memory that both share, so that a record costs
// microseconds where a call costs a millisecond. No COM call is made on it; a thread without an apartment may use it.
//
// One channel per module and service, for all of the module's threads. The memory is a named section with the
// default rights, of this user and administrators; a service that can't open it refuses, and records go by calls.
//
// Threads: any.  Waits: a second at most, in each operation.
#pragma once

#include "TKRuntimeLogger.h"
#include "base/CAutoDestructor.h"
#include "base/CSlimLock.h"
#include "diagnostics/RecordRing.h"

#include <atomic>
#include <memory>
#include <string>

namespace TKRuntimeLogger {

class CRecordChannel final {
public:
    enum class Result {
        Done,
        TooBig,  // for the memory: it must go by a call
        Hangs,   // the service has taken nothing for a second, and there is no room left
        Gone,    // the service has ended
    };

    // The channel to this service, opened if there is none. Null: it is in this process, or refuses. Calls the service.
    [[nodiscard]] static std::shared_ptr<CRecordChannel> To(ITKRuntimeLoggerChannel& service) noexcept;

    // Whether a channel of this module has a service that is there and doesn't take anything. A call to such a one
    // could wait for ever.
    [[nodiscard]] static bool IsServiceHung() noexcept;

    CRecordChannel(const CRecordChannel&) = delete;
    CRecordChannel& operator=(const CRecordChannel&) = delete;
    ~CRecordChannel();

    // Waits for room. The time is put in.
    [[nodiscard]] Result Write(RecordRing::RecordHead head, const wchar_t* category, const wchar_t* file,
                               const wchar_t* function, const wchar_t* message) noexcept;

    // Waits until the service has taken what was written by now, so that a call can't overtake it.
    [[nodiscard]] Result AwaitTaken() noexcept;

private:
    CRecordChannel() noexcept = default;
    // The name of the section; empty: none can be had.
    std::wstring Make();

    [[nodiscard]] bool IsSilent() const noexcept;
    [[nodiscard]] bool HasServiceEnded() const noexcept;

    base::CAutoHandle m_section;
    void* m_memory = nullptr;
    DWORD m_serviceId = 0;
    base::CAutoHandle m_service;  // its process; empty: its rights don't allow that
    base::CSlimLock m_lock;       // guards the writer's position; waited for with a limit only, and held for a copy
    std::unique_ptr<RecordRing::CWriter> m_writer;
    std::atomic<DWORD> m_lookedMs{0};  // when HasServiceEnded was asked for the last time
    std::atomic<bool> m_isGone{false};
};

}  // namespace TKRuntimeLogger
