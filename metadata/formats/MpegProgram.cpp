// MPEG-1 system and MPEG-2 program streams: packs, each with a clock, and the packets in them (ISO/IEC 11172-1 and
// 13818-1).
#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"
#include "metadata/formats/StartCode.h"

namespace metadata {

namespace {

constexpr int kProgramEnd = 0xB9;
constexpr int kPack = 0xBA;
constexpr int kSystemHeader = 0xBB;
constexpr size_t kWanted = 2;  // behind the first pack
constexpr size_t kWantedPacksAnywhere = 3;
constexpr size_t kWantedPacketsAnywhere = 12;
constexpr size_t kElementBytes = 16;  // enough to tell an element's kind and length

// The length of the MPEG-1 pack header that `pack` begins with. 0: the marker bits say that there is none.
size_t Mpeg1PackBytes(CBytes pack) {
    const bool isPack = (pack.U8(4) & 0xF1) == 0x21 && pack.U8(6) & 0x01 && pack.U8(8) & 0x01 && pack.U8(9) & 0x80 &&
                        pack.U8(11) & 0x01;
    return isPack ? 12 : 0;
}

// The same for an MPEG-2 pack header, with its stuffing.
size_t Mpeg2PackBytes(CBytes pack) {
    const bool isPack = (pack.U8(4) & 0xC4) == 0x44 && pack.U8(6) & 0x04 && pack.U8(8) & 0x04 && pack.U8(9) & 0x01 &&
                        (pack.U8(12) & 0x03) == 0x03;
    return isPack ? 14 + (pack.U8(13) & 7U) : 0;
}

// The length of the pack header, system header or packet that `bytes` begins with. 0: there is none.
size_t ElementBytes(CBytes bytes) {
    const int code = StartCodeAt(bytes, 0);
    if (code == kPack)
        return std::max(Mpeg1PackBytes(bytes), Mpeg2PackBytes(bytes));
    if (code == kProgramEnd)
        return 4;
    // Only a transport stream's packets may leave their length open.
    return code >= kSystemHeader && bytes.Be16(4) != 0 ? 6U + bytes.Be16(4) : 0;
}

// Where the next start code stands, behind zeros: sectors of a Video CD are filled up with them.
std::uint64_t SkipZeros(CWalk& walk, std::uint64_t at) {
    for (CBytes bytes; (bytes = walk.At(at, CWalk::kMostBytes)).Size() > 0;) {
        const size_t one = bytes.LeadingZeros();
        if (one < bytes.Size())
            return one < 2 ? at : at + one - 2;
        if (one < 3)
            break;
        at += one - 2;  // the last zeros may belong to a start code
    }
    return at;
}

Verdict FoundSystem(bool isMpeg1, Evidence evidence) {
    return isMpeg1 ? Found(L"video/mp1s", L"video/mpeg", L"MPEG-1 pack header and packets", evidence)
                   : Found(L"video/mp2p", nullptr, L"MPEG-2 pack header and packets", evidence);
}

// A packet of sound or pictures.
bool IsMedia(int code) {
    return code >= 0xC0 && code <= 0xEF;
}

// Whether the pack or the packet of sound or pictures is MPEG-1's. MPEG-2's packets go on with two bits that no MPEG-1
// packet has there.
bool IsMpeg1(CBytes element) {
    return StartCodeAt(element, 0) == kPack ? Mpeg1PackBytes(element) != 0 : (element.U8(6) & 0xC0) != 0x80;
}

}  // namespace

Verdict JudgeMpegProgram(CContent& content) {
    const CBytes head = content.Head();
    const size_t start = StartCodeBehindZeros(head);
    if (StartCodeAt(head, start) != kPack)
        return NotThere();
    const CBytes pack = head.From(start);
    const size_t packBytes = ElementBytes(pack);
    if (packBytes == 0)
        return RuledOut(L"the pack header's marker bits are missing", {start, 14});

    CWalk walk(content, CWalk::Kind::Headers);
    std::uint64_t at = start + packBytes;
    size_t elements = 0;
    for (; elements < kWanted; ++elements) {
        at = SkipZeros(walk, at);
        const size_t bytes = ElementBytes(walk.At(at, kElementBytes));
        if (bytes == 0)
            break;
        at += bytes;
    }
    // A short piece of a stream can show no more than a pack and one packet that the content's end cuts off.
    const bool isCut = elements > 0 && content.HeadIsAll() && at >= head.Size();
    if (elements < kWanted && !isCut)
        return RuledOut(L"no packets follow the pack header", {start, at - start});
    return FoundSystem(IsMpeg1(pack), {start, at - start});
}

// A capture may begin inside a pack. Some streams have one pack in many packets.
Verdict SearchMpegProgram(CContent& content) {
    const CBytes head = content.Head();
    CWalk walk(content, CWalk::Kind::Headers);
    for (size_t start = 0; (start = FindStartCode(head, start)) < head.Size(); start += 4) {
        if (const int first = StartCodeAt(head, start); first != kPack && !IsMedia(first))
            continue;
        size_t packs = 0;
        size_t packets = 0;
        std::uint64_t at = start;
        bool isMpeg1 = IsMpeg1(head.From(start));  // by the first pack, else by the first packet
        while (packs < kWantedPacksAnywhere && packets < kWantedPacketsAnywhere) {
            const CBytes element = walk.At(at, kElementBytes);
            const size_t bytes = ElementBytes(element);
            if (bytes == 0)
                break;
            if (StartCodeAt(element, 0) == kPack && packs++ == 0)
                isMpeg1 = IsMpeg1(element);
            packets += IsMedia(StartCodeAt(element, 0));
            at = SkipZeros(walk, at + bytes);
        }
        if (packs >= kWantedPacksAnywhere || packets >= kWantedPacketsAnywhere)
            return FoundSystem(isMpeg1, {start, at - start});
    }
    return NotThere();
}

}  // namespace metadata
