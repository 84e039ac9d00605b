// What detection reads content from: bytes with a seek pointer. Detection knows nothing else of a stream, and so needs
// no platform; CStreamSource makes an IStream such a source.
//
// Units: positions and sizes in bytes.  Threads: one.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace metadata {

class IByteSource {
public:
    // 0 or more: success. Below 0: the source's own code for its failure.
    using Result = std::int32_t;

    struct Facts {
        std::optional<std::uint64_t> size;  // empty: it isn't known, and the source may be live
        bool areSeeksExpensive = false;
        bool isAwaited = false;  // its beginning isn't here yet: each byte of it takes its time
    };

    // Where the seek pointer stands.
    [[nodiscard]] virtual Result Tell(std::uint64_t& position) noexcept = 0;
    [[nodiscard]] virtual Facts Ask() noexcept = 0;
    // Succeeds only if the pointer is at `position` afterwards.
    [[nodiscard]] virtual Result SeekTo(std::uint64_t position) noexcept = 0;
    // Reads on. After a success `count` is at most the buffer's size, and 0 at the end.
    [[nodiscard]] virtual Result Read(std::span<std::uint8_t> buffer, size_t& count) noexcept = 0;

protected:
    ~IByteSource() = default;
};

}  // namespace metadata
