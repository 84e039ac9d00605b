// Video CD: what a file manager copies off such a disc is a RIFF header with the disc's raw sectors behind it, and an
// MPEG stream in their user data.

#include "metadata/FormatRules.h"

namespace metadata {

namespace {

constexpr std::uint64_t kFirstSector = 44;
constexpr std::uint64_t kSectorBytes = 2352;
constexpr std::uint64_t kUserData = 24;  // behind the sync pattern, the address and the subheader
constexpr char kSync[] = "\x00\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x00";

}  // namespace

Verdict JudgeVideoCd(CContent& content) {
    const CBytes head = content.Head();
    if (!head.Is(0, "RIFF") || !head.Is(8, "CDXA"))
        return NotThere();
    // The first sectors may be empty.
    for (std::uint64_t sector = kFirstSector; head.Is(sector, kSync); sector += kSectorBytes) {
        const std::uint64_t pack = sector + kUserData;
        if (!head.Is(pack, "\x00\x00\x01\xBA"))
            continue;
        // The bits behind the start code tell the two generations of packs apart.
        const std::uint8_t marker = head.U8(pack + 4);
        if ((marker & 0xF0) == 0x20)
            return Found(L"video/mpeg", nullptr, L"Video CD sectors with an MPEG-1 pack", {pack, 5});
        if ((marker & 0xC0) == 0x40)
            return Found(L"video/mp2p", nullptr, L"Video CD sectors with an MPEG-2 pack", {pack, 5});
    }
    return RuledOut(L"no pack in the first sectors", {kFirstSector, kSectorBytes});
}

}  // namespace metadata
