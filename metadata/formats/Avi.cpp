// AVI: a RIFF file whose header list has a list for each stream. The streams tell sound alone from pictures.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"
#include "metadata/formats/FourCc.h"
#include "metadata/formats/Riff.h"

namespace metadata {

namespace {

struct Streams {
    bool hasVideo = false;
    bool hasAudio = false;
    bool areAll = false;  // the header was seen to its end
    Evidence evidence{0, kFirstChunk};
};

// Goes through the header list and the stream lists in it as if their chunks stood in a row: some recorders leave the
// lengths of the lists zero.
Streams FindStreams(CWalk& walk) {
    constexpr std::uint64_t kListKind = 4;  // what a list holds stands before its first chunk
    Streams streams;
    std::uint64_t position = kFirstChunk;
    std::uint64_t headerEnd = UINT64_MAX;
    for (int i = 0; i < kMostChunks && !streams.hasVideo; ++i) {
        const std::optional<Chunk> chunk = ChunkAt(walk, position, ByteOrder::Little);
        if (!chunk)
            break;
        const std::uint32_t kind = walk.At(chunk->content, 4).Be32(0);
        streams.areAll = position >= headerEnd || (chunk->name == FourCc("LIST") && kind == FourCc("movi"));
        if (streams.areAll)
            break;
        position = chunk->Next();
        if (chunk->name == FourCc("LIST") && (kind == FourCc("hdrl") || kind == FourCc("strl"))) {
            if (kind == FourCc("hdrl") && chunk->length > kListKind)
                headerEnd = position;
            position = chunk->content + kListKind;
        } else if (chunk->name == FourCc("strh")) {
            // `iavs` is sound and pictures of a camera in one stream.
            streams.hasVideo = kind == FourCc("vids") || kind == FourCc("iavs");
            streams.hasAudio = streams.hasAudio || kind == FourCc("auds");
            streams.evidence = {chunk->content, 4};
        }
    }
    return streams;
}

}  // namespace

Verdict JudgeAvi(CContent& content) {
    const CBytes head = content.Head();
    if (!head.Is(0, "RIFF") || !(head.Is(8, "AVI ") || head.Is(8, "AVIX") || head.Is(8, "AMV ")))
        return NotThere();
    if (head.Has(kFirstChunk, 4) && !IsFourCc(head.Be32(kFirstChunk)))
        return RuledOut(L"no chunk follows", {0, kFirstChunk});
    CWalk walk(content, CWalk::Kind::Headers);
    const Streams streams = FindStreams(walk);
    if (streams.hasVideo)
        return Found(L"video/avi", nullptr, L"AVI with a video stream", streams.evidence);
    if (streams.hasAudio && streams.areAll)
        return Found(L"audio/avi", nullptr, L"AVI with audio streams only", streams.evidence);
    return Found(L"video/avi", nullptr, L"AVI whose streams are not to be seen", streams.evidence);
}

}  // namespace metadata
