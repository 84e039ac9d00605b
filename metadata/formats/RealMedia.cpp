// RealMedia and the older RealAudio. All numbers are big-endian; each part of the header tells its own length.

#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"
#include "metadata/formats/FourCc.h"

#include <string_view>

namespace metadata {

namespace {

constexpr std::uint64_t kPartHeader = 10;  // name, length, version
constexpr int kMostParts = 256;

// Whether the MIME type in a stream's properties, behind its name, is one of pictures.
bool IsVideo(CBytes properties) {
    constexpr std::uint64_t kNameLength = 40;
    const std::uint64_t typeLength = kNameLength + 1 + properties.U8(kNameLength);
    const CBytes type = properties.From(typeLength + 1, properties.U8(typeLength));
    constexpr std::string_view kVideo = "video/";
    const std::span<const std::uint8_t> bytes = type.Span();
    return std::search(bytes.begin(), bytes.end(), kVideo.begin(), kVideo.end()) != bytes.end();
}

struct Streams {
    bool hasVideo = false;
    bool hasAny = false;
    bool areAll = false;  // the data was reached, or as many streams were seen as the header announces
    Evidence evidence;
};

Streams FindStreams(CWalk& walk, std::uint64_t position) {
    constexpr size_t kProperties = 41 + 256 + 256;  // what comes before the type, and the two longest texts
    constexpr std::uint64_t kStreamCount = 46;
    Streams streams{false, false, false, {0, position}};
    unsigned count = 0;
    unsigned due = 0;
    for (int i = 0; i < kMostParts && !streams.hasVideo; ++i) {
        const CBytes part = walk.At(position, kPartHeader);
        const std::uint32_t length = part.Be32(4);
        streams.areAll = part.Is(0, "DATA") || (due != 0 && count >= due);
        if (streams.areAll || length < kPartHeader)
            break;
        if (part.Is(0, "PROP"))
            due = walk.At(position, kStreamCount + 2).Be16(kStreamCount);
        if (part.Is(0, "MDPR")) {
            ++count;
            const CBytes properties = walk.At(position, std::min<size_t>(kProperties, length));
            streams.hasVideo = IsVideo(properties);
            streams.hasAny = true;
            streams.evidence = {position, properties.Size()};
        }
        position += length;
    }
    return streams;
}

Verdict JudgeMedia(CContent& content) {
    constexpr std::uint32_t kLongestHeader = 1024;
    const CBytes head = content.Head();
    const std::uint32_t length = head.Be32(4);
    if (length < kPartHeader || length > kLongestHeader || head.Be16(8) > 1 || !head.Has(0, kPartHeader))
        return RuledOut(L"the header is not sane", {0, kPartHeader});
    if (head.Has(length, 4) && !IsFourCc(head.Be32(length)))
        return RuledOut(L"no part follows the header", {length, 4});
    CWalk walk(content, CWalk::Kind::Headers);
    const Streams streams = FindStreams(walk, length);
    if (streams.hasVideo)
        return Found(L"video/x-pn-realmedia", nullptr, L"RealMedia with a video stream", streams.evidence);
    if (streams.hasAny && streams.areAll)
        return Found(L"audio/x-pn-realaudio", nullptr, L"RealMedia without a video stream", streams.evidence);
    return Found(L"video/x-pn-realmedia", nullptr, L"RealMedia whose streams are not to be seen", streams.evidence);
}

}  // namespace

Verdict JudgeRealMedia(CContent& content) {
    const CBytes head = content.Head();
    if (head.Is(0, ".RMF"))
        return JudgeMedia(content);
    if (!head.Is(0, ".ra\xFD"))
        return NotThere();
    const std::uint16_t version = head.Be16(4);
    if (version < 3 || version > 5)
        return RuledOut(L"an unknown version", {0, 6});
    constexpr std::uint64_t kInnerName = 8;  // from version 4 on
    if (version > 3 && head.Has(kInnerName, 4) && !head.Is(kInnerName, version == 4 ? ".ra4" : ".ra5"))
        return RuledOut(L"the inner signature is missing", {0, kInnerName + 4});
    return Found(L"audio/x-pn-realaudio", nullptr, L"RealAudio header", {0, 6});
}

}  // namespace metadata
