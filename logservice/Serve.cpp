#include "logservice/Serve.h"

#include "base/CApartment.h"
#include "base/CDeadline.h"
#include "base/ComBoundary.h"
#include "base/FormatText.h"
#include "base/LongPath.h"
#include "base/Times.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "diagnostics/LogTypes.h"
#include "logservice/CLiveLog.h"
#include "logservice/CLogBook.h"
#include "logservice/CProcesses.h"
#include "logservice/CService.h"
#include "logservice/CTurn.h"
#include "logservice/Ending.h"
#include "logservice/Registration.h"
#include "logservice/Tell.h"

#include <deque>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace logservice {

namespace {

constexpr DWORD kRoundMs = 50;
constexpr DWORD kFlushEveryMs = 500;
constexpr DWORD kLastWordsMs = 2000;
constexpr DWORD kPatienceSeconds = 60;

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
        TellLost();  // before what was taken, which is newer as a rule
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

    // What came last. False: some of it, or of what came before, was lost.
    bool Finish() {
        Round(0);
        TellLost();
        EndSessions();
        return m_service.Records().Lost() == 0;
    }

private:
    void EndSessions() {
        base::RunQuietly([&] {
            for (const CProcesses::End& end : m_service.Processes().TakeEnded())
                m_book.Ended(end.processId, end.time);
        });
    }

    // A hole in a recording should be seen there, too.
    void TellLost() {
        const ULONGLONG lost = m_service.Records().Lost();
        if (lost == m_lostTold)
            return;
        // Where memory is out, the next round tells it.
        base::RunQuietly([&] {
            logview::LogRecord record;
            record.severity = TKRuntimeLogger::kWarn;
            record.category = L"TKRuntimeLogger";
            record.processId = ::GetCurrentProcessId();
            record.threadId = ::GetCurrentThreadId();
            record.message =
                base::FormatText(L"%I64u records were lost here: more came than could be taken", lost - m_lostTold);
            Carry({base::NowInTicks(), {}, std::move(record)});
            m_lostTold = lost;
        });
    }

    void Carry(logview::Arrival&& arrival) {
        const auto* const log = std::get_if<logview::LogRecord>(&arrival.record);
        // The numbers of an explicit record need not be a process.
        if (!log || !log->explicitValues)
            arrival.process = m_service.Processes().NameOf(
                std::visit([](const auto& record) -> DWORD { return record.processId; }, arrival.record));
        if (m_showsLines)
            m_live.Put(arrival);
        m_book.Take(std::move(arrival));
    }

    CService& m_service;
    CLogBook& m_book;
    CLiveLog& m_live;
    const bool m_showsLines;
    ULONGLONG m_lostTold = 0;
    base::CDeadline m_flush{0};
};

// Clients of other users may call, too: otherwise COM keeps them out, whatever the table shows them.
void LetAnyClientCall() {
    static_cast<void>(::CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_NONE,
                                             RPC_C_IMP_LEVEL_IDENTIFY, nullptr, EOAC_NONE, nullptr));
}

// Takes and writes what is left. False: not all that was asked for is there; standard error says what.
bool Finish(CService& service, CCarrier& carrier, CLogBook& book, CLiveLog& live) {
    std::vector<std::wstring> faults;
    if (!service.Stop())
        faults.push_back(L"What writers wrote last could not be taken in time");
    if (!carrier.Finish())
        faults.push_back(L"Records were lost; the log says where");
    const bool isWhole = book.Finish();
    Tell(book.TakeNotes());
    live.Stop(kLastWordsMs);
    if (std::wstring fault = live.Fault(); !fault.empty())
        faults.push_back(std::move(fault));
    Tell(faults);
    return isWhole && faults.empty();
}

// Whether it is the service that runs already, not this one. Throws for any other failure.
bool SaysRunsAlready(HRESULT hr) {
    const bool isSo = hr == HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
    if (isSo)
        Tell(L"A logging service runs already in this session.");
    else
        console::Check(hr, L"Cannot publish the service");
    return isSo;
}

}  // namespace

int Serve(const Options& options) {
    const base::CApartment apartment(COINIT_MULTITHREADED);
    console::Check(apartment.Result(), L"Cannot start COM");
    LetAnyClientCall();
    const HANDLE ending = EndingEvent();
    CTurn turn;
    if (SaysRunsAlready(turn.Take()))
        return kRunsAlready;
    // What a console that is left behind still uses is shared with it.
    const auto book = std::make_shared<CLogBook>(options);
    CService service(DumpFolder(options), PatienceMs(options));
    if (SaysRunsAlready(service.Start()))
        return kRunsAlready;
    const HANDLE ends[] = {ending, turn.EndIsWanted()};
    const DWORD endCount = turn.EndIsWanted() ? 2 : 1;
    CLiveLog live({options.filter, [book](std::size_t width) { return book->ProfileText(width); }, service.Questions(),
                   ending, !WritesFiles(options), options.showsLines});
    CCarrier carrier(service, *book, live, options.showsLines);
    Announce(service);
    const base::CDeadline limit(options.seconds ? *options.seconds * 1000 : INFINITE);
    while (::WaitForMultipleObjects(endCount, ends, FALSE, 0) == WAIT_TIMEOUT && !limit.IsOver())
        carrier.Round(kRoundMs);
    const bool isWhole = Finish(service, carrier, *book, live);
    SetEnded();
    return isWhole ? 0 : kFailed;
}

}  // namespace logservice
