#include "filter/CStreamOpener.h"

#include "filter/FilterLog.h"
#include "framework/streams/TKFStreams.h"
#include "framework/uri/NameForLog.h"

#include <wrl/client.h>

#include <utility>

namespace filter {

using Microsoft::WRL::ComPtr;

namespace {

constexpr char kCreationThreadName[] = "MTA Create Stream Thread";

// Others may read and delete the file meanwhile, not write it.
constexpr DWORD kSourceMode = kTKFStreamRead | kTKFStreamShareRead | kTKFStreamShareDelete;

constexpr wchar_t kThreadFunction[] = L"CCustomFileSourceFilter::CreateStreamThread";

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

CStreamOpener::CStreamOpener()
    : m_creationRunnable(this, &CStreamOpener::CreateStreamThread, COINIT_MULTITHREADED),
      m_stop(::CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_createRequest(::CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_creationDone(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    m_creationThread.Init(&m_creationRunnable, kCreationThreadName, 0);
}

// A thread without one of its events would leave loads waiting for ever, or answer a load with the stream of an earlier
// one.
void CStreamOpener::Start() noexcept {
    if (m_stop && m_createRequest && m_creationDone)
        static_cast<void>(m_creationThread.Start());
}

void CStreamOpener::Stop() noexcept {
    ::SetEvent(m_stop.Get());
    m_creationThread.Join(INFINITE);
}

bool CStreamOpener::IsRunning() const noexcept {
    const HANDLE thread = m_creationThread.GetHandle();
    return thread && ::WaitForSingleObject(thread, 0) != WAIT_OBJECT_0;
}

// ---- On the thread of whoever loads

HRESULT CStreamOpener::Open(framework::CParsedName name, std::optional<HRESULT>* result) noexcept {
    // Empty as a rule. A stream that could not be revoked after its load must not be taken for this one's.
    if (const HRESULT hr = m_createdStream.Revoke(); FAILED(hr))
        return hr;
    m_creationResult.reset();
    m_pendingName = std::move(name);
    ::SetEvent(m_createRequest.Get());
    AwaitCreation();
    *result = m_creationResult;
    return S_OK;
}

HRESULT CStreamOpener::Take(IStream** stream) noexcept {
    const HRESULT hr = m_createdStream.CopyTo(stream);
    static_cast<void>(m_createdStream.Revoke());
    return hr;
}

// Whatever the wait gives, the caller goes on and looks for the stream itself.
void CStreamOpener::AwaitCreation() const noexcept {
    constexpr auto kFunction = L"CCustomFileSourceFilter::Load";
    const HANDLE handles[] = {m_creationDone.Get(), m_creationThread.GetHandle()};
    switch (::WaitForMultipleObjects(2, handles, FALSE, INFINITE)) {
        case WAIT_OBJECT_0:
            break;
        case WAIT_TIMEOUT:  // can't happen while the wait has no limit; kept for the day it has one
            TK_LOG(kFilterLog, TKRuntimeLogger::kError, kFunction, L"Timeout for creating the stream");
            break;
        default:
            TK_LOG(kFilterLog, TKRuntimeLogger::kFatal, kFunction,
                   L"A fatal error ocurred while trying to open the stream");
            break;
    }
}

// ---- The creation thread

HRESULT CStreamOpener::CreateStreamThread() noexcept {
    // The stop event stands first: a stop wins over a request that comes at the same time.
    const HANDLE events[] = {m_stop.Get(), m_createRequest.Get()};
    for (;;) {
        switch (::WaitForMultipleObjects(2, events, FALSE, INFINITE)) {
            case WAIT_OBJECT_0:
                TK_LOG(kFilterLog, TKRuntimeLogger::kInfo, kThreadFunction,
                       L"Create stream thread stop message received");
                return S_OK;
            case WAIT_OBJECT_0 + 1:
                ServeCreateRequest();
                break;
            default:
                TK_LOG(kFilterLog, TKRuntimeLogger::kError, kThreadFunction,
                       L"Error in WaitForMultipleObjects in create stream thread");
                return S_OK;
        }
    }
}

void CStreamOpener::ServeCreateRequest() noexcept {
    ComPtr<IStream> stream;
    const CSetEventAtExit done(m_creationDone.Get());  // on failure too: Open waits for it
    const HRESULT hr = CreatePendingStream(&stream);
    m_creationResult = SUCCEEDED(hr) ? S_OK : hr;
    TK_LOG(kFilterLog, TKRuntimeLogger::kInfo, kThreadFunction, L"Create stream thread: Creating stream %s for %s",
           SUCCEEDED(hr) ? L"succeeded" : L"failed", framework::NameForLog(m_pendingName).c_str());
}

// The calls are named in the log as they always were, so that readers of older logs find them.
HRESULT CStreamOpener::CreatePendingStream(IStream** stream) noexcept {
    HRESULT hr = S_OK;
    TK_CHECK_CALL_AS(kFilterLog, kThreadFunction, hr,
                     ::TKFCreateStreamFromUri(m_pendingName, kSourceMode, stream, nullptr, nullptr),
                     L"TKFCreateStreamFromUri(m_PendingName,kSourceMode,&pStream,0,0)");
    TK_CHECK_CALL_AS(kFilterLog, kThreadFunction, hr, m_createdStream.Attach(*stream),
                     L"m_CreatedStream.Attach(pStream)");
    return hr;
}

}  // namespace filter
