// The front end of one thread: finds the logger when it is made, and turns records into calls on it.
//
// The choice is made once, but a service may end or hang. These rules, which are our addition, keep a thread from
// waiting for one again and again:
// - A call that has lost its connection ends the use of the service, unless the Running Object Table, looked into once
//   more, has a service still: then that one takes the record, and the thread stays with it. Otherwise the thread takes
//   the log file for the rest of its life, or nothing where there is none, and the record goes there, too.
// - A record's call that took more than a second ends the use as well; that record was delivered. A question or a dump
//   may take as long as it likes.
// - While the thread is in no COM apartment, a proxy can't be called: records go to the file, and the choice stands.
//   Back in an apartment, the thread fetches a new proxy at its next record, or ends the use if there is no service.
//
// The limit of a second is for services behind a proxy alone: nobody else can keep them from answering, while a logger
// of this process is slow where the process is, under a debugger say, and its calls are its user's own affair. Who
// stops a *service* in a debugger must expect that its writers leave. Time in which the machine slept doesn't count.
// Every other failure of a call is ignored.
//
// A service in another process may offer a channel (CRecordChannel.h), on which records go without calls. The rules are
// the same: a channel whose service has ended is a lost connection, one that stays full for a second in which the
// service shows no life is a slow call (but here the record was not delivered, and goes to the file). A thread in no
// apartment logs on. Questions, dumps, big records and those that found no room for a second, since others were
// quicker, are calls, which wait until the service has taken what was written before.
#pragma once

#include "TKRuntimeLogger.h"
#include "diagnostics/CFoundService.h"
#include "diagnostics/ITKRuntimeLoggerAPI.h"
#include "diagnostics/ITKRuntimeLoggerProfilesCollector.h"

#include <objbase.h>
#include <atomic>
#include <memory>

namespace TKRuntimeLogger {

class CTKRuntimeLoggerAPI final : public ITKRuntimeLoggerAPI {
public:
    // Takes the service that is published in the Running Object Table, else `fallback`, which may be null. Every
    // failure on the way to the service means that there is none.
    explicit CTKRuntimeLoggerAPI(ITKRuntimeLogger* fallback) noexcept;
    CTKRuntimeLoggerAPI(const CTKRuntimeLoggerAPI&) = delete;
    CTKRuntimeLoggerAPI& operator=(const CTKRuntimeLoggerAPI&) = delete;

    [[nodiscard]] bool HasLogger() const noexcept { return m_usesService || m_fallback; }
    [[nodiscard]] bool UsesService() const noexcept { return m_usesService; }

    // The innermost of the timed scopes that the thread is in, as far as they began after its first record; null: none.
    // Only the thread itself changes it; others may look.
    [[nodiscard]] std::atomic<const CProfile*>& InnermostScope() noexcept { return m_innermostScope; }

    // Gives up the interface pointers without releasing them.
    void AbandonReferences() noexcept { m_service.Abandon(); }

    void Log(LONG severity, const wchar_t* category, const wchar_t* file, LONG line, const wchar_t* function,
             const wchar_t* message) override;
    void LogProfile(LONG severity, const wchar_t* category, const wchar_t* file, LONG line, const wchar_t* function,
                    const wchar_t* message, ULONGLONG count, double firstDuration, double maximumDuration,
                    double totalDuration) override;
    void LogExplicit(LONG severity, const wchar_t* category, ULONG value1, ULONG value2, const wchar_t* file, LONG line,
                     ULONG value3, const wchar_t* function, const wchar_t* message, BYTE flag) override;
    [[nodiscard]] LONG AskQuestion(LONG severity, const wchar_t* category, const wchar_t* file, LONG line,
                                   const wchar_t* function, const wchar_t* question, const wchar_t* secondText,
                                   LONG defaultAnswer, bool remember) override;
    void LogWithDump(LONG severity, const wchar_t* category, const wchar_t* file, LONG line, const wchar_t* function,
                     const wchar_t* message, ...) override;
    [[nodiscard]] LONGLONG GetFrequency() const noexcept override { return m_frequency; }
    [[nodiscard]] LONGLONG GetTimestamp() const noexcept override;

private:
    // Calls the service, if it can be had here and now, and judges the result. `call` gets the front end's m_service
    // and may be called a second time, when the first call was lost. False: no service has taken the call.
    template <class Call>
    [[nodiscard]] bool CallService(const Call& call) noexcept;
    // What all records begin with.
    [[nodiscard]] RecordRing::RecordHead HeadOf(RecordRing::Kind kind, LONG severity, LONG line) const noexcept;
    // The whole way of a record: the channel, else a call of the service, else the fallback.
    void Send(const RecordRing::RecordHead& head, const wchar_t* category, const wchar_t* file, const wchar_t* function,
              const wchar_t* message);
    // Puts a record into the channel. False: it must take the other way, be it a call or the file.
    [[nodiscard]] bool Write(const RecordRing::RecordHead& head, const wchar_t* category, const wchar_t* file,
                             const wchar_t* function, const wchar_t* message) noexcept;
    // What a channel's result says about the service. False: it can't be called.
    bool Judge(CRecordChannel::Result result) noexcept;
    // The same as CallService for a record, whose call must end in a second, and which goes to the fallback if need be.
    template <class Call>
    void Deliver(const Call& call) noexcept;

    // The service can be called: after a stay in no apartment, it is fetched anew.
    [[nodiscard]] bool HasService() noexcept;
    // After a lost connection. False: there is no service, or none that can be called from here.
    [[nodiscard]] bool FindServiceAgain() noexcept;
    void EndUse() noexcept;

    CFoundService m_service;
    ITKRuntimeLogger* const m_fallback;
    bool m_usesService = false;
    bool m_isAway = false;       // the connection was lost in no apartment
    bool m_isSearching = false;  // foreign code, called by the search, may come back with a record
    const DWORD m_threadId;
    const DWORD m_processId;
    LONGLONG m_frequency = 0;  // ticks per second
    std::atomic<const CProfile*> m_innermostScope{nullptr};
};

// Another front end for the calling thread, which has found its logger here and now: for a thread that outlives the
// loggers of those for whom it writes.  Throws std::bad_alloc.
[[nodiscard]] std::unique_ptr<CTKRuntimeLoggerAPI> MakeFrontEnd();

}  // namespace TKRuntimeLogger
