// MPEG-2 transport streams: packets of 188 bytes that begin with 47 (ISO/IEC 13818-1), on discs behind four bytes of
// time, off the air with 16 or 20 bytes of error correction.
#include "metadata/FormatRules.h"

namespace metadata {

namespace {

struct Layout {
    size_t stride;
    size_t sync;  // where in the stride
};
constexpr Layout kLayouts[] = {{188, 0}, {192, 4}, {204, 0}, {208, 0}};

constexpr size_t kPacketBytes = 188;
constexpr size_t kWantedWithSign = 5;
constexpr size_t kWantedWithoutSign = 20;
constexpr size_t kWantedAnywhere = 16;

constexpr unsigned kHasAdaptation = 2;
constexpr unsigned kHasPayload = 1;

unsigned AdaptationControl(CBytes head, size_t at) {
    return head.U8(at + 3) >> 4 & 3U;
}

// A packet that the receiver could not correct is marked as such.
bool IsDamaged(CBytes head, size_t at) {
    constexpr std::uint8_t kTransportError = 0x80;
    return head.U8(at) == 0x47 && head.U8(at + 1) & kTransportError;
}

bool IsPacket(CBytes head, size_t at) {
    constexpr unsigned kReservedScrambling = 1;
    const unsigned adaptation = AdaptationControl(head, at);
    if (head.U8(at) != 0x47 || IsDamaged(head, at) || head.U8(at + 3) >> 6 == kReservedScrambling || adaptation == 0 ||
        head.Be32(at) == head.Be32(at + 4))  // a pattern that repeats itself
        return false;
    const unsigned room = adaptation & kHasPayload ? 182 : 183;
    return !(adaptation & kHasAdaptation) || head.U8(at + 4) <= room;
}

bool IsTableStart(CBytes head, size_t section, unsigned pid) {
    constexpr unsigned kLongestSection = 1021;
    const unsigned table = head.U8(section);
    const bool isKnown = (pid == 0 && table == 0x00) || (pid == 0x11 && (table == 0x42 || table == 0x46)) ||
                         (pid >= 0x10 && table == 0x02);
    const unsigned length = head.Be16(section + 1) & 0x0FFF;
    return isKnown && head.U8(section + 1) & 0x80 && length >= 9 && length <= kLongestSection;
}

// Whether the packet shows what only a transport stream has in this place: the start of a program table or of an
// elementary stream's packet, or filling.
bool ShowsContent(CBytes head, size_t at) {
    constexpr unsigned kNullPid = 0x1FFF;
    const unsigned pid = head.Be16(at + 1) & 0x1FFF;
    if (pid == kNullPid)
        return true;
    const bool startsUnit = head.U8(at + 1) & 0x40;
    const bool isScrambled = head.U8(at + 3) >> 6 != 0;
    const unsigned adaptation = AdaptationControl(head, at);
    if (!startsUnit || isScrambled || !(adaptation & kHasPayload))
        return false;
    const size_t payload = at + 4 + (adaptation & kHasAdaptation ? 1U + head.U8(at + 4) : 0U);
    const size_t section = payload + 1 + head.U8(payload);
    const bool isElementary = head.Be24(payload) == 1 && head.U8(payload + 3) >= 0xBC;
    return isElementary || (section + 3 <= at + kPacketBytes && IsTableStart(head, section, pid));
}

struct Run {
    size_t packets = 0;
    size_t end = 0;
    bool hasSign = false;
};

// Follows the packets from `at` on. Two kinds of flaw are tolerated: packets that say that they are damaged, and a
// single wrong packet between two right ones. Flawed packets are not counted.
Run FollowPackets(CBytes head, size_t at, size_t stride) {
    Run run{0, at, false};
    for (;; at += stride) {
        if (IsPacket(head, at)) {
            ++run.packets;
            run.end = at + stride;
            run.hasSign = run.hasSign || ShowsContent(head, at);
        } else if (!IsDamaged(head, at) && (run.end != at || !IsPacket(head, at + stride))) {
            return run;
        }
    }
}

Verdict FoundPackets(size_t at, size_t count, size_t stride) {
    return Found(L"video/mp2t", nullptr, L"transport packets", {at, count * stride});
}

}  // namespace

Verdict JudgeMpegTransport(CContent& content) {
    const CBytes head = content.Head();
    Run longest;
    for (const Layout& layout : kLayouts) {
        const Run run = FollowPackets(head, layout.sync, layout.stride);
        if (run.packets >= (run.hasSign ? kWantedWithSign : kWantedWithoutSign))
            return FoundPackets(layout.sync, run.packets, layout.stride);
        if (run.packets > longest.packets)
            longest = run;
    }
    return longest.packets == 0 ? NotThere() : RuledOut(L"too few transport packets follow each other", {0, 5});
}

// A capture may begin in the middle of a packet, or behind bytes that the recorder or the receiver left in its first
// moments.
Verdict SearchMpegTransport(CContent& content) {
    const CBytes head = content.Head();
    for (const Layout& layout : kLayouts) {
        for (size_t at = 0; at + (kWantedAnywhere - 1) * layout.stride + kPacketBytes <= head.Size(); ++at) {
            // A run is looked at once, from its first packet on.
            if (!IsPacket(head, at) || (at >= layout.stride && IsPacket(head, at - layout.stride)))
                continue;
            const Run run = FollowPackets(head, at, layout.stride);
            if (run.packets >= kWantedAnywhere && run.hasSign)
                return FoundPackets(at, run.packets, layout.stride);
        }
    }
    return NotThere();
}

}  // namespace metadata
