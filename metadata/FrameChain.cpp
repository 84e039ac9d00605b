#include "metadata/FrameChain.h"

#include <algorithm>

namespace metadata {

namespace {

// More than a sector of a Video CD or a DVD holds, and more than most packets of other containers hold.
constexpr size_t kMostPacketBytes = 8 * 1024;

// Tags that stand behind the last frame.
bool IsTrailingTag(CBytes bytes, size_t at) {
    return bytes.Is(at, "TAG") || bytes.Is(at, "APETAGEX") || bytes.Is(at, "LYRICSBEGIN") || bytes.Is(at, "ID3");
}

// Whether nothing stands from `end` on but the start of a header that the head's end cuts off. It must begin like the
// header at `first`.
bool IsCutHeader(CBytes head, size_t first, size_t end) {
    constexpr size_t kMostOfAHeader = 9;
    const CBytes rest = head.From(end);
    return rest.Size() == 0 || (rest.Size() <= kMostOfAHeader && rest.U8(0) == head.U8(first) &&
                                (rest.Size() < 2 || rest.U8(1) == head.U8(first + 1)));
}

// Whether nothing stands from `end` to the content's end but such a cut header, or zeros that fill it up.
bool IsSpoiltEnd(CBytes head, size_t first, size_t end) {
    const CBytes rest = head.From(end);
    return IsCutHeader(head, first, end) || rest.LeadingZeros() == rest.Size();
}

}  // namespace

FrameChain FollowFrames(const CContent& content, size_t at, ParseFrame parse, size_t most) {
    const CBytes head = content.Head();
    FrameChain chain{0, at, false};
    std::optional<std::uint32_t> family;
    while (chain.frames < most && chain.end < head.Size() && head.Be32(chain.end) != head.Be32(chain.end + 4)) {
        const std::optional<Frame> frame = parse(head, chain.end);
        if (!frame || (family && *family != frame->family))
            break;
        family = frame->family;
        ++chain.frames;
        chain.end += frame->bytes;
    }
    chain.reachesEnd = chain.frames > 0 &&
                       ((content.HeadIsAll() && IsSpoiltEnd(head, at, chain.end)) || IsTrailingTag(head, chain.end));
    return chain;
}

FrameChain FollowAllFrames(const CContent& content, size_t at, ParseFrame parse, size_t wanted) {
    const size_t most = content.Head().Size();
    FrameChain all = FollowFrames(content, at, parse, most);
    while (!all.reachesEnd) {
        const FrameChain next = FollowFrames(content, all.end, parse, most);
        if (next.frames < wanted)
            break;
        all = {all.frames + next.frames, next.end, next.reachesEnd};
    }
    return all;
}

std::optional<size_t> FindFrames(const CContent& content, ParseFrame parse, std::uint8_t sync, size_t wanted,
                                 size_t wantedToTheEnd) {
    const std::span<const std::uint8_t> bytes = content.Head().Span();
    for (auto at = bytes.begin(); (at = std::find(at, bytes.end(), sync)) != bytes.end(); ++at) {
        const auto position = static_cast<size_t>(at - bytes.begin());
        // Without this, a run of one repeated byte would be the slowest content of all.
        const bool isRun = at + 1 != bytes.end() && at[1] == sync;
        if (isRun)
            continue;
        const FrameChain first = FollowFrames(content, position, parse, wanted);
        if (first.frames >= wantedToTheEnd && first.reachesEnd)
            return position;
        if (first.frames < wanted)
            continue;
        const FrameChain all = FollowAllFrames(content, position, parse, wanted);
        // A chain that goes on behind the head is judged there, if the content can be walked on.
        const bool isCut = !content.CanWalk() && IsCutHeader(content.Head(), position, all.end);
        const bool isLong = all.end - position > kMostPacketBytes;
        return all.reachesEnd || isCut || isLong ? std::optional(position) : std::nullopt;
    }
    return std::nullopt;
}

}  // namespace metadata
