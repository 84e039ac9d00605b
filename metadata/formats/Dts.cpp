// DTS without a container (ETSI TS 102 114): core frames, extension frames alone or behind each core frame, and the
// file format of DTS-HD. Core frames consist of words of 16 bits or of 14 bits, in either byte order. Words of 14 bits
// are for compact discs: a player that takes them for samples plays noise, but not at full volume.
#include "metadata/FormatRules.h"
#include "metadata/FrameChain.h"

namespace metadata {

namespace {

constexpr const wchar_t* kType = L"audio/x-dts";
constexpr size_t kWanted = 2;
constexpr size_t kWantedAnywhere = 4;
constexpr std::uint32_t kCoreSync = 0x7FFE8001;
constexpr std::uint32_t kExtensionSync = 0x64582025;

struct Packing {
    std::uint32_t sync;  // as it stands in the content
    bool isLittleEndian;
    unsigned wordBits;
};
constexpr Packing kPackings[] = {
    {kCoreSync, false, 16}, {0xFE7F0180, true, 16}, {0x1FFFE800, false, 14}, {0xFF1F00E8, true, 14}};

// The frame's first 64 bits, as if they were packed in big-endian words of 16.
std::uint64_t Unpack(CBytes bytes, size_t at, const Packing& packing) {
    std::uint64_t bits = 0;
    unsigned missing = 64;
    for (size_t word = at; missing > 0; word += 2) {
        const std::uint64_t value = packing.isLittleEndian ? bytes.Le16(word) : bytes.Be16(word);
        const std::uint64_t used = value & ((1U << packing.wordBits) - 1);
        const unsigned taken = std::min(missing, packing.wordBits);
        bits = bits << taken | used >> (packing.wordBits - taken);
        missing -= taken;
    }
    return bits;
}

// The size of the core frame that begins with these bits, before it is packed; 0: they can't be one.
std::uint32_t CoreBytes(std::uint64_t bits) {
    const auto field = [bits](unsigned bit, unsigned count) {
        return static_cast<std::uint32_t>(bits >> (64 - bit - count) & ((std::uint64_t{1} << count) - 1));
    };
    const bool isNormal = field(32, 1) != 0;
    const bool isWhole = field(33, 5) == 31;  // a normal frame must be
    const std::uint32_t lastBlock = field(39, 7);
    const std::uint32_t size = field(46, 14) + 1;
    const bool isStandardLayout = field(60, 2) == 0;
    const bool isCore = field(0, 32) == kCoreSync && (!isNormal || isWhole) && lastBlock >= 5 && size >= 96;
    return isCore && isStandardLayout ? size : 0;
}

// The size of the extension frame at `at`.
std::uint32_t ExtensionBytes(CBytes bytes, size_t at) {
    const std::uint64_t bit = at * 8;
    const bool isLong = bytes.Bits(bit + 42, 1) != 0;
    return (isLong ? bytes.Bits(bit + 55, 20) : bytes.Bits(bit + 51, 16)) + 1;
}

std::optional<Frame> ParseDts(CBytes bytes, size_t at) {
    std::uint32_t size = 0;
    std::uint32_t family = 0;
    const std::uint32_t sync = bytes.Be32(at);
    if (!bytes.Has(at, 10))
        return std::nullopt;
    if (sync == kExtensionSync) {
        size = ExtensionBytes(bytes, at);  // it belongs to the family of the first packing
    } else {
        for (const Packing& packing : kPackings) {
            if (sync != packing.sync)
                continue;
            family = static_cast<std::uint32_t>(&packing - kPackings);
            size = CoreBytes(Unpack(bytes, at, packing));
            // Frames of an odd size follow each other without filling where nothing is packed into words.
            const bool isPlain = !packing.isLittleEndian && packing.wordBits == 16;
            if (!isPlain)
                size = (size * 8 + packing.wordBits - 1) / packing.wordBits * 2;
        }
    }
    if (size < 10)
        return std::nullopt;
    // Where frames take the place of samples, zeros fill up the room between them.
    const CBytes behind = bytes.From(at + size);
    return Frame{size + static_cast<std::uint32_t>(behind.LeadingZeros()), family};
}

}  // namespace

Verdict JudgeDts(CContent& content) {
    const CBytes head = content.Head();
    if (head.Is(0, "DTSHDHDR") && head.Be32(8) == 0)  // the chunk's size has 64 bits
        return Found(kType, nullptr, L"DTS-HD file header", {0, 12});
    const size_t start = head.LeadingZeros();
    const FrameChain chain = FollowFrames(content, start, ParseDts, kWanted);
    if (chain.frames == 0)
        return NotThere();
    const bool isAll = content.HeadIsAll() && chain.end == head.Size();
    if (chain.frames < kWanted && !isAll)
        return RuledOut(L"no second DTS frame follows", {start, 10});
    return Found(kType, nullptr, L"DTS frames", {start, chain.end - start});
}

Verdict SearchDts(CContent& content) {
    for (const Packing& packing : kPackings) {
        const auto sync = static_cast<std::uint8_t>(packing.sync >> 24);
        if (const auto start = FindFrames(content, ParseDts, sync, kWantedAnywhere, kWantedAnywhere))
            return Found(kType, nullptr, L"DTS frames behind other bytes", {*start, 10});
    }
    return NotThere();
}

}  // namespace metadata
