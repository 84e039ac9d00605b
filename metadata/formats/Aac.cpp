// AAC without a container: ADTS frames, one ADIF header before everything (ISO/IEC 13818-7), or LOAS frames (ISO/IEC
// 14496-3).
#include "metadata/FormatRules.h"
#include "metadata/FrameChain.h"

namespace metadata {

namespace {

constexpr const wchar_t* kType = L"audio/x-aac";
constexpr size_t kWanted = 3;
// Two frames are enough where the content ends with them: the second header agrees with the first in 25 bits.
constexpr size_t kWantedToTheEnd = 2;
constexpr size_t kWantedAnywhere = 8;
constexpr size_t kWantedAnywhereToTheEnd = 3;
constexpr std::uint32_t kMostRateIndex = 12;

std::optional<Frame> ParseAdts(CBytes bytes, size_t at) {
    constexpr std::uint32_t kHeaderBytes = 7;
    constexpr std::uint32_t kChecksumBytes = 2;
    // Version, protection, profile, rate and channels; the layer is always 0.
    constexpr std::uint32_t kFamily = 0x000FFDC0;
    const std::uint32_t header = bytes.Be32(at);
    const bool isSync = (header & 0xFFF60000) == 0xFFF00000;
    if (!isSync || (header >> 10 & 0xF) > kMostRateIndex || !bytes.Has(at, kHeaderBytes))
        return std::nullopt;
    const bool hasChecksum = !(header & 0x00010000);
    const std::uint32_t length = bytes.Bits(at * 8 + 30, 13);
    if (length <= kHeaderBytes + (hasChecksum ? kChecksumBytes : 0))
        return std::nullopt;
    return Frame{length, header & kFamily};
}

std::optional<Frame> ParseLoas(CBytes bytes, size_t at) {
    constexpr std::uint32_t kHeaderBytes = 3;
    const std::uint32_t length = bytes.Be24(at) & 0x1FFF;
    if (!bytes.Has(at, kHeaderBytes) || bytes.Be16(at) >> 5 != 0x2B7 || length < 2)
        return std::nullopt;
    return Frame{kHeaderBytes + length, 0};
}

bool IsText(CBytes bytes) {
    const std::span<const std::uint8_t> span = bytes.Span();
    return std::all_of(span.begin(), span.end(),
                       [](std::uint8_t b) { return (b >= 0x20 && b < 0x7F) || (b >= 9 && b <= 13); });
}

// Whether the fields behind the four letters are a stream's. Logs of amateur radio begin with the same letters.
bool IsAdif(CBytes head) {
    constexpr std::uint64_t kFieldBytes = 16;
    if (!head.Has(4, kFieldBytes) || IsText(head.From(4, kFieldBytes)))
        return false;
    std::uint64_t bit = 4 * 8;
    bit += head.Bits(bit, 1) ? 73 : 1;  // a copyright number
    bit += 2;                           // original, home
    const bool isVariable = head.Bits(bit, 1) != 0;
    const std::uint32_t bitRate = head.Bits(bit + 1, 23);
    bit += 1 + 23 + 4 + (isVariable ? 0 : 20);  // the number of programs; the buffer's fullness
    const std::uint32_t rate = head.Bits(bit + 6, 4);
    const std::uint32_t elements = head.Bits(bit + 10, 12);  // in front, at the sides and behind: four bits each
    return (isVariable || bitRate != 0) && rate <= kMostRateIndex && elements != 0;
}

}  // namespace

Verdict JudgeAac(CContent& content) {
    const CBytes head = content.Head();
    if (head.Is(0, "ADIF")) {
        return IsAdif(head) ? Found(kType, nullptr, L"ADIF header", {0, 20})
                            : RuledOut(L"the ADIF header's fields are not sane", {0, 20});
    }
    const size_t start = head.LeadingZeros();
    const FrameChain adts = FollowFrames(content, start, ParseAdts, kWanted);
    if (adts.frames >= kWanted || (adts.frames >= kWantedToTheEnd && adts.reachesEnd))
        return Found(kType, nullptr, L"ADTS frames", {start, adts.end - start});
    const FrameChain loas = FollowFrames(content, start, ParseLoas, kWanted);
    if (loas.frames >= kWanted)
        return Found(kType, nullptr, L"LOAS frames", {start, loas.end - start});
    if (adts.frames == 0 && loas.frames == 0)
        return NotThere();
    return RuledOut(L"too few AAC frames follow each other", {start, 7});
}

Verdict SearchAac(CContent& content) {
    if (const auto start = FindFrames(content, ParseAdts, 0xFF, kWantedAnywhere, kWantedAnywhereToTheEnd))
        return Found(kType, nullptr, L"ADTS frames behind other bytes", {*start, 7});
    if (const auto start = FindFrames(content, ParseLoas, 0x56, kWantedAnywhere, kWantedAnywhere))
        return Found(kType, nullptr, L"LOAS frames behind other bytes", {*start, 3});
    return NotThere();
}

}  // namespace metadata
