#include "filter/CStreamOpener.h"

#include "base/CAutoDestructor.h"
#include "base/ComBoundary.h"
#include "diagnostics/ComErrors.h"
#include "filter/FilterLog.h"
#include "framework/com/CStreamCookie.h"
#include "framework/streams/TKFStreams.h"
#include "framework/uri/NameForLog.h"
#include "threading/CWorkerThread.h"

#include <oleauto.h>
#include <wrl/client.h>

#include <mutex>
#include <utility>

namespace filter {

using Microsoft::WRL::ComPtr;

namespace {

constexpr char kCreationThreadName[] = "MTA Create Stream Thread";

// Others may read and delete the file meanwhile, not write it.
constexpr DWORD kSourceMode = kTKFStreamRead | kTKFStreamShareRead | kTKFStreamShareDelete;

constexpr wchar_t kThreadFunction[] = L"CCustomFileSourceFilter::CreateStreamThread";
constexpr wchar_t kLoadFunction[] = L"CCustomFileSourceFilter::Load";

class CSetEventAtExit final {
public:
    explicit CSetEventAtExit(HANDLE event) noexcept : m_event(event) {}
    CSetEventAtExit(const CSetEventAtExit&) = delete;
    CSetEventAtExit& operator=(const CSetEventAtExit&) = delete;
    ~CSetEventAtExit() { ::SetEvent(m_event); }

private:
    HANDLE m_event;
};

}  // namespace

// What a creation thread and those who load share. Of a thread that was left to itself only that thread has it.
struct CStreamOpener::Work {
    [[nodiscard]] bool IsComplete() const noexcept { return stop && createRequest && creationDone; }
    void RunThread() noexcept;
    void ServeCreateRequest() noexcept;
    [[nodiscard]] HRESULT CreatePendingStream(IStream** stream) noexcept;

    base::CAutoHandle stop{::CreateEventW(nullptr, TRUE, FALSE, nullptr)};  // manual-reset: the thread is to end
    // Auto-reset: the pending name is to be opened.
    base::CAutoHandle createRequest{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    // Auto-reset: it has been tried, or is given up.
    base::CAutoHandle creationDone{::CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    framework::CParsedName pendingName;      // written by Open before the request, read by the thread after it
    framework::CStreamCookie createdStream;  // written by the thread before it has tried, read by Take after that
    std::optional<HRESULT> creationResult;   // in the same way, read by Open; empty while there is none
    std::atomic<bool> isTried{false};        // the last name
};

struct CStreamOpener::Crew {
    [[nodiscard]] bool HasThread() const noexcept {
        const HANDLE handle = thread.GetHandle();
        return handle && ::WaitForSingleObject(handle, 0) != WAIT_OBJECT_0;
    }
    [[nodiscard]] bool AwaitCreation(const std::atomic<bool>& isGivenUp) const noexcept;

    std::shared_ptr<Work> work = std::make_shared<Work>();
    threading::CWorkerThread thread{kCreationThreadName, COINIT_MULTITHREADED};
};

void CStreamOpener::Start() noexcept {
    Employ(MakeCrew());
}

// A thread without one of its events would leave loads waiting for ever, or answer a load with the stream of an earlier
// one. One without its apartment ends at once.
std::shared_ptr<CStreamOpener::Crew> CStreamOpener::MakeCrew() noexcept {
    std::shared_ptr<Crew> crew;
    base::RunQuietly([&] {
        crew = std::make_shared<Crew>();
        const auto body = [work = crew->work](HRESULT apartment) {
            if (SUCCEEDED(apartment))
                work->RunThread();
        };
        if (!crew->work->IsComplete() || !crew->thread.Start(body))
            crew.reset();
    });
    return crew;
}

void CStreamOpener::Stop() noexcept {
    const std::shared_ptr<Crew> crew = CurrentCrew();
    if (!crew)
        return;
    ::SetEvent(crew->work->stop.Get());
    static_cast<void>(crew->thread.Join(INFINITE));
}

bool CStreamOpener::IsRunning() const noexcept {
    if (m_startsAnew)
        return true;
    const std::shared_ptr<Crew> crew = CurrentCrew();
    return crew && crew->HasThread();
}

std::shared_ptr<CStreamOpener::Crew> CStreamOpener::CurrentCrew() const noexcept {
    const std::lock_guard lock(m_crewLock);
    return m_crew;
}

// The last use of the former crew leaves its thread to itself.
void CStreamOpener::Employ(std::shared_ptr<Crew> crew) noexcept {
    const std::lock_guard lock(m_crewLock);
    m_crew.swap(crew);
}

// ---- On the thread of whoever loads

HRESULT CStreamOpener::Open(framework::CParsedName name, const std::atomic<bool>& isGivenUp,
                            std::optional<HRESULT>* result) noexcept {
    if (m_startsAnew) {
        Start();
        m_startsAnew = false;
    }
    const std::shared_ptr<Crew> crew = CurrentCrew();
    if (!crew) {
        TK_LOG(kFilterLog, TKRuntimeLogger::kFatal, kLoadFunction, L"The stream creation thread is not running!");
        m_startsAnew = true;  // the next time perhaps
        return E_UNEXPECTED;
    }
    if (isGivenUp)  // LookAgain may have come before there was anybody to hear of it
        return result->emplace(E_ABORT);
    Work& work = *crew->work;
    // Empty as a rule. A stream that could not be revoked after its load must not be taken for this one's.
    if (const HRESULT hr = work.createdStream.Revoke(); FAILED(hr)) {
        TKRuntimeLogger::LogFailedCall(kFilterLog, __LINE__, kLoadFunction, hr, L"m_CreatedStream.Revoke()");
        return hr;
    }
    work.creationResult.reset();
    work.pendingName = std::move(name);
    work.isTried = false;
    ::SetEvent(work.createRequest.Get());
    if (!crew->AwaitCreation(isGivenUp)) {
        ::SetEvent(work.stop.Get());
        m_startsAnew = true;
        Employ(nullptr);
        return result->emplace(E_ABORT);
    }
    *result = work.creationResult;
    return S_OK;
}

void CStreamOpener::LookAgain() const noexcept {
    if (const std::shared_ptr<Crew> crew = CurrentCrew())
        ::SetEvent(crew->work->creationDone.Get());
}

HRESULT CStreamOpener::Take(IStream** stream) noexcept {
    Work& work = *CurrentCrew()->work;
    const HRESULT hr = work.createdStream.CopyTo(stream);
    if (FAILED(hr) && work.creationResult == S_OK)  // otherwise it has been said why there is none
        TKRuntimeLogger::LogFailedCall(kFilterLog, __LINE__, kLoadFunction, hr, L"m_CreatedStream.CopyTo(&pStream)");
    static_cast<void>(work.createdStream.Revoke());
    return hr;
}

// Whatever the wait gives, the caller goes on and looks for the stream itself.  False: it is given up.
bool CStreamOpener::Crew::AwaitCreation(const std::atomic<bool>& isGivenUp) const noexcept {
    const HANDLE handles[] = {work->creationDone.Get(), thread.GetHandle()};
    for (;;) {
        switch (::WaitForMultipleObjects(2, handles, FALSE, INFINITE)) {
            case WAIT_OBJECT_0:
                if (isGivenUp)
                    return false;
                if (work->isTried)
                    return true;
                break;          // another load was given up
            case WAIT_TIMEOUT:  // can't happen while the wait has no limit; kept for the day it has one
                TK_LOG(kFilterLog, TKRuntimeLogger::kError, kLoadFunction, L"Timeout for creating the stream");
                return true;
            default:
                TK_LOG(kFilterLog, TKRuntimeLogger::kFatal, kLoadFunction,
                       L"A fatal error ocurred while trying to open the stream");
                return true;
        }
    }
}

// ---- The creation thread

void CStreamOpener::Work::RunThread() noexcept {
    // The stop event stands first: a stop wins over a request that comes at the same time.
    const HANDLE events[] = {stop.Get(), createRequest.Get()};
    for (;;) {
        switch (::WaitForMultipleObjects(2, events, FALSE, INFINITE)) {
            case WAIT_OBJECT_0:
                TK_LOG(kFilterLog, TKRuntimeLogger::kInfo, kThreadFunction,
                       L"Create stream thread stop message received");
                return;
            case WAIT_OBJECT_0 + 1:
                ServeCreateRequest();
                break;
            default:
                TK_LOG(kFilterLog, TKRuntimeLogger::kError, kThreadFunction,
                       L"Error in WaitForMultipleObjects in create stream thread");
                return;
        }
    }
}

void CStreamOpener::Work::ServeCreateRequest() noexcept {
    ComPtr<IStream> stream;
    const CSetEventAtExit done(creationDone.Get());  // on failure too: Open waits for it
    const HRESULT hr = CreatePendingStream(&stream);
    creationResult = SUCCEEDED(hr) ? S_OK : hr;
    TK_LOG(kFilterLog, TKRuntimeLogger::kInfo, kThreadFunction, L"Create stream thread: Creating stream %s for %s",
           SUCCEEDED(hr) ? L"succeeded" : L"failed", framework::NameForLog(pendingName).c_str());
    isTried = true;
}

// The calls are named in the log as they always were, so that readers of older logs find them.
HRESULT CStreamOpener::Work::CreatePendingStream(IStream** stream) noexcept {
    ::SetErrorInfo(0, nullptr);  // what an earlier name has left doesn't belong to this one
    HRESULT hr = ::TKFCreateStreamFromUri(pendingName, kSourceMode, stream, nullptr, nullptr);
    if (FAILED(hr)) {
        ComPtr<IErrorInfo> errorInfo;  // taken at once: looking for the logger calls strangers
        ::GetErrorInfo(0, &errorInfo);
        TKRuntimeLogger::LogFailedCall(
            kFilterLog, __LINE__, kThreadFunction, hr,
            L"TKFCreateStreamFromUri(m_PendingName,kSourceMode,&pStream,0,0)",
            [&](HRESULT failure) { return TKRuntimeLogger::ComErrorText(failure, errorInfo.Get()); });
        return hr;
    }
    TK_CHECK_CALL_AS(kFilterLog, kThreadFunction, hr, createdStream.Attach(*stream),
                     L"m_CreatedStream.Attach(pStream)");
    return hr;
}

}  // namespace filter
