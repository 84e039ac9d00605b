// The short way of records to a service in another process: memory that both share, so that a record costs
// microseconds where a call costs a millisecond. No COM call is made on it; a thread without an apartment may use it.
//
// One channel per module and service, for all of the module's threads. The memory is a named section with the
// default rights, of this user and administrators; a service that can't open it refuses, and records go by calls.
//
// Threads: any.  Units: milliseconds, while the machine is awake.
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
        NeedsCall,  // the record is big, or found no room though the service takes others: it must go by a call
        Hangs,      // the service has shown no life for a second of waiting
        Gone,       // the service has ended, or takes nothing from here any more
    };

    // The channel to this service, opened if there is none. Null: it is in this process, its end couldn't be seen, or
    // it refuses. Calls the service, which may keep the caller waiting.
    [[nodiscard]] static std::shared_ptr<CRecordChannel> To(ITKRuntimeLoggerChannel& service) noexcept;

    // Whether a channel of this module has a service that is there and shows no life. A call to such a one could wait
    // for ever. Takes up to 200 ms to find out; who asks within a second of such a finding has it at once.
    [[nodiscard]] static bool IsServiceHung() noexcept;

    // Gives up the module's channel for good, as its last step: who still uses one keeps that, and none is made.
    static void EndOfModule() noexcept;

    CRecordChannel(const CRecordChannel&) = delete;
    CRecordChannel& operator=(const CRecordChannel&) = delete;
    ~CRecordChannel();

    // Waits for room, a second at most. The time is put in.
    [[nodiscard]] Result Write(RecordRing::RecordHead head, const wchar_t* category, const wchar_t* file,
                               const wchar_t* function, const wchar_t* message) noexcept;

    // Waits until the service has taken what was written by now, so that a call can't overtake it: a second at most
    // for one that shows no life, ten for one that takes too slowly, which then counts as hanging. One that has shown
    // none for a second hangs, too, though it has taken all.
    [[nodiscard]] Result AwaitTaken() noexcept;

private:
    CRecordChannel() noexcept = default;
    // The one that the module keeps: this one, or one to the same service that another thread has opened meanwhile.
    // Null: the module ends.
    [[nodiscard]] static std::shared_ptr<CRecordChannel> Keep(std::shared_ptr<CRecordChannel> opened) noexcept;
    // Whether it is to this service, and that is there.
    [[nodiscard]] bool IsOf(DWORD serviceId) noexcept;
    // The name of the section; empty: none can be had.
    std::wstring Make();

    // Nothing more will be taken.
    [[nodiscard]] bool IsOver() noexcept;
    [[nodiscard]] bool IsHung() noexcept;
    [[nodiscard]] bool IsSilent() const noexcept;
    [[nodiscard]] bool HasServiceEnded() const noexcept;
    [[nodiscard]] Result SayItHangs() noexcept;

    base::CAutoHandle m_section;
    void* m_memory = nullptr;
    DWORD m_serviceId = 0;
    base::CAutoHandle m_service;  // its process
    base::CSlimLock m_lock;       // one writer at a time; waited for with a limit only, and held for a copy
    std::unique_ptr<RecordRing::CWriter> m_writer;
    std::atomic<ULONGLONG> m_hungUntilMs{0};  // for so long the last finding that the service hangs is good
    std::atomic<bool> m_isGone{false};
};

}  // namespace TKRuntimeLogger
