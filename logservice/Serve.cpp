#include "logservice/Serve.h"

#include "base/CApartment.h"
#include "base/CDeadline.h"
#include "base/ComBoundary.h"
#include "base/FormatText.h"
#include "base/LongPath.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "diagnostics/LogTypes.h"
#include "logservice/CLiveLog.h"
#include "logservice/CLogBook.h"
#include "logservice/CProcesses.h"
#include "logservice/CService.h"
#include "logservice/Ending.h"
#include "logservice/Registration.h"

#include <deque>
#include <memory>
#include <new>
#include <optional>

namespace logservice {

namespace {

constexpr DWORD kRoundMs = 50;
constexpr DWORD kFlushEveryMs = 500;
constexpr DWORD kLastWordsMs = 2000;
constexpr DWORD kPatienceSeconds = 60;
constexpr std::size_t kTableWidth = 120;

void Announce(const CService& service) {
    std::wstring text = L"TKRuntimeLogger runs. ";
    if (!IsRegistered())
        text +=
            L"Other processes don't reach it, because it isn't registered: TKRuntimeLogger --register, as "
            L"administrator, mends that.";
    else if (service.ReachesWhom() == CPublication::Reach::AnyClient)
        text += L"Clients of any rights in this session reach it.";
    else
        text += L"Only clients with the same rights reach it.";
    console::Complain(text + L"\n");
}

// Without a console nobody is there to ask.
DWORD PatienceMs(const Options& options) {
    const bool hasConsole = console::IsTerminal(STD_INPUT_HANDLE) && console::IsTerminal(STD_OUTPUT_HANDLE);
    return hasConsole ? options.patience.value_or(kPatienceSeconds) * 1000 : 0;
}

std::wstring DumpFolder(const Options& options) {
    return options.record.empty() ? std::wstring() : base::FullPathOf(options.record);
}

bool WritesFiles(const Options& options) {
    return !options.record.empty() || !options.profile.empty() || !options.report.empty() || !options.trace.empty();
}

// Carries what comes to the log book and the console.
class CCarrier final {
public:
    CCarrier(CService& service, CLogBook& book, CLiveLog& live, bool showsLines)
        : m_service(service), m_book(book), m_live(live), m_showsLines(showsLines) {}

    void Round(DWORD waitMs) {
        std::deque<logview::Arrival> arrivals;
        base::RunQuietly([&] { arrivals = m_service.Records().Take(waitMs); });
        TellLost();  // they are older than what was taken
        for (logview::Arrival& arrival : arrivals) {
            try {
                Carry(std::move(arrival));
            } catch (const std::bad_alloc&) {
                m_service.Records().AddLost(1);
            }
        }
        if (m_flush.IsOver()) {
            EndSessions();
            m_book.Flush();
            m_flush = base::CDeadline(kFlushEveryMs);
        }
        for (const std::wstring& note : m_book.TakeNotes())
            m_live.Note(note);
    }

    void EndSessions() {
        base::RunQuietly([&] {
            for (const CProcesses::End& end : m_processes.TakeEnded())
                m_book.Ended(end.processId, end.time);
        });
    }

private:
    // A hole in a recording should be seen there, too.
    void TellLost() {
        const ULONGLONG lost = m_service.Records().Lost();
        if (lost == m_lostTold)
            return;
        FILETIME now{};
        ::GetSystemTimeAsFileTime(&now);
        logview::LogRecord record;
        record.severity = TKRuntimeLogger::kWarn;
        record.category = L"TKRuntimeLogger";
        record.processId = ::GetCurrentProcessId();
        record.threadId = ::GetCurrentThreadId();
        record.message =
            base::FormatText(L"%I64u records were lost here: more came than could be taken", lost - m_lostTold);
        m_lostTold = lost;
        base::RunQuietly([&] {
            Carry({(ULONGLONG{now.dwHighDateTime} << 32) | now.dwLowDateTime, {}, std::move(record)});
        });
    }

    void Carry(logview::Arrival&& arrival) {
        const auto* const log = std::get_if<logview::LogRecord>(&arrival.record);
        // The numbers of an explicit record need not be a process.
        if (!log || !log->explicitValues)
            arrival.process = m_processes.NameOf(
                std::visit([](const auto& record) -> DWORD { return record.processId; }, arrival.record));
        if (m_showsLines)
            m_live.Put(arrival);
        m_book.Take(std::move(arrival));
    }

    CService& m_service;
    CLogBook& m_book;
    CLiveLog& m_live;
    const bool m_showsLines;
    CProcesses m_processes;
    ULONGLONG m_lostTold = 0;
    base::CDeadline m_flush{0};
};

// Clients of other users may call, too: otherwise COM keeps them out, whatever the table shows them.
void LetAnyClientCall() {
    static_cast<void>(::CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_NONE,
                                             RPC_C_IMP_LEVEL_IDENTIFY, nullptr, EOAC_NONE, nullptr));
}

}  // namespace

int Serve(const Options& options) {
    const base::CApartment apartment(COINIT_MULTITHREADED);
    console::Check(apartment.Result(), L"Cannot start COM");
    LetAnyClientCall();
    const HANDLE ending = EndingEvent();
    // What a console that is left behind still uses is shared with it.
    const auto book = std::make_shared<CLogBook>(options);
    CService service(DumpFolder(options), PatienceMs(options));
    if (const HRESULT hr = service.Start(); hr == HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS)) {
        console::Complain(L"TKRuntimeLogger: A logging service runs already in this session.\n");
        return kRunsAlready;
    } else {
        console::Check(hr, L"Cannot publish the service");
    }
    const base::CAutoHandle stop = StopEvent();
    const HANDLE ends[] = {ending, stop ? stop.Get() : ending};
    CLiveLog live({options.filter, [book] { return book->ProfileText(kTableWidth); }, service.Questions(), ending,
                   !WritesFiles(options)});
    CCarrier carrier(service, *book, live, options.showsLines);
    Announce(service);
    const base::CDeadline limit(options.seconds ? *options.seconds * 1000 : INFINITE);
    while (::WaitForMultipleObjects(2, ends, FALSE, 0) == WAIT_TIMEOUT && !limit.IsOver())
        carrier.Round(kRoundMs);
    service.Stop();
    carrier.Round(0);
    carrier.EndSessions();
    bool isWhole = book->Finish();
    for (const std::wstring& note : book->TakeNotes())
        console::Complain(L"TKRuntimeLogger: " + note + L"\n");
    live.Stop(kLastWordsMs);
    if (const std::optional<DWORD> error = live.OutputError()) {
        console::Complain(L"TKRuntimeLogger: Cannot write the output: " +
                          console::ResultText(HRESULT_FROM_WIN32(*error)) + L"\n");
        isWhole = false;
    }
    SetEnded();
    return isWhole ? 0 : kFailed;
}

}  // namespace logservice
