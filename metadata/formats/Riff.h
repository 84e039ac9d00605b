// The chunks of RIFF files and of their older relative with big-endian lengths: a name of four characters, a length of
// four bytes, and that much content, filled up to an even length.
//
// Units: bytes.  Errors: as CWalk's.  Threads: one.
#pragma once

#include "metadata/CWalk.h"

#include <initializer_list>
#include <optional>

namespace metadata {

enum class ByteOrder { Little, Big };

// The first chunk stands behind the file's own name, length and kind.
constexpr std::uint64_t kFirstChunk = 12;

// More chunks are not looked at, so that a file of empty ones costs no time. Real headers have some dozens.
constexpr int kMostChunks = 1000;

struct Chunk {
    std::uint32_t name = 0;     // as FourCc gives it
    std::uint64_t content = 0;  // where it begins
    std::uint64_t length = 0;   // of the content, as the file claims

    [[nodiscard]] constexpr std::uint64_t Next() const noexcept { return content + length + length % 2; }
};

// The chunk at `position`; empty where the bytes are out of reach or no name stands there.
[[nodiscard]] std::optional<Chunk> ChunkAt(CWalk& walk, std::uint64_t position, ByteOrder order);

// The first chunk of one of the names among those that follow each other from kFirstChunk on.
[[nodiscard]] std::optional<Chunk> FindChunk(CWalk& walk, ByteOrder order, std::initializer_list<std::uint32_t> names);

}  // namespace metadata
