// Reads a source through the pin as a parser does, in blocks. It takes media samples: a sample says how many bytes
// came, which the plain SyncRead does not.
//
// Threads: one.  Lifetime: must go before the source.  Errors: CCommandError.
#pragma once

#include "tvsource/source/CSourceFilter.h"

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include <span>

namespace tvsource {

class CSampleReader final {
public:
    static constexpr LONG kBlockBytes = 0x10000;

    // The source's data flow must be enabled.
    explicit CSampleReader(const CSourceFilter& source);
    CSampleReader(const CSampleReader&) = delete;
    CSampleReader& operator=(const CSampleReader&) = delete;
    ~CSampleReader();

    // The next bytes at `position`, at most `length` and kBlockBytes; empty where the source ends. Valid until the next
    // read. A source of unknown length gives what comes next, whatever the position.
    // Throws where the source can't be read on.
    [[nodiscard]] std::span<const BYTE> Read(LONGLONG position, LONGLONG length);

private:
    // How many bytes came.
    LONG ReadOnce(LONGLONG position, LONG length);
    [[nodiscard]] bool GoesOn(LONGLONG position) const;

    const CSourceFilter& m_source;
    const CSourceFilter::Length m_length;
    Microsoft::WRL::ComPtr<IMemAllocator> m_allocator;
    Microsoft::WRL::ComPtr<IMediaSample> m_sample;
    BYTE* m_data = nullptr;
};

}  // namespace tvsource
