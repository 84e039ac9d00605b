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
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

void WriteRecords(int worker, int count) {
    static constexpr TKRuntimeLogger::LogSource kSource{L"child", L"child_program"};
    for (int record = 0; record < count; ++record) {
        TK_LOG(kSource, TKRuntimeLogger::kInfo, L"Work", L"worker %d record %d of thread %u %s", worker, record,
               ::GetCurrentThreadId(), std::wstring(static_cast<std::size_t>(record), L'\u00FC').c_str());
    }
}

int Publish(const wchar_t* ready, const wchar_t* done) {
    const CAutoHandle readyEvent(::OpenEventW(EVENT_MODIFY_STATE, FALSE, ready));
    const CAutoHandle doneEvent(::OpenEventW(SYNCHRONIZE, FALSE, done));
    if (!readyEvent || !doneEvent)
        return EXIT_FAILURE;
    const CPublishedLogger published;
    ::SetEvent(readyEvent.Get());
    ::WaitForSingleObject(doneEvent.Get(), INFINITE);
    return published.IsPublished() ? static_cast<int>(published->Records().size()) : EXIT_FAILURE;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 4)
        return EXIT_FAILURE;
    if (argv[1] == std::wstring_view(L"publish"))
        return Publish(argv[2], argv[3]);
    std::vector<std::thread> threads(static_cast<std::size_t>(_wtoi(argv[2])));
    for (int worker = 0; std::thread & thread : threads)
        thread = std::thread(WriteRecords, worker++, _wtoi(argv[3]));
    for (std::thread& thread : threads)
        thread.join();
    return EXIT_SUCCESS;
}
