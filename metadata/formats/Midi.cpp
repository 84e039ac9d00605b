// Standard MIDI files, plain or wrapped in RIFF.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"
#include "metadata/formats/FourCc.h"
#include "metadata/formats/Riff.h"

namespace metadata {

namespace {

constexpr std::uint64_t kChunkHeader = 8;
constexpr std::uint64_t kShortestHeader = 6;
constexpr int kMostOtherChunks = 8;  // a reader has to skip chunks that it doesn't know

// Judges the file whose header chunk stands at `start`.
Verdict JudgeSong(CWalk& walk, std::uint64_t start) {
    const CBytes header = walk.At(start, kChunkHeader + kShortestHeader);
    const std::uint32_t length = header.Be32(4);
    const Evidence evidence{start, kChunkHeader + kShortestHeader};
    const bool isHeader = header.Is(0, "MThd") && length >= kShortestHeader && header.Be16(8) <= 2;
    if (!isHeader || header.Be16(10) == 0)
        return RuledOut(L"the song's header is not sane", evidence);
    std::uint64_t position = start + kChunkHeader + length;
    for (int i = 0; i <= kMostOtherChunks; ++i) {
        const CBytes chunk = walk.At(position, kChunkHeader);
        if (chunk.Is(0, "MTrk"))
            return Found(L"audio/midi", nullptr, L"a MIDI header with a track", {position, 4});
        if (!chunk.Has(0, kChunkHeader) || !IsFourCc(chunk.Be32(0)))
            break;
        // Unlike those of RIFF, chunks are not filled up to an even length.
        position += kChunkHeader + chunk.Be32(4);
    }
    return RuledOut(L"no track follows the song's header", evidence);
}

}  // namespace

Verdict JudgeMidi(CContent& content) {
    const CBytes head = content.Head();
    CWalk walk(content, CWalk::Kind::Headers);
    if (head.Is(0, "MThd"))
        return JudgeSong(walk, 0);
    if (!head.Is(0, "RIFF") || !head.Is(8, "RMID"))
        return NotThere();
    const std::optional<Chunk> data = FindChunk(walk, ByteOrder::Little, {FourCc("data")});
    return data ? JudgeSong(walk, data->content) : RuledOut(L"no song in the wrapper", {0, kFirstChunk});
}

}  // namespace metadata
