#include "logservice/Serve.h"

#include "base/CApartment.h"
#include "base/CDeadline.h"
#include "base/LongPath.h"
#include "base/Utf8Text.h"
#include "console/CCommandError.h"
#include "console/CConsole.h"
#include "diagnostics/LogLine.h"
#include "logservice/CProcesses.h"
#include "logservice/CService.h"
#include "logservice/Ending.h"
#include "logservice/Registration.h"

namespace logservice {

namespace {

constexpr DWORD kRoundMs = 50;

const wchar_t* ReachText(CPublication::Reach reach) {
    return reach == CPublication::Reach::AnyClient ? L"Clients of any rights in this session reach it."
                                                   : L"Only clients with the same rights reach it.";
}

void Announce(const CService& service) {
    std::wstring text = L"TKRuntimeLogger runs. " + std::wstring(ReachText(service.ReachesWhom()));
    if (!IsRegistered())
        text +=
            L" It is not registered, so that no other process reaches it: TKRuntimeLogger --register, as "
            L"administrator, mends that";
    console::Complain(text + L"\n");
}

void Show(const logview::Arrival& arrival) {
    if (const auto* const record = std::get_if<logview::LogRecord>(&arrival.record))
        console::Print(base::WideOfUtf8(
            TKRuntimeLogger::LogLine(record->severity, record->category.c_str(), static_cast<int>(record->processId),
                                     static_cast<int>(record->threadId), record->file.c_str(), record->line,
                                     record->function.c_str(), record->message.c_str())));
}

}  // namespace

int Serve(const Options& options) {
    const base::CApartment apartment(COINIT_MULTITHREADED);
    console::Check(apartment.Result(), L"Cannot start COM");
    const HANDLE ending = EndingEvent();
    const std::wstring dumpFolder = options.record.empty() ? L"" : base::FullPathOf(options.record);
    CService service(dumpFolder, options.patience.value_or(0) * 1000);
    if (const HRESULT hr = service.Start(); hr == HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS)) {
        console::Complain(L"TKRuntimeLogger: A logging service runs already in this session.\n");
        return kRunsAlready;
    } else {
        console::Check(hr, L"Cannot publish the service");
    }
    Announce(service);
    CProcesses processes;
    const base::CDeadline limit(options.seconds ? *options.seconds * 1000 : INFINITE);
    const auto takeAll = [&](DWORD waitMs) {
        for (logview::Arrival& arrival : service.Records().Take(waitMs)) {
            const ULONG processId = std::visit([](const auto& record) { return record.processId; }, arrival.record);
            arrival.process = processes.NameOf(processId);
            if (options.showsLines)
                Show(arrival);
        }
    };
    while (::WaitForSingleObject(ending, 0) == WAIT_TIMEOUT && !limit.IsOver())
        takeAll(kRoundMs);
    service.Stop();
    takeAll(0);
    SetEnded();
    return 0;
}

}  // namespace logservice
