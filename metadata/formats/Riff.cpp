#include "metadata/formats/Riff.h"

#include "metadata/formats/FourCc.h"

namespace metadata {

std::optional<Chunk> ChunkAt(CWalk& walk, std::uint64_t position, ByteOrder order) {
    constexpr size_t kHeader = 8;
    const CBytes bytes = walk.At(position, kHeader);
    const std::uint32_t name = bytes.Be32(0);
    if (!bytes.Has(0, kHeader) || !IsFourCc(name))
        return std::nullopt;
    return Chunk{name, position + kHeader, order == ByteOrder::Big ? bytes.Be32(4) : bytes.Le32(4)};
}

std::optional<Chunk> FindChunk(CWalk& walk, ByteOrder order, std::initializer_list<std::uint32_t> names) {
    std::uint64_t position = kFirstChunk;
    for (int i = 0; i < kMostChunks; ++i) {
        const std::optional<Chunk> chunk = ChunkAt(walk, position, order);
        if (!chunk || std::find(names.begin(), names.end(), chunk->name) != names.end())
            return chunk;
        position = chunk->Next();
    }
    return std::nullopt;
}

}  // namespace metadata
