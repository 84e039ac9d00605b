// Detection for the platform's streams.
//
// Threads: any, with a stream each.
#pragma once

#include "metadata/Detection.h"

#include <objidl.h>

namespace metadata {

// An IStream as detection sees it. Results are the stream's own. STG_E_READFAULT, STG_E_SEEKERROR: it claims success,
// but more bytes than there was room for, or another position.  Lifetime: the stream must outlive the object.
class CStreamSource final : public IByteSource {
public:
    explicit CStreamSource(IStream* stream) noexcept : m_stream(stream) {}

    [[nodiscard]] Result Tell(std::uint64_t& position) noexcept override;
    // The size isn't known if Stat fails, or if the size's top bit is set. Seeks are expensive if the stream says
    // TKDS_STATE_SEEKS_READ_THROUGH. It is awaited if it has ITKDSSourceControl and says that it isn't here.
    [[nodiscard]] Facts Ask() noexcept override;
    [[nodiscard]] Result SeekTo(std::uint64_t position) noexcept override;
    [[nodiscard]] Result Read(std::span<std::uint8_t> buffer, size_t& count) noexcept override;

private:
    IStream* const m_stream;
};

[[nodiscard]] std::uint64_t SystemTimeMs();

// The same as for an IByteSource (Detection.h).  Errors: std::bad_alloc.
[[nodiscard]] Detection DetectFormat(IStream* stream, CContent::Clock clock = &SystemTimeMs);

}  // namespace metadata
