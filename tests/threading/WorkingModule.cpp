// A DLL whose work goes on after its last call has returned.
#include "diagnostics/CHangDetector.h"
#include "threading/CCallQueue.h"
#include "threading/CTaskGroup.h"

using namespace threading;

namespace {

constexpr TKRuntimeLogger::LogSource kSource{L"module", L"WorkingModule"};

}  // namespace

// Each leaves a thread behind that waits for `end`: of a queue, of a manager, of a queue that its own call destroys.
extern "C" void WorkOn(HANDLE begun, HANDLE end) {
    const auto wait = [=] {
        ::ReleaseSemaphore(begun, 1, nullptr);
        ::WaitForSingleObject(end, 60'000);
    };
    CCallQueue queue("Left behind", COINIT_MULTITHREADED);
    queue.Post(wait);
    CParallelManager manager("Left behind", 1);
    manager.Post(wait, 0);
    const auto own = boost::make_shared<CCallQueue>("On its own", COINIT_APARTMENTTHREADED);
    own->Post([own, wait] { wait(); });
    for (int i = 0; i < 3; ++i)
        ::WaitForSingleObject(begun, 60'000);
    queue.Stop(Rest::Discard, 0);
    manager.Stop(Rest::Discard, 0);
    own->Stop(Rest::Discard, 0);
}

// Begins and ends an activity; if anybody listens, the watching thread outlives the call.
extern "C" void BeWatched(bool isHeard) {
    const TKRuntimeLogger::CHangDetector::Listener listener = [](const std::wstring&) {};
    const TKRuntimeLogger::CHangDetector activity(
        kSource, __LINE__, L"BeWatched", INFINITE, [] { return L"ending"; }, isHeard ? listener : nullptr);
}
