// AC-3 and E-AC-3 without a container (ETSI TS 102 366), also with the bytes of each 16-bit word swapped.
#include "metadata/FormatRules.h"
#include "metadata/FrameChain.h"

namespace metadata {

namespace {

constexpr const wchar_t* kType = L"audio/x-ac3";
constexpr size_t kWanted = 2;
constexpr size_t kWantedAnywhere = 8;
constexpr size_t kWantedAnywhereToTheEnd = 3;

// Kilobits a second; the index is half the frame size code.
constexpr std::uint32_t kBitRates[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                       192, 224, 256, 320, 384, 448, 512, 576, 640};

// The frame's size by its code, from the standard's table for the rates 48, 44.1 and 32 kHz. A frame has 1536 samples.
// At 44.1 kHz odd codes have one word more.
std::uint32_t FrameBytes(unsigned rate, unsigned sizeCode) {
    const std::uint32_t bitRate = kBitRates[sizeCode / 2];
    if (rate == 0)
        return bitRate * 4;
    if (rate == 2)
        return bitRate * 6;
    return (bitRate * 320 / 147 + sizeCode % 2) * 2;
}

std::optional<Frame> ParseAc3(CBytes bytes, size_t at) {
    constexpr unsigned kLastAc3 = 10;  // 9 and 10 are AC-3 at half and a quarter of the rate
    constexpr unsigned kLastEnhanced = 16;
    constexpr unsigned kReservedRate = 3;
    const std::uint16_t sync = bytes.Be16(at);
    const bool isSwapped = sync == 0x770B;
    if (!bytes.Has(at, 6) || (sync != 0x0B77 && !isSwapped))
        return std::nullopt;
    const auto byte = [&](size_t index) -> unsigned { return bytes.U8(at + (isSwapped ? index ^ 1U : index)); };
    const unsigned version = byte(5) >> 3;  // both formats have it in this place
    const unsigned rate = byte(4) >> 6;
    // A stream of E-AC-3 may have frames of AC-3 in between, so its frames have only the byte order and the rate in
    // common. E-AC-3 halves the rate with the code that AC-3 reserves.
    const std::uint32_t family = (isSwapped ? 0x100U : 0U) | (rate == kReservedRate ? byte(4) >> 4 : rate << 2);
    if (version > kLastAc3) {
        const std::uint32_t length = ((byte(2) & 7U) << 8 | byte(3)) * 2 + 2;
        const bool isReserved = byte(2) >> 6 == 3 || (rate == kReservedRate && (byte(4) >> 4 & 3U) == kReservedRate);
        return version > kLastEnhanced || isReserved || length < 8 ? std::nullopt
                                                                   : std::optional(Frame{length, family});
    }
    const unsigned sizeCode = byte(4) & 0x3FU;
    if (rate == kReservedRate || sizeCode / 2 >= std::size(kBitRates))
        return std::nullopt;
    return Frame{FrameBytes(rate, sizeCode), family};
}

// Whether the checksum of the frame, which goes from behind the sync word to the frame's end, is right.
bool IsSound(CBytes frame) {
    constexpr unsigned kPolynomial = 0x8005;
    const size_t swap = frame.Be16(0) == 0x770B ? 1 : 0;
    unsigned sum = 0;
    for (size_t i = 2; i < frame.Size(); ++i) {
        sum ^= static_cast<unsigned>(frame.U8(i ^ swap)) << 8;
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum << 1 ^ (sum & 0x8000 ? kPolynomial : 0)) & 0xFFFF;
    }
    return sum == 0;
}

// Where a run of frames begins that have right checksums, reach exactly to the content's end, and have little before
// them.
std::optional<size_t> FindSoundFrames(const CContent& content) {
    constexpr size_t kMostBefore = 1024;
    const CBytes head = content.Head();
    for (size_t start = 0; content.HeadIsAll() && start <= kMostBefore; ++start) {
        size_t end = start;
        for (std::optional<Frame> frame; (frame = ParseAc3(head, end)) && IsSound(head.From(end, frame->bytes));)
            end += frame->bytes;
        if (end > start && end == head.Size())
            return start;
    }
    return std::nullopt;
}

}  // namespace

Verdict JudgeAc3(CContent& content) {
    const size_t start = content.Head().LeadingZeros();
    const FrameChain chain = FollowFrames(content, start, ParseAc3, kWanted);
    if (chain.frames == 0)
        return NotThere();
    const bool isAll = content.HeadIsAll() && chain.end == content.Head().Size();
    if (chain.frames < kWanted && !isAll)
        return RuledOut(L"no second AC-3 frame follows", {start, 6});
    return Found(kType, nullptr, L"AC-3 frames", {start, chain.end - start});
}

Verdict SearchAc3(CContent& content) {
    for (const std::uint8_t sync : {std::uint8_t{0x0B}, std::uint8_t{0x77}}) {
        if (const std::optional<size_t> start =
                FindFrames(content, ParseAc3, sync, kWantedAnywhere, kWantedAnywhereToTheEnd))
            return Found(kType, nullptr, L"AC-3 frames behind other bytes", {*start, 6});
    }
    if (const std::optional<size_t> start = FindSoundFrames(content))
        return Found(kType, nullptr, L"AC-3 frames with right checksums behind other bytes", {*start, 6});
    return NotThere();
}

}  // namespace metadata
