// MPEG audio without a container: frames of Layer I, II or III (ISO/IEC 11172-3, ISO/IEC 13818-3, and MPEG-2.5, by
// which Layer III goes down to lower sample rates).
#include "metadata/FormatRules.h"
#include "metadata/FrameChain.h"

namespace metadata {

namespace {

constexpr size_t kWanted = 4;
constexpr size_t kWantedToTheEnd = 2;
constexpr size_t kWantedAnywhere = 5;
constexpr size_t kWantedAnywhereToTheEnd = 3;

// As the header's bits have them.
enum Version : unsigned { Mpeg25 = 0, ReservedVersion = 1, Mpeg2 = 2, Mpeg1 = 3 };
enum Layer : unsigned { ReservedLayer = 0, Layer3 = 1, Layer2 = 2, Layer1 = 3 };

struct Header {
    unsigned version;
    unsigned layer;
    unsigned bitRateIndex;
    unsigned rateIndex;
    unsigned padding;  // slots
};

// Empty where a field has a value that the standard reserves.
std::optional<Header> ParseHeader(std::uint32_t bits) {
    const Header header{bits >> 19 & 3, bits >> 17 & 3, bits >> 12 & 15, bits >> 10 & 3, bits >> 9 & 1};
    constexpr unsigned kReservedEmphasis = 2;
    if (bits >> 21 != 0x7FF || header.version == ReservedVersion || header.layer == ReservedLayer ||
        header.bitRateIndex == 15 || header.rateIndex == 3 || (bits & 3) == kReservedEmphasis ||
        (header.version == Mpeg25 && header.layer != Layer3))
        return std::nullopt;
    return header;
}

// Kilobits a second; 0 in free format.
unsigned BitRate(const Header& header) {
    constexpr std::uint16_t kRates[5][15] = {
        {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
        {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
    };
    const size_t mpeg1Row = Layer1 - header.layer;
    const size_t mpeg2Row = header.layer == Layer1 ? 3 : 4;
    return kRates[header.version == Mpeg1 ? mpeg1Row : mpeg2Row][header.bitRateIndex];
}

std::uint32_t FrameBytes(const Header& header) {
    constexpr std::uint32_t kSampleRates[] = {44100, 48000, 32000};
    constexpr std::uint32_t kDivisors[] = {4, 0, 2, 1};  // by version; ParseHeader refuses the reserved one
    const std::uint32_t sampleRate = kSampleRates[header.rateIndex] / kDivisors[header.version];
    const std::uint32_t bitRate = BitRate(header) * 1000;
    if (header.layer == Layer1)
        return (12 * bitRate / sampleRate + header.padding) * 4;
    const bool isHalf = header.layer == Layer3 && header.version != Mpeg1;
    return (isHalf ? 72 : 144) * bitRate / sampleRate + header.padding;
}

std::optional<Frame> ParseFrameAt(CBytes bytes, size_t at) {
    const std::uint32_t bits = bytes.Be32(at);
    const std::optional<Header> header = ParseHeader(bits);
    if (!bytes.Has(at, 4) || !header || header->bitRateIndex == 0)
        return std::nullopt;
    // The channel mode doesn't count: encoders change between joint stereo and stereo within a stream.
    constexpr std::uint32_t kVersionLayerAndRate = 0x001E0C00;
    return Frame{FrameBytes(*header), bits & kVersionLayerAndRate};
}

// Layer I isn't searched for: its frames begin with FF FE or FF FF, as much other data does.
std::optional<Frame> ParseFrameAnywhere(CBytes bytes, size_t at) {
    const std::optional<Header> header = ParseHeader(bytes.Be32(at));
    return header && header->layer != Layer1 ? ParseFrameAt(bytes, at) : std::nullopt;
}

// Whether Layer II or III in free format begins at `at`, where frames don't say how long they are. Headers that agree
// in all but padding and mode extension must follow each other at the same distance up to the end of what can be seen:
// records of one length in other files may begin alike, too.
bool IsFreeFormat(CBytes head, size_t at) {
    constexpr std::uint32_t kMayChange = 0x00000230;
    constexpr size_t kShortest = 48;  // anything shorter is a repeating pattern
    constexpr size_t kLongest = 4096;
    const std::uint32_t first = head.Be32(at);
    const std::optional<Header> header = ParseHeader(first);
    if (!header || header->layer == Layer1 || header->bitRateIndex != 0)
        return false;
    for (size_t bytes = 4; bytes <= kLongest; ++bytes) {
        size_t frames = 0;
        size_t next = at;
        for (; next < head.Size() && ((head.Be32(next) ^ first) & ~kMayChange) == 0; ++frames)
            next += bytes + (head.Be32(next) >> 9 & 1);
        const bool goesOn = next + kLongest >= head.Size();  // a tag may stand behind the last one
        if (frames > kWanted && goesOn)
            return bytes >= kShortest;
    }
    return false;
}

const wchar_t* TypeOf(CBytes head, size_t at) {
    switch (head.Be32(at) >> 17 & 3) {
        case Layer1:
            return L"audio/mp1";
        case Layer2:
            return L"audio/mp2";
        default:
            return L"audio/mpeg";
    }
}

}  // namespace

Verdict JudgeMpegAudio(CContent& content) {
    const CBytes head = content.Head();
    const size_t start = head.LeadingZeros();
    if (!ParseHeader(head.Be32(start)))
        return NotThere();
    const FrameChain chain = FollowFrames(content, start, ParseFrameAt, kWanted);
    if (chain.frames >= kWanted || (chain.frames >= kWantedToTheEnd && chain.reachesEnd))
        return Found(TypeOf(head, start), nullptr, L"MPEG audio frames", {start, chain.end - start});
    if (chain.frames >= kWantedToTheEnd && FollowAllFrames(content, start, ParseFrameAt, kWanted).frames > chain.frames)
        return Found(TypeOf(head, start), nullptr, L"MPEG audio frames of several sample rates", {start, 4});
    if (IsFreeFormat(head, start))
        return Found(TypeOf(head, start), nullptr, L"MPEG audio frames in free format", {start, 4});
    return RuledOut(L"too few MPEG audio frames follow each other", {start, 4});
}

Verdict SearchMpegAudio(CContent& content) {
    const std::optional<size_t> start =
        FindFrames(content, ParseFrameAnywhere, 0xFF, kWantedAnywhere, kWantedAnywhereToTheEnd);
    return start ? Found(TypeOf(content.Head(), *start), nullptr, L"MPEG audio frames behind other bytes", {*start, 4})
                 : NotThere();
}

}  // namespace metadata
