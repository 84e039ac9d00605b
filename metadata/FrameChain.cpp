#include "metadata/FrameChain.h"

#include <algorithm>

namespace {

// More than a sector of a Video CD or a DVD holds, and than most packets of other containers.
constexpr size_t kMostPacketBytes = 8 * 1024;

// Tags that stand behind the last frame.
bool IsTrailingTag(CBytes bytes, size_t at) {
    return bytes.Is(at, "TAG") || bytes.Is(at, "APETAGEX") || bytes.Is(at, "LYRICSBEGIN") || bytes.Is(at, "ID3");
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
    chain.reachesEnd =
        chain.frames > 0 && ((content.HeadIsAll() && chain.end >= head.Size()) || IsTrailingTag(head, chain.end));
    return chain;
}

std::optional<size_t> FindFrames(const CContent& content, ParseFrame parse, std::uint8_t sync, size_t wanted) {
    const std::span<const std::uint8_t> bytes = content.Head().Span();
    for (auto at = bytes.begin(); (at = std::find(at, bytes.end(), sync)) != bytes.end(); ++at) {
        const auto position = static_cast<size_t>(at - bytes.begin());
        // A field of one byte would else be the slowest content of all.
        const bool isRun = at + 1 != bytes.end() && at[1] == sync;
        if (isRun || FollowFrames(content, position, parse, wanted).frames < wanted)
            continue;
        const FrameChain all = FollowFrames(content, position, parse, bytes.size());
        return all.reachesEnd || all.end - position > kMostPacketBytes ? std::optional(position) : std::nullopt;
    }
    return std::nullopt;
}
