#include "logservice/CPublication.h"

#include "TKRuntimeLogger.h"
#include "base/CDeadline.h"
#include "base/ComBoundary.h"
#include "diagnostics/PublishedService.h"
#include "threading/CCallQueue.h"

#include <objbase.h>

#include <utility>

namespace logservice {

namespace {

using Microsoft::WRL::ComPtr;

constexpr DWORD kTableStartsMs = 20'000;
constexpr DWORD kAnswersMs = 20'000;
constexpr DWORD kPauseMs = 100;

// The table lives in a service of the platform, which starts when it is first asked for; until then the call fails so.
bool IsStarting(HRESULT result) noexcept {
    return result == HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE) || result == HRESULT_FROM_WIN32(RPC_S_CALL_FAILED) ||
           result == HRESULT_FROM_WIN32(RPC_S_SERVER_TOO_BUSY);
}

// An entry may outlast a service that was killed. Only one that still answers counts.
bool IsTaken() {
    const ComPtr<IUnknown> service = TKRuntimeLogger::PublishedService();
    ComPtr<ITKRuntimeLogger> logger;
    return service && SUCCEEDED(service.As(&logger));
}

// Whether the first entry is another one than ours: of several, clients get the first.
bool IsOther(IUnknown& ours) {
    const ComPtr<IUnknown> found = TKRuntimeLogger::PublishedService();
    ComPtr<IUnknown> other, own;
    return found && SUCCEEDED(found.As(&other)) && SUCCEEDED(ours.QueryInterface(IID_PPV_ARGS(&own))) && other != own;
}

// What `look` says of a service; also true when that service is stopped: a call of it waits until it goes on, which may
// be never.
template <class Look>
bool IsSoOrStopped(Look&& look) noexcept {
    bool isSo = true;
    base::RunQuietly([&] {
        threading::CCallQueue thread("Publication", COINIT_MULTITHREADED);
        isSo = thread.Call(std::forward<Look>(look), kAnswersMs).value_or(true);
        thread.Stop(threading::Rest::Discard, 0);
    });
    return isSo;
}

}  // namespace

void CPublication::TakeBack() noexcept {
    if (m_table && m_reach != Reach::Nobody)
        m_table->Revoke(m_entry);
    m_reach = Reach::Nobody;
}

HRESULT CPublication::Publish(IUnknown& service) noexcept {
    ComPtr<IMoniker> name;
    if (const HRESULT hr = ::CreateFileMoniker(kTKRuntimeLoggerMoniker, &name); FAILED(hr))
        return hr;
    for (const base::CDeadline limit(kTableStartsMs);; ::Sleep(kPauseMs)) {
        const HRESULT hr = PublishOnce(service, *name.Get());
        if (!IsStarting(hr) || limit.IsOver())
            return hr;
    }
}

HRESULT CPublication::PublishOnce(IUnknown& service, IMoniker& name) noexcept {
    if (const HRESULT hr = ::GetRunningObjectTable(0, &m_table); FAILED(hr))
        return hr;
    if (IsSoOrStopped([] { return IsTaken(); }))
        return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
    const HRESULT hr = Enter(service, name);
    if (hr != MK_S_MONIKERALREADYREGISTERED)
        return hr;
    // By what a killed service left, or by one that has come since.
    const ComPtr<IUnknown> ours = &service;
    if (!IsSoOrStopped([ours] { return IsOther(*ours.Get()) && IsTaken(); }))
        return S_OK;
    TakeBack();
    return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
}

HRESULT CPublication::Enter(IUnknown& service, IMoniker& name) noexcept {
    constexpr DWORD kStrong = ROTFLAGS_REGISTRATIONKEEPSALIVE;
    // Windows refuses the wider reach to programs that aren't registered for it.
    HRESULT hr = m_table->Register(kStrong | ROTFLAGS_ALLOWANYCLIENT, &service, &name, &m_entry);
    if (SUCCEEDED(hr)) {
        m_reach = Reach::AnyClient;
        return hr;
    }
    if (IsStarting(hr))
        return hr;
    hr = m_table->Register(kStrong, &service, &name, &m_entry);
    if (SUCCEEDED(hr))
        m_reach = Reach::SameRights;
    return hr;
}

}  // namespace logservice
