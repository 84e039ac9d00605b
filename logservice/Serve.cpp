#include "logservice/Serve.h"

#include "base/CApartment.h"
#include "base/CDeadline.h"
#include "base/FormatText.h"
#include "base/LongPath.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "logservice/CLiveLog.h"
#include "logservice/CLogBook.h"
#include "logservice/CProcesses.h"
#include "logservice/CService.h"
#include "logservice/Ending.h"
#include "logservice/Registration.h"

#include <memory>
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
    text += service.ReachesWhom() == CPublication::Reach::AnyClient
                ? L"Clients of any rights in this session reach it."
                : L"Only clients with the same rights reach it; that needs --register or an administrator.";
    if (!IsRegistered())
        text +=
            L" No other process reaches it: it is not registered. TKRuntimeLogger --register, as administrator, "
            L"mends that.";
    console::Complain(text + L"\n");
}

// Without a console nobody is there to ask.
DWORD PatienceMs(const Options& options) {
    const bool hasConsole = console::IsTerminal(STD_INPUT_HANDLE) && console::IsTerminal(STD_OUTPUT_HANDLE);
    return options.patience.value_or(hasConsole ? kPatienceSeconds : 0) * 1000;
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
        for (logview::Arrival& arrival : m_service.Records().Take(waitMs))
            Carry(std::move(arrival));
        if (const ULONGLONG lost = m_service.Records().Lost(); lost != m_lostTold) {
            m_live.Note(base::FormatText(L"%I64u records were lost: more came than could be taken", lost - m_lostTold));
            m_lostTold = lost;
        }
        if (m_flush.IsOver()) {
            for (const CProcesses::End& end : m_processes.TakeEnded())
                m_book.Ended(end.processId, end.time);
            m_book.Flush();
            m_flush = base::CDeadline(kFlushEveryMs);
        }
    }

private:
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

}  // namespace

int Serve(const Options& options) {
    const base::CApartment apartment(COINIT_MULTITHREADED);
    console::Check(apartment.Result(), L"Cannot start COM");
    const logview::CRecordFilter filter = logview::CRecordFilter::Parse(options.filter);
    CService service(DumpFolder(options), PatienceMs(options));
    if (const HRESULT hr = service.Start(); hr == HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS)) {
        console::Complain(L"TKRuntimeLogger: A logging service runs already in this session.\n");
        return kRunsAlready;
    } else {
        console::Check(hr, L"Cannot publish the service");
    }
    const HANDLE ending = EndingEvent();
    std::optional<CLiveLog> live;
    // What a console that is left behind still uses is shared with it.
    const auto book = std::make_shared<CLogBook>(options, [&live](const std::wstring& text) { live->Note(text); });
    live.emplace(CLiveLog::Settings{filter, [book] { return book->ProfileText(kTableWidth); }, service.Questions(),
                                    ending, !WritesFiles(options)});
    CCarrier carrier(service, *book, *live, options.showsLines);
    Announce(service);
    const base::CDeadline limit(options.seconds ? *options.seconds * 1000 : INFINITE);
    while (::WaitForSingleObject(ending, 0) == WAIT_TIMEOUT && !limit.IsOver())
        carrier.Round(kRoundMs);
    service.Stop();
    carrier.Round(0);
    live->Stop(kLastWordsMs);
    book->Finish();
    SetEnded();
    return 0;
}

}  // namespace logservice
