// Motion JPEG without a container: JPEG images in a row (ITU-T T.81). A single image is a photograph, and so are two
// that belong together: a preview has another size than its photograph, and a multi-picture file says that it is one.
#include "metadata/CWalk.h"
#include "metadata/FormatRules.h"

namespace metadata {

namespace {

constexpr unsigned kStartOfImage = 0xD8;
constexpr unsigned kEndOfImage = 0xD9;
constexpr unsigned kStartOfScan = 0xDA;
constexpr unsigned kApp2 = 0xE2;

struct Image {
    std::uint64_t end = 0;  // behind what was walked over
    bool isComplete = false;
    bool isOneOfSeveral = false;  // the image says that it belongs to a multi-picture file
    std::uint64_t frame = 0;      // height, width and number of components; 0: no frame header came
};

bool IsFrameHeader(unsigned marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Where the marker stands that ends the compressed data at `at`, or where the bytes end.
std::uint64_t SkipScan(CWalk& walk, std::uint64_t at, std::uint64_t limit) {
    while (at < limit) {
        const CBytes bytes = walk.At(at, CWalk::kMostBytes);
        const std::span<const std::uint8_t> span = bytes.Span();
        const auto found = static_cast<size_t>(std::find(span.begin(), span.end(), 0xFF) - span.begin());
        if (!bytes.Has(found, 2)) {
            if (span.size() < 2)
                break;
            at += std::min(found, span.size() - 1);  // a marker's first byte may be the last one here
            continue;
        }
        const unsigned marker = bytes.U8(found + 1);
        const bool isData = marker == 0 || (marker >= 0xD0 && marker <= 0xD7);  // a stuffed FF, a restart
        at += found;
        if (!isData && marker != 0xFF)
            break;
        at += isData ? 2 : 1;
    }
    return at;
}

// Walks over the image that starts at `at`. It isn't complete where `limit` or the content's end comes first.
Image WalkImage(CWalk& walk, std::uint64_t at, std::uint64_t limit) {
    Image image;
    bool hasScan = false;
    for (at += 2; at < limit;) {
        const CBytes segment = walk.At(at, 16);
        const unsigned marker = segment.U8(1);
        if (segment.U8(0) != 0xFF || marker < 0xC0)
            break;
        if (marker == 0xFF) {
            ++at;  // filling before a marker
            continue;
        }
        if (marker == kEndOfImage) {
            image.isComplete = hasScan && image.frame != 0;
            at += 2;
            break;
        }
        if (segment.Be16(2) < 2)
            break;
        if (IsFrameHeader(marker))
            image.frame = std::uint64_t{segment.Be32(5)} << 8 | segment.U8(9);
        if (marker == kApp2 && segment.Is(4, "MPF\0"))
            image.isOneOfSeveral = true;
        at += 2U + segment.Be16(2);
        if (marker == kStartOfScan) {
            hasScan = true;
            at = SkipScan(walk, at, limit);
        }
    }
    image.end = std::min(at, limit);
    return image;
}

bool IsImage(CBytes bytes, std::uint64_t at) {
    return bytes.U8(at) == 0xFF && bytes.U8(at + 1) == kStartOfImage && bytes.U8(at + 2) == 0xFF;
}

// Where the next image starts, perhaps behind filling.
std::uint64_t SkipFilling(CWalk& walk, std::uint64_t at) {
    const CBytes bytes = walk.At(at, CWalk::kMostBytes);
    size_t filling = 0;
    while (bytes.Has(filling, 1) && !IsImage(bytes, filling) && (bytes.U8(filling) == 0 || bytes.U8(filling) == 0xFF))
        ++filling;
    return at + filling;
}

}  // namespace

Verdict JudgeMotionJpeg(CContent& content) {
    if (!IsImage(content.Head(), 0))
        return NotThere();
    // How far the content can be seen, unless it ends before.
    const std::uint64_t limit = content.CanWalk() ? CWalk::kReach : content.Head().Size();
    CWalk walk(content, CWalk::Kind::Boxes);
    const Image first = WalkImage(walk, 0, limit);
    if (!first.isComplete)
        return RuledOut(L"the first JPEG image isn't seen to its end", {0, first.end});
    if (first.isOneOfSeveral)
        return RuledOut(L"a multi-picture photograph", {0, first.end});
    const std::uint64_t next = SkipFilling(walk, first.end);
    if (!IsImage(walk.At(next, 3), 0))
        return RuledOut(L"no second JPEG image follows", {0, first.end});
    const Image second = WalkImage(walk, next, limit);
    const bool isOutOfSight = second.end >= limit && !content.HeadIsAll() && walk.At(limit - 1, 1).Size() == 1;
    if (!second.isComplete && !isOutOfSight)
        return RuledOut(L"the second JPEG image isn't complete", {next, second.end - next});
    if (second.isOneOfSeveral || second.frame != first.frame)
        return RuledOut(L"the JPEG images are not of one size", {0, second.end});
    return Found(L"video/x-motion-jpeg", nullptr, L"JPEG images of one size in a row", {0, second.end});
}

}  // namespace metadata
