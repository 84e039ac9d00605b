#include "logservice/CPublication.h"

#include "TKRuntimeLogger.h"
#include "base/CDeadline.h"

#include <objbase.h>

namespace logservice {

namespace {

using Microsoft::WRL::ComPtr;

constexpr DWORD kTableStartsMs = 20'000;
constexpr DWORD kPauseMs = 100;

// The table lives in a service of the platform, which starts when it is first asked for; until then the call fails so.
bool IsStarting(HRESULT result) noexcept {
    return result == HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE) || result == HRESULT_FROM_WIN32(RPC_S_CALL_FAILED) ||
           result == HRESULT_FROM_WIN32(RPC_S_SERVER_TOO_BUSY);
}

// An entry may outlast a service that was killed. Only one that still answers counts.
bool IsTaken(IRunningObjectTable& table, IMoniker& name) noexcept {
    ComPtr<IUnknown> other;
    ComPtr<ITKRuntimeLogger> logger;
    return table.GetObject(&name, &other) == S_OK && other && SUCCEEDED(other.As(&logger));
}

}  // namespace

CPublication::~CPublication() {
    if (m_table && m_reach != Reach::Nobody)
        m_table->Revoke(m_entry);
}

HRESULT CPublication::Publish(IUnknown& service) noexcept {
    ComPtr<IMoniker> name;
    if (const HRESULT hr = ::CreateFileMoniker(kTKRuntimeLoggerMoniker, &name); FAILED(hr))
        return hr;
    const base::CDeadline limit(kTableStartsMs);
    for (;;) {
        HRESULT hr = ::GetRunningObjectTable(0, &m_table);
        if (SUCCEEDED(hr) && IsTaken(*m_table.Get(), *name.Get()))
            return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
        if (SUCCEEDED(hr))
            hr = Enter(service, *name.Get());
        if (!IsStarting(hr) || limit.IsOver())
            return hr;
        ::Sleep(kPauseMs);
    }
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
