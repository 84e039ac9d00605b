// DV as it comes from a tape: blocks of 80 bytes, each with its section's type and its number (IEC 61834, SMPTE 314M).
#include "metadata/FormatRules.h"

namespace metadata {

namespace {

constexpr size_t kBlockBytes = 80;
constexpr size_t kFewestBlocks = 6;
constexpr size_t kMostBlocks = 22;  // up to the second audio block; from there on the order repeats itself

struct Block {
    unsigned section;
    unsigned number;  // within the blocks of this type
};

// What stands at which place of a sequence: a header, two subcode blocks, three of auxiliary data, and then one audio
// block before every fifteen video blocks.
Block ExpectedBlock(size_t index) {
    const auto place = static_cast<unsigned>(index);
    if (place == 0)
        return {0, 0};
    if (place < 3)
        return {1, place - 1};
    if (place < 6)
        return {2, place - 3};
    return place == 6 ? Block{3, 0} : Block{4, place - 7};
}

// The bits that are left out are free in some sections.
bool IsBlock(CBytes head, size_t at, Block block) {
    const unsigned section = head.U8(at) >> 5;
    const unsigned sequence = head.U8(at + 1) >> 4;
    return section == block.section && sequence == 0 && head.U8(at + 2) == block.number;
}

}  // namespace

Verdict JudgeDv(CContent& content) {
    const CBytes head = content.Head();
    if (!head.Is(0, "\x1F\x07\x00"))
        return NotThere();
    size_t blocks = 0;
    while (blocks < kMostBlocks && head.Has(blocks * kBlockBytes, 3)) {
        if (!IsBlock(head, blocks * kBlockBytes, ExpectedBlock(blocks)))
            return RuledOut(L"the blocks are not those of a DV sequence", {blocks * kBlockBytes, 3});
        ++blocks;
    }
    if (blocks < kFewestBlocks)
        return RuledOut(L"too few blocks", {0, blocks * kBlockBytes});
    return Found(L"video/x-dv", nullptr, L"blocks of a DV sequence", {0, blocks * kBlockBytes});
}

}  // namespace metadata
