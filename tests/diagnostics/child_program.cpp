// A process of its own for tests of what processes share.
//
//   diagnostics_child write THREADS COUNT
//     Each thread writes COUNT records of growing length; the message says which thread wrote it.
//   diagnostics_child publish READY DONE
//     Publishes a logging service without proxies, sets the event READY, and leaves when the event DONE is set.
//     Ends with the number of records that the service was given.
#include "diagnostics/CAutoDestructor.h"
#include "diagnostics/TKRuntimeLoggerAPI.h"
#include "tests/support/CRecordingLogger.h"

#include <cstdlib>
#include <string_view>
#include <thread>

static void WriteRecords(int worker, int count) {
    static constexpr TKRuntimeLogger::LogSource kSource{L"child", L"child_program"};
    for (int record = 0; record < count; ++record)
        TK_LOG(kSource, TKRuntimeLogger::kInfo, L"Work", L"worker %d record %d of thread %u %s", worker, record,
               ::GetCurrentThreadId(), std::wstring(static_cast<std::size_t>(record), L'\u00FC').c_str());
}

static int Publish(const wchar_t* ready, const wchar_t* done) {
    const CAutoHandle readyEvent(::OpenEventW(EVENT_MODIFY_STATE, FALSE, ready));
    const CAutoHandle doneEvent(::OpenEventW(SYNCHRONIZE, FALSE, done));
    const CPublishedLogger published;
    if (!published.IsPublished() || !::SetEvent(readyEvent.Get()))
        return EXIT_FAILURE;
    ::WaitForSingleObject(doneEvent.Get(), INFINITE);
    return static_cast<int>(published->Records().size());
}

int wmain(int, wchar_t** argv) {
    if (argv[1] == std::wstring_view(L"publish"))
        return Publish(argv[2], argv[3]);
    std::vector<std::jthread> threads;
    for (int worker = 0; worker < _wtoi(argv[2]); ++worker)
        threads.emplace_back(WriteRecords, worker, _wtoi(argv[3]));
    return EXIT_SUCCESS;
}
