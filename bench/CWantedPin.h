// Notes which bytes a parser has asked for, each once.
//
// Threads: as the pin behind it; Wanted any.  Lifetime: as CReaderProxy.
#pragma once

#include "base/CSlimLock.h"
#include "tvsource/graph/CReaderProxy.h"

#include <map>

namespace bench {

class CWantedPin final : public tvsource::CReaderProxy {
public:
    using CReaderProxy::CReaderProxy;

    // How many bytes.
    [[nodiscard]] LONGLONG Wanted() const;

    // IAsyncReader
    STDMETHODIMP Request(IMediaSample* sample, DWORD_PTR user) noexcept override;
    STDMETHODIMP SyncReadAligned(IMediaSample* sample) noexcept override;
    STDMETHODIMP SyncRead(LONGLONG position, LONG length, BYTE* buffer) noexcept override;

private:
    ~CWantedPin() override = default;

    void Note(const tvsource::ReadSpan& span) noexcept;

    mutable base::CSlimLock m_lock;         // guards the next
    std::map<LONGLONG, LONGLONG> m_wanted;  // begin to end; may overlap
};

}  // namespace bench
