// AIFF and its compressed form AIFC.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"
#include "metadata/formats/FourCc.h"
#include "metadata/formats/Riff.h"

namespace metadata {

Verdict JudgeAiff(CContent& content) {
    const CBytes head = content.Head();
    if (!head.Is(0, "FORM") || !(head.Is(8, "AIFF") || head.Is(8, "AIFC")))
        return NotThere();
    CWalk walk(content, CWalk::Kind::Headers);
    // The chunks may come in any order. Where the samples come first, what describes them is often out of reach behind
    // them.
    const std::optional<Chunk> chunk = FindChunk(walk, ByteOrder::Big, {FourCc("COMM"), FourCc("SSND")});
    if (!chunk)
        return RuledOut(L"neither a description nor samples follow", {0, kFirstChunk});
    if (chunk->name == FourCc("SSND"))
        return Found(L"audio/aiff", nullptr, L"AIFF whose samples stand first", {chunk->content, 0});
    constexpr std::uint64_t kShortest = 18;
    const Evidence evidence{chunk->content, kShortest};
    const std::uint16_t channels = walk.At(chunk->content, 2).Be16(0);
    if (chunk->length < kShortest || channels == 0 || channels > INT16_MAX)
        return RuledOut(L"the description has no channels", evidence);
    return Found(L"audio/aiff", nullptr, L"AIFF with a description of its samples", evidence);
}

}  // namespace metadata
