#include "logservice/CTurn.h"

#include "base/CDeadline.h"

namespace logservice {

namespace {

constexpr wchar_t kTurn[] = L"Local\\TKRuntimeLogger.Service";
constexpr wchar_t kStop[] = L"Local\\TKRuntimeLogger.Stop";

constexpr DWORD kPauseMs = 20;
constexpr DWORD kMomentMs = 1000;  // whoever looks whether a service runs owns the turn for a moment

// Whether it was to be had within the time. It is given back at once.
bool IsFree(HANDLE turn, DWORD timeoutMs) noexcept {
    const DWORD waited = ::WaitForSingleObject(turn, timeoutMs);
    const bool isFree = waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED;
    if (isFree)
        ::ReleaseMutex(turn);
    return isFree;
}

}  // namespace

CTurn::~CTurn() {
    if (m_turn)
        ::ReleaseMutex(m_turn.Get());
}

HRESULT CTurn::Take() noexcept {
    base::CAutoHandle turn(::CreateMutexW(nullptr, FALSE, kTurn));
    if (!turn)
        return ::GetLastError() == ERROR_ACCESS_DENIED ? HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS)  // of other rights
                                                       : HRESULT_FROM_WIN32(::GetLastError());
    const DWORD waited = ::WaitForSingleObject(turn.Get(), kMomentMs);
    if (waited != WAIT_OBJECT_0 && waited != WAIT_ABANDONED)
        return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
    m_turn = std::move(turn);
    m_stop.Reset(::CreateEventW(nullptr, TRUE, FALSE, kStop));
    // Whoever ended the service before may still hold it, as it was.
    if (m_stop)
        ::ResetEvent(m_stop.Get());
    return S_OK;
}

HRESULT EndRunningService(DWORD limitMs) noexcept {
    const base::CAutoHandle turn(::OpenMutexW(SYNCHRONIZE, FALSE, kTurn));
    if (!turn)
        return ::GetLastError() == ERROR_FILE_NOT_FOUND ? S_FALSE : HRESULT_FROM_WIN32(::GetLastError());
    if (IsFree(turn.Get(), 0))
        return S_FALSE;
    const base::CDeadline limit(limitMs);
    base::CAutoHandle stop;
    // A service that is just starting makes it soon.
    while (!stop) {
        stop.Reset(::OpenEventW(EVENT_MODIFY_STATE | SYNCHRONIZE, FALSE, kStop));
        if (!stop && (::GetLastError() != ERROR_FILE_NOT_FOUND || limit.IsOver()))
            return HRESULT_FROM_WIN32(::GetLastError());
        if (!stop && IsFree(turn.Get(), kPauseMs))
            return S_OK;
    }
    if (!::SetEvent(stop.Get()))
        return HRESULT_FROM_WIN32(::GetLastError());
    while (!IsFree(turn.Get(), limit.Within(kPauseMs))) {
        if (::WaitForSingleObject(stop.Get(), 0) == WAIT_TIMEOUT)
            return S_OK;  // it was reset by the next service
        if (limit.IsOver())
            return HRESULT_FROM_WIN32(ERROR_TIMEOUT);
    }
    return S_OK;
}

}  // namespace logservice
