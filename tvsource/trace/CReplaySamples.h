// The samples that a replay reads into: of the pin's own allocator, as a parser takes them.
//
// Threads: any.  Lifetime: the pin must no longer hold one when this object goes.  Errors: CCommandError.
#pragma once

#include "base/CSlimLock.h"

#include <windows.h>

#include <strmif.h>
#include <wrl/client.h>

#include <vector>

namespace tvsource {

class CReplaySamples final {
public:
    explicit CReplaySamples(IAsyncReader* reader) noexcept : m_reader(reader) {}
    CReplaySamples(const CReplaySamples&) = delete;
    CReplaySamples& operator=(const CReplaySamples&) = delete;
    ~CReplaySamples();

    // A sample that is in use by nobody, for `length` bytes at `position`.
    [[nodiscard]] Microsoft::WRL::ComPtr<IMediaSample> Take(LONGLONG position, LONGLONG length);

private:
    static constexpr LONGLONG kMostBytes = 0x10000000;  // of all samples together

    struct Place {
        Microsoft::WRL::ComPtr<IMemAllocator> allocator;  // of one sample
        LONG bytes;
    };

    [[nodiscard]] Microsoft::WRL::ComPtr<IMediaSample> Idle(LONG bytes);

    const Microsoft::WRL::ComPtr<IAsyncReader> m_reader;
    base::CSlimLock m_lock;  // guards what follows
    std::vector<Place> m_places;
    LONGLONG m_held = 0;
};

}  // namespace tvsource
