// ATRAC3 in the container of portable players: a header of its own kind, mostly behind a tag that looks like ID3.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"

namespace metadata {

namespace {

constexpr std::uint64_t kTagHeader = 10;
constexpr std::uint64_t kHeader = 96;

// The tag's length; 0: there is none, or not a sane one.
std::uint64_t TagLength(CBytes head) {
    constexpr std::uint8_t kTagVersion = 3;
    const bool isTag =
        head.Is(0, "ea3") && head.U8(3) == kTagVersion && head.Has(0, kTagHeader) && (head.Be32(6) & 0x80808080) == 0;
    return isTag ? kTagHeader + head.SevenBit32(6) : 0;
}

}  // namespace

Verdict JudgeAtrac3(CContent& content) {
    const CBytes head = content.Head();
    const std::uint64_t tag = TagLength(head);
    if (tag == 0 && !head.Is(0, "EA3"))
        return NotThere();
    CWalk walk(content, CWalk::Kind::Boxes);
    const CBytes header = walk.At(tag, kHeader);
    const Evidence evidence{tag, kHeader};
    if (!header.Is(0, "EA3") || header.Be16(4) != kHeader)
        return RuledOut(L"no header behind the tag", evidence);
    // The container also carries MP3, PCM and WMA.
    constexpr std::uint64_t kCodec = 32;
    const std::uint8_t codec = header.U8(kCodec);
    if (!header.Has(kCodec, 1) || (codec >= 3 && codec <= 5))
        return RuledOut(L"the codec is not ATRAC3", evidence);
    return Found(L"audio/x-atrac3", nullptr, L"ATRAC3 header", evidence);
}

}  // namespace metadata
