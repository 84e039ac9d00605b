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
    : m_CreationRunnable(this, &CStreamOpener::CreateStreamThread, COINIT_MULTITHREADED),
      m_hStop(::CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_hCreateRequest(::CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_hCreationDone(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    m_CreationThread.Init(&m_CreationRunnable, kCreationThreadName, 0);
}

// A thread without one of its events would leave loads waiting for ever, or answer a load with the stream of an earlier
// one.
void CStreamOpener::Start() noexcept {
    if (m_hStop && m_hCreateRequest && m_hCreationDone)
        static_cast<void>(m_CreationThread.Start());
}

void CStreamOpener::Stop() noexcept {
    ::SetEvent(m_hStop.Get());
    m_CreationThread.Join(INFINITE);
}

bool CStreamOpener::IsRunning() const noexcept {
    const HANDLE thread = m_CreationThread.GetHandle();
    return thread && ::WaitForSingleObject(thread, 0) != WAIT_OBJECT_0;
}

// ---- On the thread of whoever loads

HRESULT CStreamOpener::Open(framework::CParsedName name, std::optional<HRESULT>* result) noexcept {
    // Empty as a rule. A stream that could not be revoked after its load must not be taken for this one's.
    if (const HRESULT hr = m_CreatedStream.Revoke(); FAILED(hr))
        return hr;
    m_CreationResult.reset();
    m_PendingName = std::move(name);
    ::SetEvent(m_hCreateRequest.Get());
    AwaitCreation();
    *result = m_CreationResult;
    return S_OK;
}

HRESULT CStreamOpener::Take(IStream** stream) noexcept {
    const HRESULT hr = m_CreatedStream.CopyTo(stream);
    static_cast<void>(m_CreatedStream.Revoke());
    return hr;
}

// Whatever the wait gives, the caller goes on and looks for the stream itself.
void CStreamOpener::AwaitCreation() const noexcept {
    constexpr auto kFunction = L"CCustomFileSourceFilter::Load";
    const HANDLE handles[] = {m_hCreationDone.Get(), m_CreationThread.GetHandle()};
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
    const HANDLE events[] = {m_hStop.Get(), m_hCreateRequest.Get()};
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
    const CSetEventAtExit done(m_hCreationDone.Get());  // on failure too: Open waits for it
    const HRESULT hr = CreatePendingStream(&stream);
    m_CreationResult = SUCCEEDED(hr) ? S_OK : hr;
    TK_LOG(kFilterLog, TKRuntimeLogger::kInfo, kThreadFunction, L"Create stream thread: Creating stream %s for %s",
           SUCCEEDED(hr) ? L"succeeded" : L"failed", framework::NameForLog(m_PendingName).c_str());
}

HRESULT CStreamOpener::CreatePendingStream(IStream** stream) noexcept {
    HRESULT hr = S_OK;
    TK_CHECK_CALL_AS(kFilterLog, kThreadFunction, hr,
                     ::TKFCreateStreamFromUri(m_PendingName, kSourceMode, stream, nullptr, nullptr),
                     L"TKFCreateStreamFromUri(m_PendingName,kSourceMode,&pStream,0,0)");
    TK_CHECK_CALL_AS(kFilterLog, kThreadFunction, hr, m_CreatedStream.Attach(*stream),
                     L"m_CreatedStream.Attach(pStream)");
    return hr;
}

}  // namespace filter
