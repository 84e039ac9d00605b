// WAVE: a RIFF file (or its big-endian or 64-bit form) that describes its samples in a `fmt ` chunk.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"
#include "metadata/formats/FourCc.h"
#include "metadata/formats/GuidAt.h"
#include "metadata/formats/Riff.h"

namespace metadata {

namespace {

// The oldest form of the description has no sample size.
constexpr std::uint64_t kShortestFormat = 14;
constexpr std::uint64_t kExtensibleFormat = 40;

constexpr std::uint16_t kTagAtrac3 = 0x0270;
constexpr std::uint16_t kTagExtensible = 0xFFFE;
constexpr Guid kSubtypeAtrac3 = {kTagAtrac3, 0x0000, 0x0010, {0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71}};
constexpr Guid kSubtypeAtrac3Plus = {0xE923AABF, 0xCB58, 0x4471, {0xA1, 0x19, 0xFF, 0xFA, 0x01, 0xE4, 0xCE, 0x62}};

bool IsAtrac3(CBytes format, ByteOrder order) {
    const std::uint16_t tag = order == ByteOrder::Big ? format.Be16(0) : format.Le16(0);
    if (tag != kTagExtensible)
        return tag == kTagAtrac3;
    constexpr std::uint64_t kSubtype = 24;
    const Guid subtype = GuidAt(format, kSubtype);
    return subtype == kSubtypeAtrac3 || subtype == kSubtypeAtrac3Plus;
}

}  // namespace

Verdict JudgeWave(CContent& content) {
    const CBytes head = content.Head();
    const bool isBig = head.Is(0, "RIFX");
    const bool isRiff = isBig || head.Is(0, "RIFF") || head.Is(0, "RF64") || head.Is(0, "BW64");
    if (!isRiff || !head.Is(8, "WAVE"))
        return NotThere();
    const ByteOrder order = isBig ? ByteOrder::Big : ByteOrder::Little;
    CWalk walk(content, CWalk::Kind::Headers);
    const std::optional<Chunk> format = FindChunk(walk, order, {FourCc("fmt ")});
    if (!format)
        return RuledOut(L"no format chunk follows", {0, kFirstChunk});
    const auto length = static_cast<size_t>(std::min(format->length, kExtensibleFormat));
    const CBytes bytes = walk.At(format->content, length);
    const Evidence evidence{format->content, bytes.Size()};
    if (length < kShortestFormat || bytes.Size() < length)
        return RuledOut(L"the format chunk is too short", evidence);
    if (IsAtrac3(bytes, order))
        return Found(L"audio/x-atrac3", L"audio/wav", L"WAVE whose format is ATRAC3", evidence);
    return Found(L"audio/wav", nullptr, L"WAVE with a format chunk", evidence);
}

}  // namespace metadata
