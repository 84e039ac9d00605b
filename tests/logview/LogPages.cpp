// log_pages FOLDER: writes pages whose texts are hostile into a folder: small.html, large.html of 100,000 records, and
// empty.html.
#include "console/CCommandError.h"
#include "logview/LogPage.h"
#include "tests/logview/TestRecords.h"

#include <cstdio>

namespace {

struct Log {
    void Take(const logview::Arrival& arrival) {
        history.Take(arrival);
        profile.Take(arrival);
        sessions.Take(arrival);
    }
    void Write(const std::wstring& path) const { logview::WriteLogPage(path, history, profile, sessions); }

    logview::CHistory history;
    logview::CProfileTable profile;
    logview::CSessions sessions;
};

logview::Arrival RecordAt(ULONGLONG seconds, LONG severity, std::wstring message, const wchar_t* process = L"host.exe",
                          ULONG processId = 212, ULONG threadId = 280) {
    logview::Arrival arrival = MakeArrival(std::move(message), kSomeTime + seconds * kTicksASecond, severity);
    arrival.process = process;
    auto& record = std::get<logview::LogRecord>(arrival.record);
    record.processId = processId;
    record.threadId = threadId;
    return arrival;
}

void WriteSmall(const std::wstring& path) {
    Log log;
    log.Take(RecordAt(0, 1, L"Loading: a.avi"));
    log.Take(RecordAt(1, 3, kHostileText, L"</script><b>.exe", 300, 7));
    log.Take(RecordAt(2, 0, std::wstring(65'536, L'x')));
    log.Take(RecordAt(3, 9, L"an unknown severity"));
    log.Take(RecordAt(4, 4, L"fatal", L"host.exe", 212, 281));
    logview::Arrival awkward = RecordAt(0, 2, L"explicit");
    awkward.time = 0;
    auto& record = std::get<logview::LogRecord>(awkward.record);
    record.category = record.file = record.function = kHostileText;
    record.explicitValues = {7, true};
    log.Take(awkward);
    for (const auto& [text, total] : {std::pair{L"", 4.0}, {L"reading", 2.5}, {L"seeking", 0.0005}})
        log.Take(MakeReportArrival(10, total, kSomeTime, text));
    logview::Arrival report = MakeReportArrival(1'000, 6, kSomeTime, kHostileText);
    std::get<logview::ProfileRecord>(report.record).function = L"Other";
    log.Take(report);
    log.sessions.Ended(300, kSomeTime + 3 * kTicksASecond);
    log.Write(path);
}

void WriteLarge(const std::wstring& path) {
    Log log;
    for (ULONGLONG i = 0; i < 101'000; ++i)
        log.Take(RecordAt(i / 100, static_cast<LONG>(i % 5), L"record " + std::to_wstring(i) + L"."));
    for (ULONG i = 0; i < 10'010; ++i) {
        logview::Arrival report = MakeReportArrival(1, 1);
        std::get<logview::ProfileRecord>(report.record).processId = 1'000 + i;
        log.profile.Take(report);
        log.sessions.Take(report);
    }
    log.Write(path);
}

}  // namespace

int wmain(int count, wchar_t** words) {
    if (count != 2)
        return 2;
    try {
        const std::wstring folder = words[1];
        WriteSmall(folder + L"\\small.html");
        WriteLarge(folder + L"\\large.html");
        Log().Write(folder + L"\\empty.html");
        return 0;
    } catch (const console::CCommandError& error) {
        std::fwprintf(stderr, L"%ls\n", error.Text().c_str());
        return 1;
    }
}
