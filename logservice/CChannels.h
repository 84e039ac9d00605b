// The channels of writers, and the thread that looks into them and that nothing else holds up.
//
// Threads: any.  Units: milliseconds.  Lifetime: its end is a Stop.
#pragma once

#include "base/CSlimLock.h"
#include "logview/CRingReader.h"
#include "threading/CCallQueue.h"

#include <memory>
#include <string>

namespace logservice {

class CChannels final {
public:
    // Throws std::bad_alloc: there is no thread to be had, either.
    explicit CChannels(std::shared_ptr<logview::CRecordQueue> records);
    CChannels(const CChannels&) = delete;
    CChannels& operator=(const CChannels&) = delete;
    ~CChannels();

    // As logview::CRingReaders::Open.  RPC_E_DISCONNECTED: behind Stop.
    [[nodiscard]] HRESULT Open(ULONG processId, const std::wstring& name) noexcept;

    // Takes what is in the channels, and tells their writers that nothing more will be taken.
    // False: that takes longer than `limitMs`.
    bool Stop(DWORD limitMs) noexcept;

private:
    struct State;

    const std::shared_ptr<State> m_state;
    threading::CCallQueue m_thread;
};

}  // namespace logservice
