#include "diagnostics/CFoundService.h"

#include "base/ComBoundary.h"
#include "base/ForeignCalls.h"
#include "diagnostics/PublishedService.h"

#include <algorithm>
#include <iterator>

using Microsoft::WRL::ComPtr;

namespace TKRuntimeLogger {

bool IsLostConnection(HRESULT hr) noexcept {
    static constexpr HRESULT kLost[] = {
        HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE),
        HRESULT_FROM_WIN32(RPC_S_CALL_FAILED),
        HRESULT_FROM_WIN32(RPC_S_CALL_FAILED_DNE),
        HRESULT_FROM_WIN32(RPC_S_COMM_FAILURE),
        HRESULT_FROM_WIN32(RPC_S_UNKNOWN_IF),
        RPC_E_DISCONNECTED,
        RPC_E_CONNECTION_TERMINATED,
        RPC_E_SERVER_DIED,
        RPC_E_SERVER_DIED_DNE,
        RPC_E_INVALID_OBJECT,
        RPC_E_WRONG_THREAD,
        CO_E_OBJNOTCONNECTED,
        CO_E_OBJNOTREG,
        CO_E_NOTINITIALIZED,
    };
    return std::find(std::begin(kLost), std::end(kLost), hr) != std::end(kLost);
}

bool IsInApartment() noexcept {
    APTTYPE type{};
    APTTYPEQUALIFIER qualifier{};
    return SUCCEEDED(::CoGetApartmentType(&type, &qualifier));
}

bool CFoundService::Find() noexcept {
    Abandon();
    if (CRecordChannel::IsServiceHung())
        return false;
    base::RunQuietly([&] { LookUp(); });
    return m_logger != nullptr;
}

void CFoundService::Abandon() noexcept {
    static_cast<void>(m_logger.Detach());
    static_cast<void>(m_questioner.Detach());
    static_cast<void>(m_dumpWriter.Detach());
    m_channel.reset();
    m_isProxy = false;
}

void CFoundService::LookUp() {
    const ComPtr<IUnknown> service = PublishedService();
    if (!service)
        return;
    // An interface that can't be had stays null. A service in another process whose interfaces have no proxy here gives
    // none of them, and counts as no service.
    static_cast<void>(base::QueryFor(*service.Get(), base::SlotOf(m_logger)));
    static_cast<void>(base::QueryFor(*service.Get(), base::SlotOf(m_questioner)));
    static_cast<void>(base::QueryFor(*service.Get(), base::SlotOf(m_dumpWriter)));
    ComPtr<IClientSecurity> security;  // what every proxy has
    m_isProxy = SUCCEEDED(base::QueryFor(*service.Get(), base::SlotOf(security)));
    ComPtr<ITKRuntimeLoggerChannel> channel;
    if (m_logger && m_isProxy && SUCCEEDED(base::QueryFor(*service.Get(), base::SlotOf(channel))))
        m_channel = CRecordChannel::To(*channel.Get());
}

}  // namespace TKRuntimeLogger
