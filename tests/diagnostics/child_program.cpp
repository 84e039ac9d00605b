// A process that logs: diagnostics_child THREADS COUNT
// Each thread writes COUNT records of growing length; the message says which thread wrote it.
#include "diagnostics/TKRuntimeLoggerAPI.h"

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

int wmain(int argc, wchar_t** argv) {
    if (argc < 3)
        return EXIT_FAILURE;
    std::vector<std::thread> threads;
    for (int worker = 0; worker < _wtoi(argv[1]); ++worker) {
        threads.emplace_back([=] {
            static constexpr TKRuntimeLogger::LogSource kSource{L"child", L"child_program"};
            for (int record = 0; record < _wtoi(argv[2]); ++record) {
                TK_LOG(kSource, TKRuntimeLogger::kInfo, L"Work", L"worker %d record %d of thread %u %s", worker, record,
                       ::GetCurrentThreadId(), std::wstring(static_cast<std::size_t>(record), L'\u00FC').c_str());
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    return EXIT_SUCCESS;
}
